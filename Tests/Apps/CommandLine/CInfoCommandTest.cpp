#include "Apps/CommandLine/CInfoCommand.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace
{

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class CInfoCommandTest : public TestSupport::CCommandTest
{};

TEST_F(CInfoCommandTest, Text_SaysWhatTheFileHolds)
{
    write("scan.ply", makePly({{-1, 0, 2}, {3, 5, 2.5F}}));
    const auto result = run({"info", "scan.ply"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, testing::StartsWith("scan.ply\n"));
    EXPECT_THAT(result.out, HasSubstr("  points      2\n"));
    EXPECT_THAT(result.out, HasSubstr("  from        -1 0 2\n"));
    EXPECT_THAT(result.out, HasSubstr("  to          3 5 2.5\n"));
    EXPECT_THAT(result.out, HasSubstr("  vertex      2 x float x, float y, float z\n"));
}

TEST_F(CInfoCommandTest, ElementWithoutProperties_IsACountOnly)
{
    write("mesh.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_THAT(run({"info", "mesh.obj"}).out, HasSubstr("  v           3\n"));
}

TEST_F(CInfoCommandTest, Json_IsOneDocumentOfAllScans)
{
    write("a.ply", makePly({{-1, 0, 2}, {3, 5, 2.5F}}));
    write("b.ply", makePly({{0, 0, 0}}));
    const auto result = run({"info", "a.ply", "b.ply", "--json"});
    EXPECT_EQ(result.exitCode, 0);
    const auto document = json::parse(result.out);
    EXPECT_EQ(document["command"], "info");
    ASSERT_EQ(document["scans"].size(), 2U);
    const auto& scan = document["scans"][0];
    EXPECT_EQ(scan["file"], "a.ply");
    EXPECT_EQ(scan["points"], 2);
    EXPECT_EQ(scan["pointsWithoutPosition"], 0);
    EXPECT_EQ(scan["hasNormals"], false);
    EXPECT_EQ(scan["hasTriangles"], false);
    EXPECT_EQ(scan["bounds"], (json{{"min", {-1, 0, 2}}, {"max", {3, 5, 2.5}}}));
    EXPECT_EQ(document["scans"][1]["file"], "b.ply");
}

TEST_F(CInfoCommandTest, ScanWithoutPoints_HasNoBounds)
{
    write("scan.ply", makePly({}));
    const auto result = run({"info", "scan.ply", "--json"});
    EXPECT_EQ(json::parse(result.out)["scans"][0]["bounds"], nullptr);
    EXPECT_THAT(run({"info", "scan.ply"}).out, Not(HasSubstr("  from")));
}

TEST_F(CInfoCommandTest, PointsWithoutPosition_AreCountedAndOutsideTheBounds)
{
    write("scan.ply",
          "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
          "property float z\nend_header\nnan nan nan\n1 2 3\n1 inf 3\n");
    const auto scan = json::parse(run({"info", "scan.ply", "--json"}).out)["scans"][0];
    EXPECT_EQ(scan["pointsWithoutPosition"], 2);
    EXPECT_EQ(scan["bounds"]["max"], (json{1, 2, 3}));
    EXPECT_THAT(run({"info", "scan.ply"}).out, HasSubstr("3 (2 without a finite position)"));
}

TEST_F(CInfoCommandTest, LargeCoordinates_KeepTheirDigits)
{
    write(
        "scan.ply",
        "ply\nformat ascii 1.0\nelement vertex 2\nproperty double x\nproperty double y\n"
        "property double z\nend_header\n4500000.25 650000.125 12.5\n4500001.25 650001.125 13.5\n");
    const auto result = run({"info", "scan.ply", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(
        json::parse(result.out)["scans"][0]["bounds"],
        (json{{"min", {4500000.25, 650000.125, 12.5}}, {"max", {4500001.25, 650001.125, 13.5}}}));
}

TEST_F(CInfoCommandTest, CommentWithControlCharacters_IsEscaped)
{
    write("scan.ply",
          "ply\nformat ascii 1.0\ncomment a\x1b[31mb\nelement vertex 0\nproperty float x\n"
          "property float y\nproperty float z\nend_header\n");
    const auto result = run({"info", "scan.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("a\\x1b[31mb"));
}

TEST_F(CInfoCommandTest, OneUnreadableScan_PrintsNoResult)
{
    write("a.ply", makePly({{0, 0, 0}}));
    const auto result = run({"info", "a.ply", "none.ply"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("none.ply"));
}

TEST_F(CInfoCommandTest, NoScan_IsAUsageError)
{
    EXPECT_EQ(run({"info"}).exitCode, 2);
}

}  // namespace
