#include "Application/Scans/CObjScan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using Triangles = std::vector<std::array<std::uint32_t, 3>>;

[[nodiscard]] Application::CScanFile Parse(const std::string& content)
{
    return ScanTest::ParseScan(content, "m.obj");
}

[[nodiscard]] std::string MessageOf(const std::string& content)
{
    return ScanTest::ParseMessage(content, "m.obj");
}

[[nodiscard]] std::string Cut(const std::string& content, const std::vector<std::size_t>& dropped)
{
    return ScanTest::Cut(content, dropped, "m.obj");
}

const std::string c_square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";

TEST(CObjScan, Parse_ByteOrderMarkIsNoPartOfTheFirstStatement)
{
    EXPECT_EQ(Parse("\xEF\xBB\xBF" + c_square).GetPointCount(), 4U);
}

TEST(CObjScan, Parse_VerticesAndPolygons)
{
    const auto scan = Parse(c_square + "f 1 2 3 4\nf 1 3 4\n");

    EXPECT_EQ(ScanTest::PositionsOf(scan),
              (std::vector<LqVector3f>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}));
    EXPECT_EQ(scan.GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {0, 2, 3}, {0, 2, 3}}));
    EXPECT_EQ(scan.GetTriangulation()->vertices, ScanTest::PositionsOf(scan));
    EXPECT_FALSE(scan.GetSurfelCollection()->HasNormals());
}

TEST(CObjScan, Parse_EveryFormOfACorner)
{
    const auto scan =
        Parse(c_square + "vt 0 0\nvn 0 0 1\nvn 0 1 0\nf 1 2/1 3//2\nf 1/1/1 2//2 4/1\n");

    EXPECT_EQ(scan.GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {0, 1, 3}}));
    EXPECT_EQ(ScanTest::NormalsOf(scan),
              (std::vector<LqVector3f>{{0, 0, 1}, {0, 1, 0}, {0, 1, 0}, {0, 0, 0}}));
}

TEST(CObjScan, Parse_FirstNormalOfAVertexWins)
{
    const auto scan = Parse(c_square + "vn 0 0 1\nvn 0 1 0\nf 1//1 2//1 3//1\nf 1//2 3//2 4//2\n");

    EXPECT_EQ(ScanTest::NormalsOf(scan),
              (std::vector<LqVector3f>{{0, 0, 1}, {0, 0, 1}, {0, 0, 1}, {0, 1, 0}}));
}

TEST(CObjScan, Parse_NegativeNumbersCountBackFromTheLine)
{
    const auto scan = Parse("v 0 0 0\nv 1 0 0\nv 1 1 0\nf -3 -2 -1\nv 0 1 0\nf -4 -2 -1\n");

    EXPECT_EQ(scan.GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {0, 2, 3}}));
}

TEST(CObjScan, Parse_FaceMayStandBeforeItsVertices)
{
    EXPECT_EQ(Parse("f 1 2 3\n" + c_square).GetTriangulation()->triangles, (Triangles{{0, 1, 2}}));
}

TEST(CObjScan, Parse_ColoursBehindTheVertexArePassedOver)
{
    EXPECT_EQ(ScanTest::PositionsOf(Parse("v 1 2 3 0.5 0.5 0.5\n")),
              (std::vector<LqVector3f>{{1, 2, 3}}));
}

TEST(CObjScan, Parse_PointCloudWithAsManyNormals)
{
    const auto scan = Parse("v 1 2 3\nvn 0 0 1\nv 4 5 6\nvn 0 1 0\n");

    EXPECT_EQ(ScanTest::NormalsOf(scan), (std::vector<LqVector3f>{{0, 0, 1}, {0, 1, 0}}));
    EXPECT_FALSE(scan.HasTriangles());
    EXPECT_EQ(scan.GetTriangulation(), nullptr);
}

TEST(CObjScan, Parse_BackslashContinuesALine)
{
    const std::string content = c_square + "f 1 2 \\\r\n 3\\\n 4\n";

    EXPECT_EQ(Parse(content).GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {0, 2, 3}}));
    EXPECT_EQ(Cut(content + "f 1 \\\n2 4\n", {2}), "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 \\\n2 3\n");
}

TEST(CObjScan, Parse_CommentIsNotContinued)
{
    for (const std::string comment : {"# from C:\\scans\\\n", "#\\\r\n", " \t# a \\\n",
                                      "\xEF\xBB\xBF# a\\\n", "g a \\\n# b \\\n", "g a#1 #b \\\n"})
    {
        const std::string content = comment + c_square;

        EXPECT_EQ(Parse(content).GetPointCount(), 4U) << comment;
        EXPECT_EQ(Cut(content, {0}), comment + "v 1 0 0\nv 1 1 0\nv 0 1 0\n") << comment;
    }
}

TEST(CObjScan, Parse_NumberSignInsideAWordBeginsNoComment)
{
    EXPECT_EQ(Parse(c_square + "g a#1 \\\nv 1 2 3\n").GetPointCount(), 4U);
}

TEST(CObjScan, Parse_OtherStatementsArePassedOver)
{
    EXPECT_EQ(
        Parse("# c\nmtllib a.mtl\no thing\ng part\ns off\nusemtl red\nweird 1 2\n\n" + c_square)
            .GetPointCount(),
        4U);
}

TEST(CObjScan, Parse_LargeTextCoordinatesAreShifted)
{
    const auto scan = Parse("v 4467123.125 5332987.25 12.5\nv 4467123.37 5332987.25 12.5\n");

    EXPECT_NEAR(ScanTest::PositionsOf(scan)[1].x + scan.GetTransform()(3, 0), 4467123.37, 1e-7);
}

TEST(CObjScan, Parse_SmallTextCoordinatesAreNotShifted)
{
    const auto scan = Parse("v 0.1 0.2 0.3\nv 10.1 -3.7 2.2\n");

    EXPECT_EQ(scan.GetTransform(), c_matIdentityD);
    EXPECT_EQ(ScanTest::PositionsOf(scan)[0], (LqVector3f{0.1F, 0.2F, 0.3F}));
}

TEST(CObjScan, Parse_DamagedLinesAreNamed)
{
    EXPECT_EQ(MessageOf("v 1 2\n"), "m.obj: line 1: expected a number, found the end of the line");
    EXPECT_EQ(MessageOf("v 1 2 a\n"), "m.obj: line 1: expected a number, found 'a'");
    EXPECT_EQ(MessageOf("v 1 2 3\nvn 0 0\n"),
              "m.obj: line 2: expected a number, found the end of the line");
    EXPECT_EQ(MessageOf(c_square + "f 1 2\n"),
              "m.obj: line 5: expected at least 3 corners of a face, found '2'");
    EXPECT_EQ(MessageOf(c_square + "f 1 2 5\n"),
              "m.obj: line 5: expected the number of a vertex from 1 to 4, found '5'");
    EXPECT_EQ(MessageOf(c_square + "f 1 2 0\n"),
              "m.obj: line 5: expected the number of a vertex from 1 to 4, found '0'");
    EXPECT_EQ(MessageOf(c_square + "f 1 2 x\n"),
              "m.obj: line 5: expected the number of a vertex from 1 to 4, found 'x'");
    EXPECT_EQ(MessageOf("f 1 2 -1\n" + c_square),
              "m.obj: line 1: expected the number of a vertex of one of the 0 before this line, "
              "found '-1'");
    EXPECT_EQ(MessageOf(c_square + "f 1 2 -9223372036854775808\n"),
              "m.obj: line 5: expected the number of a vertex of one of the 4 before this line, "
              "found '-9223372036854775808'");
    EXPECT_EQ(MessageOf(c_square + "vn 0 0 1\nf 1//1 2//2 3//1\n"),
              "m.obj: line 6: expected the number of a normal from 1 to 1, found '2'");
    EXPECT_EQ(MessageOf(c_square + "l 1 7\n"),
              "m.obj: line 5: expected the number of a vertex from 1 to 4, found '7'");
}

TEST(CObjScan, Parse_CarriageReturnsAloneDoNotEndLines)
{
    EXPECT_EQ(ScanTest::ParseMessage("v 1 2 3\rv 4 5 6\r", "m.obj"),
              "m.obj: line 1: expected lines that end with a line feed, found a carriage return "
              "without one");
}

TEST(CObjScan, Parse_CarriageReturnsAloneDoNotEndContinuedLinesEither)
{
    EXPECT_EQ(MessageOf("v 1 2 \\\n3\rv 4 5 6\n"),
              "m.obj: line 2: expected lines that end with a line feed, found a carriage return "
              "without one");
    EXPECT_EQ(Parse("v 1 2 \\\r\n\\\r\n3\r\nv 4 5 6\r").GetPointCount(), 2U);
}

TEST(CObjScan, Parse_NoVerticesAreAnError)
{
    EXPECT_EQ(MessageOf("# nothing\n"), "m.obj: expected lines 'v x y z', found none");
}

TEST(CObjScan, WriteKept_RenumbersVerticesAndKeepsEverythingElse)
{
    const std::string before =
        "# made\r\nmtllib a.mtl\nv  0 0 0 1 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvn 0 0 1\n"
        "g one\nusemtl red\nf 1/1/1 3/1/1  4/1/1 # c\nf 1 2 3\nl 3 4\nl 2 3\np 4\np 2\n";

    EXPECT_EQ(Cut(before, {1}),
              "# made\r\nmtllib a.mtl\nv  0 0 0 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvn 0 0 1\n"
              "g one\nusemtl red\nf 1/1/1 2/1/1  3/1/1 # c\nl 2 3\np 3\n");
}

TEST(CObjScan, WriteKept_NegativeNumbersStayNegative)
{
    EXPECT_EQ(Cut("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf -4 -2 -1\nv 2 2 2\nf -5 -3 -1\n", {1}),
              "v 0 0 0\nv 1 1 0\nv 0 1 0\nf -3 -2 -1\nv 2 2 2\nf -4 -3 -1\n");
}

TEST(CObjScan, WriteKept_NothingDroppedGivesTheSameBytes)
{
    const std::string content = c_square + "f 01 +2 3\nf 2//  3 4";

    EXPECT_EQ(Cut(content, {}), content);
}

TEST(CObjScan, WriteKept_NormalsPairedInOrderGoWithTheirVertices)
{
    const std::string after = Cut("v 1 2 3\nvn 0 0 1\nvn 0 1 0\nv 4 5 6\n# c\n", {0});

    EXPECT_EQ(after, "vn 0 1 0\nv 4 5 6\n# c\n");
    EXPECT_EQ(ScanTest::NormalsOf(Parse(after)), (std::vector<LqVector3f>{{0, 1, 0}}));
}

TEST(CObjScan, WriteKept_NormalsWithoutFacesAreNotPairedByChance)
{
    EXPECT_EQ(Cut("v 0 0 0\nv 1 0 0\nv 2 0 0\nvn 0 0 1\nvn 0 1 0\n", {1}), "v 0 0 0\nv 2 0 0\n");
    EXPECT_EQ(Cut("v 0 0 0\nv 1 0 0\nv 2 0 0\nvn 0 0 1\n", {1}), "v 0 0 0\nv 2 0 0\nvn 0 0 1\n");
}

const std::string c_threeNormals = "vn 0 0 1\nvn 0 1 0\nvn 1 0 0\n";

TEST(CObjScan, WriteKept_NormalsOfFacesThatAreGoneAreNotPairedByChance)
{
    const std::string after = Cut(c_square + c_threeNormals + "f 1//1 2//2 3//3\ng a\n", {0});

    EXPECT_EQ(after, "v 1 0 0\nv 1 1 0\nv 0 1 0\ng a\n");
    EXPECT_FALSE(Parse(after).GetSurfelCollection()->HasNormals());
}

TEST(CObjScan, WriteKept_NormalsStayWhereAFaceStays)
{
    EXPECT_EQ(Cut(c_square + c_threeNormals + "f 1 2 3\nf -3//-3 -2//2 -1//3\n", {0}),
              "v 1 0 0\nv 1 1 0\nv 0 1 0\n" + c_threeNormals + "f -3//-3 -2//2 -1//3\n");
}

TEST(CObjScan, WriteKept_NormalsStayWhereTheyAreNotAsManyAsTheVertices)
{
    EXPECT_EQ(Cut(c_square + c_threeNormals + "f 1//1 2//2 3//3\n", {0, 1}),
              "v 1 1 0\nv 0 1 0\n" + c_threeNormals);
}

TEST(CObjScan, WriteKept_LinesAndPointsForgetNormalsThatAreLeftOut)
{
    const std::string after =
        Cut("v 0 0 0\nv 1 0 0\nvt 0 0\nvn 0 0 1\nvn 0 1 0\nl 2/1/2 2//1 2//\np 2/1\n", {0});

    EXPECT_EQ(after, "v 1 0 0\nvt 0 0\nvn 0 1 0\nl 1/1 1 1//\np 1/1\n");
    EXPECT_EQ(ScanTest::NormalsOf(Parse(after)), (std::vector<LqVector3f>{{0, 1, 0}}));
    EXPECT_EQ(Cut(c_square + c_threeNormals + "f 1//1 2//2 3//3\np 2//-1 3\n", {0}),
              "v 1 0 0\nv 1 1 0\nv 0 1 0\np 1 2\n");
}

TEST(CObjScan, WriteKept_CurvesAndSurfacesCannotBeCut)
{
    const std::string content = c_square + "curv 0 1 1 2 3\n";

    EXPECT_EQ(Cut(content, {}), content);
    try
    {
        (void)Cut(content, {0});
        FAIL();
    }
    catch (const Application::CInputError& error)
    {
        EXPECT_STREQ(error.what(),
                     "m.obj: line 5: expected vertices and polygons only, to cut them, found 'curv "
                     "0 1 1 2 3'");
    }
}

}  // namespace
