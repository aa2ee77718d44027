#include "Apps/CommandLine/CDemoCommand.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Application/Demo/CDemoScene.h"
#include "Application/Scans/CScanFile.h"
#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace
{

using Application::CDemoScene;
using nlohmann::json;
using testing::HasSubstr;

class CDemoCommandTest : public TestSupport::CCommandTest
{};

TEST_F(CDemoCommandTest, Scans_AreWrittenOnePerStationAndMerged)
{
    const auto result = run({"demo", "-o", "new/demo", "--points", "3000", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto document = json::parse(result.out);
    ASSERT_EQ(document["scans"].size(), CDemoScene::c_numStations);
    std::uint64_t total = 0;
    for (const auto& scan : document["scans"])
    {
        const auto file = Application::CScanFile::Open(in(scan["file"]));
        EXPECT_EQ(file.GetPointCount(), scan["points"]);
        EXPECT_TRUE(file.GetSurfelCollection()->HasNormals());
        total += file.GetPointCount();
    }
    EXPECT_EQ(document["object"]["points"], total);
    EXPECT_EQ(Application::CScanFile::Open(in("new/demo/object.ply")).GetPointCount(), total);
}

TEST_F(CDemoCommandTest, Transforms_ReadBackAsTheStationsOwn)
{
    ASSERT_EQ(run({"demo", "-o", ".", "--points", "3000", "--seed", "5"}).exitCode, 0);
    CDemoScene::SSettings settings;
    settings.numPoints = 3000;
    settings.seed = 5;
    std::istringstream lines(read("transforms.txt"));
    std::string line;
    std::getline(lines, line);
    EXPECT_THAT(line, testing::StartsWith("# "));
    for (const CDemoScene::SScan& scan : CDemoScene(settings).Generate())
    {
        std::string name;
        lines >> name;
        EXPECT_EQ(name, scan.name + ".ply");
        for (std::size_t index = 0; index < 16; ++index)
        {
            double value = 0.0;
            lines >> value;
            EXPECT_EQ(value, scan.trafo.data()[index]) << name << ' ' << index;
        }
    }
    EXPECT_FALSE(lines >> line);
}

// The first station's points, moved by its transform, are the first of the merged scan.
TEST_F(CDemoCommandTest, MergedScan_IsInCommonCoordinates)
{
    ASSERT_EQ(run({"demo", "-o", ".", "--points", "3000"}).exitCode, 0);
    CDemoScene::SSettings settings;
    settings.numPoints = 3000;
    const auto scans = CDemoScene(settings).Generate();
    const auto merged = Application::CScanFile::Open(in("object.ply")).GetSurfelCollection();
    const auto& trafo = scans[0].trafo;
    const LqVector3f own = scans[0].positions[7];
    const LqVector3f common = merged->GetPositions().At(7);
    EXPECT_NEAR(common.x,
                own.x * trafo(0, 0) + own.y * trafo(1, 0) + own.z * trafo(2, 0) + trafo(3, 0),
                1e-3);
    EXPECT_NEAR(common.z,
                own.x * trafo(0, 2) + own.y * trafo(1, 2) + own.z * trafo(2, 2) + trafo(3, 2),
                1e-3);
    const LqVector3f ownNormal = scans[0].normals[7];
    const LqVector3f normal = merged->GetNormals().At(7);
    EXPECT_NEAR(normal.y,
                ownNormal.x * trafo(0, 1) + ownNormal.y * trafo(1, 1) + ownNormal.z * trafo(2, 1),
                1e-5);
}

// The lasso of the documents and of the demo's script.
TEST_F(CDemoCommandTest, Lasso_OfTheDocumentsMeetsTheWholeSpout)
{
    ASSERT_EQ(run({"demo", "-o", "."}).exitCode, 0);
    const auto result =
        run({"cut", "object.ply", "--dry-run", "--json", "--lasso", "838,288", "868,240", "905,205",
             "955,210", "975,255", "930,325", "885,352", "850,338"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NEAR(json::parse(result.out)["newlyCut"].get<double>(), 6499.0, 50.0);
}

TEST_F(CDemoCommandTest, SameSettings_GiveTheSameBytes)
{
    ASSERT_EQ(run({"demo", "-o", "a", "--points", "2000"}).exitCode, 0);
    ASSERT_EQ(run({"demo", "-o", "b", "--points", "2000"}).exitCode, 0);
    ASSERT_EQ(run({"demo", "-o", "c", "--points", "2000", "--seed", "2"}).exitCode, 0);
    EXPECT_EQ(read("a/object.ply"), read("b/object.ply"));
    EXPECT_NE(read("a/object.ply"), read("c/object.ply"));
}

TEST_F(CDemoCommandTest, FileThatExists_IsLeftAndNothingElseIsWritten)
{
    write("station3.ply", "old");
    const auto result = run({"demo", "-o", ".", "--points", "2000"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("station3.ply"));
    EXPECT_THAT(list(), testing::ElementsAre("station3.ply"));
    EXPECT_EQ(run({"demo", "-o", ".", "--points", "2000", "--force"}).exitCode, 0);
    EXPECT_NE(read("station3.ply"), "old");
}

TEST_F(CDemoCommandTest, FolderThatIsAFile_IsAnOutputError)
{
    write("demo", "a file");
    EXPECT_EQ(run({"demo", "-o", "demo", "--points", "2000"}).exitCode, 4);
    EXPECT_EQ(read("demo"), "a file");
}

TEST_F(CDemoCommandTest, NumbersThatAreNone_AreUsageErrors)
{
    for (const std::string points : {"many", "-5", "1.5", "0", "99999999999999999999"})
    {
        EXPECT_EQ(run({"demo", "-o", "demo", "--points", points}).exitCode, 2) << points;
    }
    EXPECT_EQ(run({"demo", "-o", "demo", "--seed", "x"}).exitCode, 2);
    EXPECT_EQ(run({"demo"}).exitCode, 2);
    EXPECT_FALSE(exists("demo"));
}

}  // namespace
