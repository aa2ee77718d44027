#pragma once

#include <string>
#include <vector>

#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace TestSupport
{

/// A test of commands on p.json, a project of two scans of four points each: a.ply, and b.ply,
/// which stands two pixels to the right. mask.png paints the first two points of the one and the
/// first of the other.
class CProjectCommandTest : public CCommandTest
{
protected:
    CProjectCommandTest();

    /// Runs the program and expects that it does what it shall without a word; what it printed.
    std::string expectDone(const std::vector<std::string>& arguments) const;

    /// Cuts what mask.png paints.
    std::string cut() const;

    [[nodiscard]] std::vector<unsigned> readFlags(std::size_t scan,
                                                  const std::string& project = "p.json") const;

    /// Expects a failure that leaves everything as it was.
    void expectFailure(const std::vector<std::string>& arguments, int exitCode,
                       const std::string& message) const;

    /// The names of all files and folders, with what is in the files.
    [[nodiscard]] std::vector<std::string> snapshot() const;
};

}  // namespace TestSupport
