#include "Application/Scans/CXyzScan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

[[nodiscard]] std::vector<LqVector3f> PositionsOf(const std::string& content)
{
    return ScanTest::PositionsOf(ScanTest::ParseScan(content, "p.xyz"));
}

const std::vector<LqVector3f> c_points = {{1, 2, 3}, {4, 5.5F, -6}};

TEST(CXyzScan, Parse_EverySeparator)
{
    EXPECT_EQ(PositionsOf("1 2 3\n4 5.5 -6\n"), c_points);
    EXPECT_EQ(PositionsOf("1\t2\t3\n4\t5.5\t-6"), c_points);
    EXPECT_EQ(PositionsOf("1,2,3\r\n4, 5.5 , -6\r\n"), c_points);
    EXPECT_EQ(PositionsOf(" 1;2;3\n4; 5.5;-6;\n"), c_points);
}

// Taken for separators, they would make (1, 5, 2) of the first point without a word.
TEST(CXyzScan, Parse_DecimalCommasAreRefused)
{
    for (const char* const text :
         {"1,5;2,5;3,5\n", "1,5 2,5 3,5\n", "1,5\t-2,5\t3,5 255 0 0", "1 2 3\n 1,5 ; 2,5 ; 3,5;7\n",
          "10 20 3,5\n", "0;0,5;1;255\n", "1.000,5 2,5 3,5\n"})
    {
        EXPECT_THROW((void)PositionsOf(text), Application::CInputError) << text;
    }
}

TEST(CXyzScan, Parse_CommasThatSeparateStaySeparators)
{
    EXPECT_EQ(PositionsOf("1,2,3 255,0,0\n4,5.5 -6,7 8,9,10\n"), c_points);
    EXPECT_EQ(PositionsOf("1,2 3\n4, 5.5, -6\n"), c_points);
    EXPECT_EQ(PositionsOf("1,2,3;0,1;2\n4 ,5.5 ,-6 7,8\n"), c_points);
    EXPECT_EQ(PositionsOf("1.0 2 3,255\n4 5.5 -6,255\n"), c_points);
}

// Passed over, an empty column would make the next one's number a coordinate.
TEST(CXyzScan, Parse_EmptyColumnsAreRefused)
{
    EXPECT_EQ(ScanTest::ParseMessage("1,2,3\n4,,5,6\n", "p.csv"),
              "p.csv: line 2: expected the number y of a point, found nothing");
    EXPECT_EQ(ScanTest::ParseMessage("x,y,z\n ,1,2,3\n", "p.csv"),
              "p.csv: line 2: expected the number x of a point, found nothing");
    EXPECT_EQ(ScanTest::ParseMessage("1; 2 ; ;3\n", "p.csv"),
              "p.csv: line 1: expected the number z of a point, found nothing");
}

TEST(CXyzScan, Parse_LinesOfEmptyColumnsArePassedOver)
{
    EXPECT_EQ(PositionsOf(",,,\n,y,\n1,2,3,,,\n; ; ;\n4,5.5,-6,,7\n"), c_points);
}

TEST(CXyzScan, Parse_EveryExtension)
{
    for (const char* const name : {"p.xyz", "p.txt", "p.CSV", "p.asc"})
    {
        EXPECT_EQ(ScanTest::ParseScan("1 2 3\n", name).GetPointCount(), 1U);
    }
}

TEST(CXyzScan, Parse_FurtherColumnsArePassedOver)
{
    EXPECT_EQ(PositionsOf("1 2 3 255 red 0.5\n4 5.5 -6\n"), c_points);
}

TEST(CXyzScan, Parse_CommentsBlankLinesAndOneLineOfNames)
{
    EXPECT_EQ(PositionsOf("# made\n\n// by hand\nx,y,z\n1 2 3\n  # in between\n4 5.5 -6\n\n"),
              c_points);
}

TEST(CXyzScan, Parse_NotANumberIsAPoint)
{
    EXPECT_TRUE(std::isnan(PositionsOf("nan 2 3\n1 2 3\n").at(0).x));
}

TEST(CXyzScan, Parse_DegreesAreShifted)
{
    const auto scan =
        ScanTest::ParseScan("48.1234567 11.7654321 510.25\n48.1234569 11.7 510.3\n", "p.xyz");

    EXPECT_NEAR(ScanTest::PositionsOf(scan)[0].x + scan.GetTransform()(3, 0), 48.1234567, 1e-8);
}

TEST(CXyzScan, Parse_DamagedLineIsNamed)
{
    EXPECT_EQ(ScanTest::ParseMessage("1 2 3\n4 5\n", "p.xyz"),
              "p.xyz: line 2: expected the number z of a point, found the end of the line");
    EXPECT_EQ(ScanTest::ParseMessage("x y z\nmore words here\n1 2 3\n", "p.xyz"),
              "p.xyz: line 2: expected the number x of a point, found 'more'");
    EXPECT_EQ(ScanTest::ParseMessage("1 2 3\nx y z\n", "p.xyz"),
              "p.xyz: line 2: expected the number x of a point, found 'x'");
}

TEST(CXyzScan, Parse_CarriageReturnsAloneDoNotEndLines)
{
    EXPECT_EQ(ScanTest::ParseMessage("1 2 3\r4 5 6\r", "p.xyz"),
              "p.xyz: line 1: expected lines that end with a line feed, found a carriage return "
              "without one");
}

TEST(CXyzScan, Parse_ByteOrderMarkIsNoPartOfTheFirstPoint)
{
    const std::string mark = "\xEF\xBB\xBF";
    EXPECT_EQ(PositionsOf(mark + "1 2 3\r\n4 5.5 -6\r\n"), c_points);
    EXPECT_EQ(PositionsOf(mark + "x y z\n1 2 3\n4 5.5 -6\n"), c_points);
}

TEST(CXyzScan, Parse_DamagedFirstPointIsNotTakenForNames)
{
    EXPECT_EQ(ScanTest::ParseMessage("l 2 3\n4 5.5 -6\n", "p.xyz"),
              "p.xyz: line 1: expected the number x of a point, found 'l'");
}

TEST(CXyzScan, Parse_NoPointsAreAnError)
{
    EXPECT_EQ(ScanTest::ParseMessage("# nothing\nx y z\n", "p.xyz"),
              "p.xyz: expected lines that begin with x, y and z, found none");
}

TEST(CXyzScan, WriteKept_LinesStayAsTheyWere)
{
    EXPECT_EQ(ScanTest::Cut("# c\r\nx;y;z;i\r\n1;2;3;9\r\n\r\n 04;5;6;8\r\n# d\r\n7;8;9;7", {0, 2},
                            "p.csv"),
              "# c\r\nx;y;z;i\r\n\r\n 04;5;6;8\r\n# d\r\n");
}

}  // namespace
