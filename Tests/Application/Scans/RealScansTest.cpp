// Scans of real sensors, where a folder of them is there: named by VEKO2_REAL_SCANS, or beside the
// checkout.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "DataLayer/Base3D/CTriangulation.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using Application::CKeptPoints;
using Application::CScanFile;
using Base::CSurfelBitMask;
using ScanTest::CTemporaryFolder;

[[nodiscard]] std::filesystem::path FindData()
{
    const char* const named = std::getenv("VEKO2_REAL_SCANS");
    return named != nullptr ? std::filesystem::path(named)
                            : std::filesystem::path(VEKO2_SOURCE_FOLDER) / "../shared/data";
}

[[nodiscard]] std::vector<std::filesystem::path> FindScans()
{
    std::vector<std::filesystem::path> scans;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(FindData(), error))
    {
        const std::string extension = entry.path().extension().string();
        if (extension == ".ply" || extension == ".obj")
        {
            scans.push_back(entry.path());
        }
    }
    std::sort(scans.begin(), scans.end());
    return scans;
}

class RealScans : public testing::Test
{
protected:
    void SetUp() override
    {
        if (m_scans.empty())
        {
            GTEST_SKIP() << "no scans in " << FindData();
        }
    }

    std::vector<std::filesystem::path> m_scans = FindScans();
};

TEST_F(RealScans, WriteKept_NothingDroppedGivesTheSameBytes)
{
    const CTemporaryFolder folder;
    for (const std::filesystem::path& file : m_scans)
    {
        const std::filesystem::path copy = folder / ("copy" + file.extension().string());
        const CScanFile scan = CScanFile::Open(file);
        const std::vector<CSurfelBitMask> flags(scan.GetPointCount());

        scan.WriteKept(copy, CKeptPoints(flags), true);

        EXPECT_TRUE(ScanTest::ReadAll(copy) == ScanTest::ReadAll(file)) << file;
    }
}

TEST_F(RealScans, WriteKept_KeptPointsAndFacesComeBackUnchanged)
{
    const CTemporaryFolder folder;
    for (const std::filesystem::path& file : m_scans)
    {
        const std::filesystem::path cut = folder / ("cut" + file.extension().string());
        const CScanFile scan = CScanFile::Open(file);
        std::vector<CSurfelBitMask> flags(scan.GetPointCount());
        for (std::size_t index = 0; index < flags.size(); ++index)
        {
            flags[index].bits = index % 1000 < 300 ? CSurfelBitMask::SurfelFlagCut : 0;
        }

        scan.WriteKept(cut, CKeptPoints(flags), true);

        const CScanFile after = CScanFile::Open(cut);
        const std::vector<LqVector3f> before = ScanTest::PositionsOf(scan);
        std::vector<LqVector3f> kept;
        for (std::size_t index = 0; index < flags.size(); ++index)
        {
            if (flags[index].bits == 0)
            {
                kept.push_back(before[index]);
            }
        }
        const std::vector<LqVector3f> positions = ScanTest::PositionsOf(after);
        ASSERT_EQ(positions.size(), kept.size()) << file;
        // As bits: real scans have points that are not finite.
        EXPECT_EQ(std::memcmp(positions.data(), kept.data(), kept.size() * sizeof(LqVector3f)), 0)
            << file;
        if (scan.HasTriangles())
        {
            const auto triangles = scan.GetTriangulation()->triangles;
            const auto isKept = [&](const auto& triangle) {
                return std::all_of(triangle.begin(), triangle.end(),
                                   [&](std::uint32_t corner) { return flags[corner].bits == 0; });
            };
            EXPECT_EQ(
                after.GetTriangulation()->triangles.size(),
                static_cast<std::size_t>(std::count_if(triangles.begin(), triangles.end(), isKept)))
                << file;
        }
    }
}

TEST_F(RealScans, Open_BinaryScansAreUsedInPlace)
{
    for (const std::filesystem::path& file : m_scans)
    {
        if (file.extension() == ".ply")
        {
            EXPECT_TRUE(CScanFile::Open(file).Describe().isMappedInPlace) << file;
        }
    }
}

}  // namespace
