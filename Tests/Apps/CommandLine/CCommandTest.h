#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Math/LqVector3f.h"
#include "Tests/Apps/CommandLine/ProgramRun.h"
#include "Tests/Support/Selections.h"

namespace TestSupport
{

/// A test that runs the program in a folder of its own, which is removed with its content. The
/// process of a death test, which starts the test again, works in the same folder.
///
/// Views made here show 8 x 8 pixels, and device coordinates are the scan's coordinates, unless the
/// name says otherwise.
class CCommandTest : public testing::Test
{
protected:
    static constexpr std::uint32_t c_size = 8;

    CCommandTest();
    ~CCommandTest() override;

    /// Runs the program in the test's folder.
    [[nodiscard]] SProgramResult run(const std::vector<std::string>& arguments) const;
    [[nodiscard]] SProgramResult run(const std::vector<std::string>& arguments,
                                     SProgramSetting setting) const;

    [[nodiscard]] std::filesystem::path in(const std::string& file) const;
    void write(const std::string& file, std::string_view content) const;
    void write(const std::string& file, std::span<const std::byte> content) const;
    [[nodiscard]] std::string read(const std::string& file) const;
    [[nodiscard]] bool exists(const std::string& file) const;
    /// The names of all files in the test's folder, sorted.
    [[nodiscard]] std::vector<std::string> list() const;

    /// The upper left corner of a pixel.
    [[nodiscard]] static LqVector3f atPixel(std::uint32_t column, std::uint32_t row);
    /// An ASCII PLY file of points.
    [[nodiscard]] static std::string makePly(const std::vector<LqVector3f>& points);
    /// A scan of four points at the pixels (2, 2), (4, 2), (2, 4), (6, 6), and its parts.
    [[nodiscard]] static std::string makeScan();
    [[nodiscard]] static std::vector<LqVector3f> scanPoints();

    void writeView(const std::string& file) const;
    /// A view from the origin along -z with a right angle from edge to edge.
    void writePerspectiveView(const std::string& file) const;
    void writeMask(const std::string& file, const std::vector<SPixel>& painted,
                   std::uint32_t size = c_size) const;

private:
    std::filesystem::path m_folder;
    bool m_isOwner = false;  ///< not in the process of a death test
};

}  // namespace TestSupport
