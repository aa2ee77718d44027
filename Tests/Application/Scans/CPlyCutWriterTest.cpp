#include "Application/Scans/CPlyCutWriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using ScanTest::Bytes;
using ScanTest::Cut;

const std::string c_xyz = "property float x\nproperty float y\nproperty float z\n";

/// A file with everything: comments, colours, faces with a property, a further element.
[[nodiscard]] std::string Rich(const std::string& format, const std::string& vertexCount,
                               const std::string& faceCount, const std::string& body)
{
    return "ply\nformat " + format + " 1.0\ncomment  two  spaces\nobj_info k 7\nelement vertex " +
           vertexCount + "\n" + c_xyz + "property uchar red\nelement face " + faceCount +
           "\nproperty uchar quality\nproperty list uchar int vertex_indices\n"
           "property float area\nelement camera 1\nproperty double f\nproperty list uchar uchar "
           "id\n"
           "end_header\n" +
           body;
}

[[nodiscard]] std::string Vertex(int number, std::endian order)
{
    return Bytes(static_cast<float>(number), order) + Bytes(0.5F, order) + Bytes(-1.0F, order) +
           Bytes(static_cast<std::uint8_t>(number + 100));
}

[[nodiscard]] std::string Face(std::int32_t a, std::int32_t b, std::int32_t c, std::endian order)
{
    return Bytes(static_cast<std::uint8_t>(7)) + Bytes(static_cast<std::uint8_t>(3)) +
           Bytes(a, order) + Bytes(b, order) + Bytes(c, order) + Bytes(2.5F, order);
}

class BinaryOrders : public testing::TestWithParam<std::endian>
{};

TEST_P(BinaryOrders, Write_RemovesVerticesAndTheirFacesAndRenumbers)
{
    const std::endian order = GetParam();
    const std::string format =
        order == std::endian::little ? "binary_little_endian" : "binary_big_endian";
    const std::string camera =
        Bytes(35.0, order) + Bytes(std::uint8_t{2}) + Bytes(std::uint8_t{1}) + "\n";
    const auto v = [&](int number) { return Vertex(number, order); };
    const std::string before =
        Rich(format, "5", "3",
             v(0) + v(1) + v(2) + v(3) + v(4) + Face(0, 1, 2, order) + Face(2, 3, 4, order) +
                 Face(0, 4, 2, order) + camera + "tail");

    const std::string after = Cut(before, {1});

    EXPECT_EQ(after, Rich(format, "4", "2",
                          v(0) + v(2) + v(3) + v(4) + Face(1, 2, 3, order) + Face(0, 3, 1, order) +
                              camera + "tail"));
}

INSTANTIATE_TEST_SUITE_P(CPlyCutWriter, BinaryOrders,
                         testing::Values(std::endian::little, std::endian::big));

TEST(CPlyCutWriter, Write_AsciiKeepsTheSpellingOfEveryKeptLine)
{
    const std::string before =
        Rich("ascii", "4", "2",
             "0.10  1e0\t2 255\n\n1 1 1 1 \n+2 2.000 2 2\n3 3 3 3\n7 3  0 1 2 0.50\n"
             "8 3 0\t2  3 1.5e-1\n\n35.0 1 9\n  \n");

    const std::string after = Cut(before, {1});

    EXPECT_EQ(after, Rich("ascii", "3", "1",
                          "0.10  1e0\t2 255\n\n+2 2.000 2 2\n3 3 3 3\n"
                          "8 3 0\t1  2 1.5e-1\n\n35.0 1 9\n  \n"));
}

TEST(CPlyCutWriter, Write_CarriageReturnsStay)
{
    const std::string head = "ply\r\nformat ascii 1.0\r\nelement vertex ";
    const std::string rest =
        "\r\nproperty float x\r\nproperty float y\r\nproperty float z\r\nend_header\r\n";

    EXPECT_EQ(Cut(head + "2" + rest + "1 2 3\r\n4 5 6\r\n", {0}), head + "1" + rest + "4 5 6\r\n");
}

TEST(CPlyCutWriter, Write_NothingDroppedGivesTheSameBytes)
{
    const std::string content =
        Rich("ascii", "0002", "1", "1 2 3 4\n5 6 7 8\n1 2 0 1 3\n35 0\nwhatever");

    EXPECT_EQ(Cut(content, {}), content);
}

TEST(CPlyCutWriter, Write_EverythingDroppedLeavesTheRest)
{
    EXPECT_EQ(Cut(Rich("ascii", "2", "1", "1 2 3 4\n5 6 7 8\n1 2 0 1 3\n35 0\n"), {0, 1}),
              Rich("ascii", "0", "0", "35 0\n"));
}

TEST(CPlyCutWriter, Write_CountThatStaysKeepsItsSpelling)
{
    const std::string head = "ply\nformat ascii 1.0\nelement extra 01\nproperty int a\n";
    const std::string tail = "\n" + c_xyz + "end_header\n";

    EXPECT_EQ(Cut(head + "element vertex +2" + tail + "1\n1 2 3\n4 5 6\n", {1}),
              head + "element vertex 1" + tail + "1\n1 2 3\n");
}

/// A file of binary vertices that are \p numFurther bytes longer than their coordinates, all of
/// them different; only those that have no entry in \p dropped.
[[nodiscard]] std::string ManyVertices(std::size_t count, std::size_t numFurther,
                                       const std::vector<std::size_t>& dropped,
                                       const std::string& tail)
{
    std::string content = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                          std::to_string(count - dropped.size()) + "\n" + c_xyz;
    for (std::size_t property = 0; property < numFurther; ++property)
    {
        content += "property uchar p" + std::to_string(property) + "\n";
    }
    content += "end_header\n";
    std::size_t numPassed = 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        if (numPassed < dropped.size() && dropped[numPassed] == index)
        {
            ++numPassed;
            continue;
        }
        const auto number = static_cast<float>(index);
        content += Bytes(number) + Bytes(number + 0.5F) + Bytes(-number);
        for (std::size_t property = 0; property < numFurther; ++property)
        {
            content += Bytes(static_cast<std::uint8_t>(index * 7 + property));
        }
    }
    return content + tail;
}

TEST(CPlyCutWriter, Write_KeptRecordsOfEverySizeStayWhereverTheyLie)
{
    std::mt19937 generator(11);
    for (const std::size_t numFurther : {0U, 3U, 4U, 5U, 20U, 21U})
    {
        for (const std::size_t count : {1U, 63U, 64U, 65U, 200U, 1000U})
        {
            for (const unsigned percent : {3U, 50U, 97U})
            {
                std::vector<std::size_t> dropped;
                for (std::size_t index = 0; index < count; ++index)
                {
                    // The third group stays whole, the fourth goes.
                    const std::size_t group = index / 64;
                    if (group == 3 || (group != 2 && generator() % 100 < percent))
                    {
                        dropped.push_back(index);
                    }
                }
                for (const std::string tail : {"", "x", "more than one register behind"})
                {
                    ASSERT_EQ(Cut(ManyVertices(count, numFurther, {}, tail), dropped),
                              ManyVertices(count, numFurther, dropped, tail))
                        << numFurther << ' ' << count << ' ' << percent;
                }
            }
        }
    }
}

TEST(CPlyCutWriter, Write_VerticesWithListsAreCopiedWhole)
{
    const std::string head = "ply\nformat binary_little_endian 1.0\nelement vertex ";
    const std::string rest = "\nproperty list uchar short tags\n" + c_xyz + "end_header\n";
    const auto record = [](int tags, float x) {
        std::string bytes = Bytes(static_cast<std::uint8_t>(tags));
        for (int tag = 0; tag < tags; ++tag)
        {
            bytes += Bytes(static_cast<std::int16_t>(tag));
        }
        return bytes + Bytes(x) + Bytes(0.0F) + Bytes(0.0F);
    };

    EXPECT_EQ(
        Cut(head + "4" + rest + record(3, 1) + record(0, 2) + record(1, 3) + record(2, 4), {0, 2}),
        head + "2" + rest + record(0, 2) + record(2, 4));
}

TEST(CPlyCutWriter, Write_EveryIndexTypeIsRenumberedInItsOwnWidth)
{
    const auto make = [](const std::string& vertices, const std::string& faces,
                         const std::string& type, const std::string& body) {
        return "ply\nformat binary_big_endian 1.0\nelement vertex " + vertices +
               "\nproperty char x\nproperty char y\nproperty char z\nelement face " + faces +
               "\nproperty list int " + type + " vertex_index\nend_header\n" + body;
    };
    const auto big = std::endian::big;
    const std::string three = "\x01\x01\x01\x02\x02\x02\x03\x03\x03";
    const std::string two = "\x02\x02\x02\x03\x03\x03";
    const auto check = [&](const std::string& type, auto zero) {
        using Index = decltype(zero);
        const auto record = [&](int a, int b) {
            return Bytes(std::int32_t{2}, big) + Bytes(static_cast<Index>(a), big) +
                   Bytes(static_cast<Index>(b), big);
        };
        EXPECT_EQ(Cut(make("3", "2", type, three + record(0, 1) + record(2, 1)), {0}),
                  make("2", "1", type, two + record(1, 0)))
            << type;
    };

    check("char", std::int8_t{});
    check("uint8", std::uint8_t{});
    check("short", std::int16_t{});
    check("ushort", std::uint16_t{});
    check("int", std::int32_t{});
    check("uint32", std::uint32_t{});
}

TEST(CPlyCutWriter, Write_FacesBeforeTheVerticesAreRenumberedToo)
{
    const auto make = [](const std::string& faces, const std::string& vertices,
                         const std::string& body) {
        return "ply\nformat ascii 1.0\nelement face " + faces +
               "\nproperty list uchar int vertex_index\nelement vertex " + vertices + "\n" + c_xyz +
               "end_header\n" + body;
    };

    EXPECT_EQ(Cut(make("2", "3", "2 0 1\n2 1 2\n0 0 0\n1 1 1\n2 2 2\n"), {0}),
              make("1", "2", "2 0 1\n1 1 1\n2 2 2\n"));
}

TEST(CPlyCutWriter, Write_EdgesStayWhenBothEndsDo)
{
    const auto make = [](const std::string& vertices, const std::string& edges,
                         const std::string& body) {
        return "ply\nformat ascii 1.0\nelement vertex " + vertices + "\n" + c_xyz +
               "element edge " + edges +
               "\nproperty int vertex1\nproperty uchar crease\nproperty int vertex2\nend_header\n" +
               body;
    };

    EXPECT_EQ(Cut(make("3", "3", "0 0 0\n1 1 1\n2 2 2\n0 9 1\n1 8 2\n2 7 0\n"), {0}),
              make("2", "1", "1 1 1\n2 2 2\n0 8 1\n"));
}

[[nodiscard]] std::string Strips(const std::string& vertices, const std::string& strip)
{
    return "ply\nformat ascii 1.0\nelement vertex " + vertices +
           "\nproperty char x\nproperty char y\nproperty char z\nelement tristrips 1\n"
           "property list uchar int vertex_indices\nproperty int tag\nend_header\n" +
           strip;
}

TEST(CPlyCutWriter, Write_StripIsSplitWhereAVertexIsMissing)
{
    const std::string seven = "0 0 0\n1 0 0\n2 0 0\n3 0 0\n4 0 0\n5 0 0\n6 0 0\n";

    // The part behind vertex 3 begins at an even place and needs no repetition.
    EXPECT_EQ(Cut(Strips("7", seven + "8 0 1 2 3 4 5 6 -1 5\n"), {3}),
              Strips("6", "0 0 0\n1 0 0\n2 0 0\n4 0 0\n5 0 0\n6 0 0\n8 0 1 2 -1 3 4 5 -1 5\n"));
}

TEST(CPlyCutWriter, Write_StripPartOfTheOtherOrientationRepeatsItsFirstVertex)
{
    const std::string six = "0 0 0\n1 0 0\n2 0 0\n3 0 0\n4 0 0\n5 0 0\n";

    EXPECT_EQ(Cut(Strips("6", six + "6 0 1 2 3 4 5 5\n"), {2}),
              Strips("5", "0 0 0\n1 0 0\n3 0 0\n4 0 0\n5 0 0\n4 2 2 3 4 5\n"));
}

/// A file of one strip over \p numVertices vertices, whose numbers are of \p type.
template <typename Index>
[[nodiscard]] std::string TypedStrip(std::size_t numVertices, const std::string& type,
                                     const std::vector<std::size_t>& strip)
{
    std::string content =
        "ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(numVertices) +
        "\nproperty char x\nproperty char y\nproperty char z\n"
        "element tristrips 1\nproperty list int " +
        type + " vertex_indices\nend_header\n" + std::string(3 * numVertices, '\1') +
        Bytes(static_cast<std::int32_t>(strip.size()));
    for (const std::size_t vertex : strip)
    {
        content += Bytes(static_cast<Index>(vertex));
    }
    return content;
}

/// The message that cutting ends with; empty when it does not fail.
[[nodiscard]] std::string CutMessage(const std::string& content,
                                     const std::vector<std::size_t>& dropped)
{
    try
    {
        (void)Cut(content, dropped);
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return {};
}

const std::vector<std::size_t> c_nine = {0, 1, 2, 3, 4, 5, 6, 7, 8};

TEST(CPlyCutWriter, Write_UnsignedTypeHoldsNoSeparatorOfStrips)
{
    const std::string content = TypedStrip<std::uint32_t>(9, "uint", c_nine);
    const std::string byte = std::to_string(content.size() - 4 - 9 * 4);

    EXPECT_EQ(CutMessage(content, {4}),
              "scan.ply: byte " + byte +
                  ": expected a signed type for the separators between the parts of triangle "
                  "strips, where vertices are removed, found 'list int uint vertex_indices'");
}

TEST(CPlyCutWriter, Write_SeparatorOfStripsIsNotTakenForVertex255)
{
    EXPECT_NE(CutMessage(TypedStrip<std::uint8_t>(300, "uchar", c_nine), {4}), "");
    EXPECT_NE(CutMessage(TypedStrip<std::uint16_t>(300, "ushort", c_nine), {4}), "");
}

TEST(CPlyCutWriter, Write_UnsignedTypeInTextHoldsNoSeparatorEither)
{
    const std::string content =
        "ply\nformat ascii 1.0\nelement vertex 7\nproperty char x\nproperty char y\n"
        "property char z\nelement tristrips 1\nproperty list uchar uint vertex_indices\n"
        "end_header\n0 0 0\n0 0 0\n0 0 0\n0 0 0\n0 0 0\n0 0 0\n0 0 0\n7 0 1 2 3 4 5 6\n";

    EXPECT_EQ(CutMessage(content, {3}),
              "scan.ply: line 17: expected a signed type for the separators between the parts of "
              "triangle strips, where vertices are removed, found 'list uchar uint "
              "vertex_indices'");
}

TEST(CPlyCutWriter, Write_StripOfAnUnsignedTypeIsCutWhereItStaysOne)
{
    EXPECT_EQ(Cut(TypedStrip<std::uint32_t>(9, "uint", c_nine), {0, 8}),
              TypedStrip<std::uint32_t>(7, "uint", {0, 0, 1, 2, 3, 4, 5, 6}));
}

TEST(CPlyCutWriter, Write_StripOfEverySignedTypeIsSplit)
{
    const auto none = static_cast<std::size_t>(-1);
    const std::vector<std::size_t> parts = {0, 1, 2, 3, none, 4, 4, 5, 6, 7};

    EXPECT_EQ(Cut(TypedStrip<std::int8_t>(9, "char", c_nine), {4}),
              TypedStrip<std::int8_t>(8, "char", parts));
    EXPECT_EQ(Cut(TypedStrip<std::int16_t>(9, "short", c_nine), {4}),
              TypedStrip<std::int16_t>(8, "short", parts));
    EXPECT_EQ(Cut(TypedStrip<std::int32_t>(9, "int", c_nine), {4}),
              TypedStrip<std::int32_t>(8, "int", parts));
}

}  // namespace
