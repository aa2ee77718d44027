#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace TestSupport
{

/// What a run of the program left behind.
struct SProgramResult
{
    int exitCode = -1;  ///< minus the signal's number when a signal ended it
    std::string out;
    std::string err;
};

/// How to run the program, where it differs from a plain run without a terminal.
struct SProgramSetting
{
    std::filesystem::path workingFolder = {};
    /// "NAME=value"; replace variables of the same name.
    std::vector<std::string> environment = {};
    /// Opened for writing in place of the pipe that collects standard output.
    std::filesystem::path standardOutput = {};
    /// In bytes, of every file that the program writes; 0 for none.
    std::size_t fileSizeLimit = 0;
    /// Standard error is a terminal.
    bool hasTerminal = false;
    /// Called again and again while the program runs, with its process number.
    std::function<void(int)> whileRunning = {};
};

/// Starts the built `veko2` with \p arguments, waits for its end, and collects what it printed.
[[nodiscard]] SProgramResult RunProgram(const std::vector<std::string>& arguments,
                                        const SProgramSetting& setting = {});

}  // namespace TestSupport
