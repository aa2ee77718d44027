#include "Application/Scans/CScanFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using Application::CKeptPoints;
using Application::CScanFile;
using Base::CSurfelBitMask;
using ScanTest::CTemporaryFolder;

const std::string c_xyz = "1 2 3\n4 5 6\n7 8 9\n";

TEST(CScanFile, Open_UnknownKindOfFile)
{
    EXPECT_EQ(ScanTest::ParseMessage("1 2 3\n", "a.las"),
              "a.las: expected a PLY file, or a file named .obj, .stl, .xyz, .txt, .csv or .asc, "
              "found '.las'");
    EXPECT_EQ(ScanTest::ParseMessage("1 2 3\n", "noname"),
              "noname: expected a PLY file, or a file named .obj, .stl, .xyz, .txt, .csv or .asc, "
              "found no extension");
}

TEST(CScanFile, Open_PlyIsKnownByItsContent)
{
    const std::string ply =
        "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
        "property float z\nend_header\n1 2 3\n";

    EXPECT_EQ(ScanTest::ParseScan(ply, "scan.xyz").Describe().format, "PLY, ASCII");
    EXPECT_EQ(ScanTest::ParseScan(ply, "scan").Describe().format, "PLY, ASCII");
}

TEST(CScanFile, Open_MissingFile)
{
    EXPECT_THROW((void)CScanFile::Open("/nowhere/scan.ply"), Application::CInputError);
}

TEST(CScanFile, WriteKept_OnlyTheDropBitsCount)
{
    const CTemporaryFolder folder;
    const CScanFile scan = ScanTest::ParseScan(c_xyz, "a.xyz");
    const std::vector<CSurfelBitMask> flags = {{0x0008}, {0x0107}, {0x0002}};

    scan.WriteKept(folder / "cut.xyz", CKeptPoints(flags), false);
    scan.WriteKept(folder / "small.xyz", CKeptPoints(flags, 0x0002), false);
    scan.WriteKept(folder / "all.xyz", CKeptPoints({}), false);

    EXPECT_EQ(ScanTest::ReadAll(folder / "cut.xyz"), "4 5 6\n7 8 9\n");
    EXPECT_EQ(ScanTest::ReadAll(folder / "small.xyz"), "1 2 3\n");
    EXPECT_EQ(ScanTest::ReadAll(folder / "all.xyz"), c_xyz);
}

TEST(CScanFile, WriteKept_OverTheScanItself)
{
    const CTemporaryFolder folder;
    ScanTest::WriteAll(folder / "a.xyz", c_xyz);
    const CScanFile scan = CScanFile::Open(folder / "a.xyz");
    const std::vector<CSurfelBitMask> flags = {{8}, {0}, {0}};

    scan.WriteKept(folder / "a.xyz", CKeptPoints(flags), true);
    scan.WriteKept(folder / "b.xyz", CKeptPoints({}), false);

    EXPECT_EQ(ScanTest::ReadAll(folder / "a.xyz"), "4 5 6\n7 8 9\n");
    EXPECT_EQ(ScanTest::ReadAll(folder / "b.xyz"), c_xyz);
}

TEST(CScanFile, WriteKept_OtherNumberOfFlagsIsRefused)
{
    const CTemporaryFolder folder;
    const CScanFile scan = ScanTest::ParseScan(c_xyz, "a.xyz");
    const std::vector<CSurfelBitMask> flags(2);

    EXPECT_THROW(scan.WriteKept(folder / "a.xyz", CKeptPoints(flags), false),
                 std::invalid_argument);
    EXPECT_TRUE(folder.List().empty());
}

TEST(CScanFile, WriteKept_ExistingTargetNeedsForce)
{
    const CTemporaryFolder folder;
    ScanTest::WriteAll(folder / "a.xyz", "old");
    const CScanFile scan = ScanTest::ParseScan(c_xyz, "a.xyz");

    EXPECT_THROW(scan.WriteKept(folder / "a.xyz", CKeptPoints({}), false),
                 Application::COutputError);
    EXPECT_EQ(ScanTest::ReadAll(folder / "a.xyz"), "old");
}

/// One scan of each kind that is large enough to report progress.
class EveryKind : public testing::TestWithParam<const char*>
{
protected:
    [[nodiscard]] static std::string makeContent(const std::string& name)
    {
        std::string content;
        constexpr int c_count = 600;
        if (name.ends_with(".ply"))
        {
            content =
                "ply\nformat ascii 1.0\nelement vertex 600\nproperty float x\nproperty float "
                "y\nproperty float z\nend_header\n";
        }
        for (int index = 0; index < c_count; ++index)
        {
            const std::string point = std::to_string(index) + " 2 3\n";
            if (name.ends_with(".stl"))
            {
                content += index == 0 ? "solid a\n" : "";
                content += "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex " +
                           point + "endloop\nendfacet\n";
                content += index == c_count - 1 ? "endsolid a\n" : "";
            }
            else
            {
                content += (name.ends_with(".obj") ? "v " : "") + point;
            }
        }
        return content;
    }
};

TEST_P(EveryKind, ProgressRisesToOneOnceInReadingAndWriting)
{
    const CTemporaryFolder folder;
    const std::string name = GetParam();
    ScanTest::WriteAll(folder / name, makeContent(name));
    std::vector<double> reading;
    std::vector<double> writing;

    const CScanFile scan =
        CScanFile::Open(folder / name, [&](double done) { reading.push_back(done); });
    std::vector<CSurfelBitMask> flags(scan.GetPointCount());
    flags.back().bits = 8;
    scan.WriteKept(folder / ("cut" + name), CKeptPoints(flags), false,
                   [&](double done) { writing.push_back(done); });

    for (const std::vector<double>& calls : {reading, writing})
    {
        EXPECT_GT(calls.size(), 50U);
        EXPECT_TRUE(std::is_sorted(calls.begin(), calls.end()));
        EXPECT_EQ(std::count(calls.begin(), calls.end(), 1.0), 1);
        EXPECT_EQ(calls.back(), 1.0);
    }
}

TEST_P(EveryKind, ProgressThatThrowsLeavesNoFile)
{
    const CTemporaryFolder folder;
    const CScanFile scan = ScanTest::ParseScan(makeContent(GetParam()), GetParam());
    std::vector<CSurfelBitMask> flags(scan.GetPointCount());
    flags.back().bits = 8;

    EXPECT_THROW(scan.WriteKept(folder / "cut", CKeptPoints(flags), false,
                                [](double done) {
                                    if (done > 0.5)
                                    {
                                        throw std::runtime_error("stop");
                                    }
                                }),
                 std::runtime_error);
    EXPECT_TRUE(folder.List().empty());
}

TEST_P(EveryKind, ProgressThatThrowsAtTheEndTakesNothingBack)
{
    const CTemporaryFolder folder;
    const std::string content = makeContent(GetParam());
    const CScanFile scan = ScanTest::ParseScan(content, GetParam());

    EXPECT_THROW(scan.WriteKept(folder / "cut", CKeptPoints({}), false,
                                [](double done) {
                                    if (done == 1.0)
                                    {
                                        throw std::runtime_error("stop");
                                    }
                                }),
                 std::runtime_error);
    EXPECT_EQ(ScanTest::ReadAll(folder / "cut"), content);
}

TEST_P(EveryKind, WriteKept_AScanThatWasWrittenToMeanwhileIsRefused)
{
    const CTemporaryFolder folder;
    const std::string content = makeContent(GetParam());
    ScanTest::WriteAll(folder / GetParam(), content);
    std::filesystem::last_write_time(folder / GetParam(), {});
    const CScanFile scan = CScanFile::Open(folder / GetParam());
    scan.CheckUnchanged();
    ScanTest::WriteAll(folder / GetParam(), content);

    EXPECT_THROW(scan.CheckUnchanged(), Application::CInputError);
    EXPECT_THROW(scan.WriteKept(folder / "cut", CKeptPoints({}), false), Application::CInputError);
    if (std::string(GetParam()) == "scan.ply")
    {
        EXPECT_THROW(scan.WriteFlagged(folder / "cut", {}, false), Application::CInputError);
    }
    EXPECT_EQ(folder.List(), (std::vector<std::string>{GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(CScanFile, EveryKind,
                         testing::Values("scan.ply", "scan.obj", "scan.stl", "scan.xyz"));

}  // namespace
