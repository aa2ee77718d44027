#include "Application/Scans/CStlScan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using ScanTest::Bytes;
using Triangles = std::vector<std::array<std::uint32_t, 3>>;
using Corners = std::array<LqVector3f, 3>;

[[nodiscard]] Application::CScanFile Parse(const std::string& content)
{
    return ScanTest::ParseScan(content, "m.stl");
}

[[nodiscard]] std::string MessageOf(const std::string& content)
{
    return ScanTest::ParseMessage(content, "m.stl");
}

[[nodiscard]] std::string Cut(const std::string& content, const std::vector<std::size_t>& dropped)
{
    return ScanTest::Cut(content, dropped, "m.stl");
}

[[nodiscard]] std::string Facet(const Corners& corners, int attribute = 0)
{
    std::string record = Bytes(0.0F) + Bytes(0.0F) + Bytes(1.0F);
    for (const LqVector3f& corner : corners)
    {
        record += Bytes(corner.x) + Bytes(corner.y) + Bytes(corner.z);
    }
    return record + Bytes(static_cast<std::uint16_t>(attribute));
}

[[nodiscard]] std::string Binary(std::uint32_t count, const std::string& records,
                                 std::string head = "made here")
{
    head.resize(80, ' ');
    return head + Bytes(count) + records;
}

const LqVector3f c_a = {0, 0, 0};
const LqVector3f c_b = {1, 0, 0};
const LqVector3f c_c = {1, 1, 0};
const LqVector3f c_d = {0, 1, 0};

[[nodiscard]] std::string TextFacet(const std::string& a, const std::string& b,
                                    const std::string& c)
{
    return "  facet normal 0 0 1\n    outer loop\n      vertex " + a + "\n      vertex " + b +
           "\n      vertex " + c + "\n    endloop\n  endfacet\n";
}

TEST(CStlScan, Parse_BinaryCornersWithTheSameBitsAreOneVertex)
{
    const auto scan = Parse(Binary(2, Facet({c_a, c_b, c_c}) + Facet({c_a, c_c, c_d})));

    EXPECT_EQ(ScanTest::PositionsOf(scan), (std::vector<LqVector3f>{c_a, c_b, c_c, c_d}));
    EXPECT_EQ(scan.GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {0, 2, 3}}));
    EXPECT_EQ(scan.Describe().format, "STL, binary");
}

TEST(CStlScan, Parse_NegativeZeroIsAnotherVertex)
{
    const auto scan = Parse(Binary(1, Facet({c_a, {-0.0F, 0, 0}, c_c})));

    EXPECT_EQ(scan.GetPointCount(), 3U);
}

TEST(CStlScan, Parse_NotANumberIsOneVertex)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto scan = Parse(Binary(1, Facet({LqVector3f{nan, 0, 0}, LqVector3f{nan, 0, 0}, c_c})));

    EXPECT_EQ(scan.GetPointCount(), 2U);
    EXPECT_TRUE(std::isnan(ScanTest::PositionsOf(scan)[0].x));
}

TEST(CStlScan, Parse_ManyVerticesAreNumberedInOrder)
{
    std::string records;
    for (int index = 0; index < 500; ++index)
    {
        const auto x = static_cast<float>(index);
        records += Facet({LqVector3f{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0}});
    }

    const auto scan = Parse(Binary(500, records));

    EXPECT_EQ(scan.GetPointCount(), 1001U);
    EXPECT_EQ(scan.GetTriangulation()->triangles[1], (std::array<std::uint32_t, 3>{1, 3, 4}));
}

TEST(CStlScan, Parse_BinaryMayBeginWithSolid)
{
    const std::string content = Binary(1, Facet({c_a, c_b, c_c}), "solid facet endsolid");

    EXPECT_EQ(Parse(content).Describe().format, "STL, binary");
    EXPECT_EQ(Parse(content).GetPointCount(), 3U);
}

TEST(CStlScan, Parse_TextOfSeveralSolids)
{
    const auto scan = Parse("solid first part\n" + TextFacet("0 0 0", "1 0 0", "1 1 0") +
                            "endsolid first part\nSOLID\n" +
                            "FACET NORMAL 0 0 1 OUTER LOOP VERTEX "
                            "0 0 0 VERTEX 1 1 0 VERTEX 0 1 0 ENDLOOP ENDFACET\nENDSOLID\n");

    EXPECT_EQ(ScanTest::PositionsOf(scan), (std::vector<LqVector3f>{c_a, c_b, c_c, c_d}));
    EXPECT_EQ(scan.GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {0, 2, 3}}));
    EXPECT_EQ(scan.Describe().format, "STL, ASCII");
}

TEST(CStlScan, Parse_NoFacetsAreLegal)
{
    EXPECT_EQ(Parse("solid x\nendsolid x\n").GetPointCount(), 0U);
    EXPECT_EQ(Parse(Binary(0, "")).GetPointCount(), 0U);
}

TEST(CStlScan, Parse_BinaryThatPromisesTooMuch)
{
    EXPECT_EQ(MessageOf(Binary(3, Facet({c_a, c_b, c_c}))),
              "m.stl: byte 80: expected 3 triangles of 50 bytes, found 50 bytes");
    EXPECT_EQ(MessageOf(Binary(0xFFFFFFFF, "")),
              "m.stl: byte 80: expected 4294967295 triangles of 50 bytes, found 0 bytes");
}

TEST(CStlScan, Parse_NeitherTextNorBinary)
{
    EXPECT_EQ(MessageOf("nothing"),
              "m.stl: byte 7: expected 'solid' at the start or a binary header of 84 bytes, found "
              "the end of the file");
}

TEST(CStlScan, Parse_DamagedTextIsNamedWithItsLine)
{
    const std::string good = TextFacet("0 0 0", "1 0 0", "1 1 0");
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = "solid\n" + good + "endsolid\n";
        return MessageOf(text.replace(text.find(from), from.size(), to));
    };

    EXPECT_EQ(with("normal", "norm"), "m.stl: line 2: expected 'normal', found 'norm'");
    EXPECT_EQ(with("0 0 1\n", "0 z 1\n"), "m.stl: line 2: expected a number, found 'z'");
    EXPECT_EQ(with("outer", "inner"), "m.stl: line 3: expected 'outer', found 'inner'");
    EXPECT_EQ(with("vertex 1 0 0", "vertex 1 0"),
              "m.stl: line 6: expected a number, found 'vertex'");
    EXPECT_EQ(with("endloop", "vertex 1 1 1"), "m.stl: line 7: expected 'endloop', found 'vertex'");
    EXPECT_EQ(with("endfacet", "facet"), "m.stl: line 8: expected 'endfacet', found 'facet'");
    EXPECT_EQ(with("endsolid\n", ""),
              "m.stl: line 9: expected 'facet' or 'endsolid', found the end of the file");
    EXPECT_EQ(with("endsolid\n", "endsolid\nmore\n"),
              "m.stl: line 10: expected 'solid', found 'more'");
}

TEST(CStlScan, WriteKept_BinaryKeepsHeaderRecordsAndTail)
{
    const std::string first = Facet({c_a, c_b, c_c}, 77);
    const std::string second = Facet({c_a, c_c, c_d}, 88);

    EXPECT_EQ(Cut(Binary(2, first + second + "tail"), {1}), Binary(1, second + "tail"));
    EXPECT_EQ(Cut(Binary(2, first + second), {0}), Binary(0, ""));
    EXPECT_EQ(Cut(Binary(2, first + second + "tail"), {}), Binary(2, first + second + "tail"));
}

TEST(CStlScan, WriteKept_TextKeepsTheFacetsAsTheyWere)
{
    const std::string first = TextFacet("0 0 0", "1.0 0 0", "1 1 0");
    const std::string second = TextFacet("0 0 0", "1 1 0", "0 1e0 0");
    const std::string third = TextFacet("5 0 0", "5 1 0", "5 1 9");
    const auto file = [](const std::string& facets) {
        return "solid a b\r\n" + facets + "endsolid a b\n\n";
    };

    EXPECT_EQ(Cut(file(first + second + third), {3}), file(first + third));
    EXPECT_EQ(Cut(file(first + second + third), {0}), file(third));
    EXPECT_EQ(Cut(file(first + second), {}), file(first + second));
}

}  // namespace
