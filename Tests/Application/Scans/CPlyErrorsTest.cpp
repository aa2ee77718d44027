// Every way in which a PLY file can be damaged, with the message and the place it is reported at.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using ScanTest::Bytes;
using ScanTest::ParseMessage;

struct SCase
{
    const char* name;
    std::string content;
    std::string message;
};

void PrintTo(const SCase& damaged, std::ostream* stream)
{
    *stream << damaged.name;
}

const std::string c_xyz = "property float x\nproperty float y\nproperty float z\n";
const std::string c_ascii = "ply\nformat ascii 1.0\n";
const std::string c_binary = "ply\nformat binary_little_endian 1.0\n";
const std::string c_end = "end_header\n";
const std::string c_one = "element vertex 1\n" + c_xyz;
const std::string c_point = Bytes(1.0F) + Bytes(2.0F) + Bytes(3.0F);
const std::string c_face = "element face 1\nproperty list uchar int vertex_indices\n";

[[nodiscard]] std::string Sized(const std::string& header)
{
    return std::to_string(header.size());
}

[[nodiscard]] std::vector<SCase> Headers()
{
    return {
        {"NotPly", "plyx\n", "line 1: expected 'ply', found 'plyx'"},
        {"BinaryNoise", std::string("\x01z\n"), "line 1: expected 'ply', found '?z'"},
        {"NoEnd", c_ascii + c_one,
         "line 7: expected 'end_header', found the end of the header's text (it may have 1 MiB)"},
        {"NoFormat", "ply\n" + c_one + c_end,
         "line 6: expected a line 'format' before the header's end, found 'end_header'"},
        {"TwoFormats", c_ascii + "format ascii 1.0\n",
         "line 3: expected one line 'format', found 'another'"},
        {"UnknownFormat", "ply\nformat text 1.0\n",
         "line 2: expected 'ascii', 'binary_little_endian' or 'binary_big_endian', found 'text'"},
        {"OtherVersion", "ply\nformat ascii 2.0\n",
         "line 2: expected the format version '1.0', found '2.0'"},
        {"NoVersion", "ply\nformat ascii\n",
         "line 2: expected the format version '1.0', found the end of the line"},
        {"UnknownKeyword", c_ascii + "elements vertex 1\n",
         "line 3: expected 'format', 'comment', 'obj_info', 'element', 'property' or "
         "'end_header', found 'elements'"},
        {"EmptyLine", c_ascii + "\n",
         "line 3: expected 'format', 'comment', 'obj_info', 'element', 'property' or "
         "'end_header', found the end of the line"},
        {"ElementWithoutName", c_ascii + "element\n",
         "line 3: expected the element's name, found the end of the line"},
        {"ElementWithoutCount", c_ascii + "element vertex\n",
         "line 3: expected the number of records of element 'vertex', found the end of the line"},
        {"NegativeCount", c_ascii + "element vertex -5\n",
         "line 3: expected the number of records of element 'vertex', found '-5'"},
        {"CountOfManyDigits", c_ascii + "element vertex 99999999999999999999\n",
         "line 3: expected the number of records of element 'vertex', found "
         "'99999999999999999999'"},
        {"CountWithLetters", c_ascii + "element vertex 5k\n",
         "line 3: expected the number of records of element 'vertex', found '5k'"},
        {"SameElementTwice", c_ascii + c_one + "element vertex 1\n",
         "line 7: expected each element once, found 'vertex'"},
        {"SamePropertyTwice", c_ascii + c_one + "property int y\n",
         "line 7: expected each property of an element once, found 'y'"},
        {"PropertyBeforeElement", c_ascii + "property float x\n",
         "line 3: expected an element before its properties, found 'property'"},
        {"UnknownType", c_ascii + "element vertex 1\nproperty real x\n",
         "line 4: expected a number type such as 'uchar', 'int', 'float' or 'float64', found "
         "'real'"},
        {"ListLengthOfFloats", c_ascii + "element vertex 1\nproperty list float int x\n",
         "line 4: expected an integer type for the length of a list, found 'float'"},
        {"PropertyWithoutName", c_ascii + "element vertex 1\nproperty float\n",
         "line 4: expected the property's name, found the end of the line"},
        {"WordsBehindAProperty", c_ascii + "element vertex 1\nproperty float x y\n",
         "line 4: expected the end of the line, found 'y'"},
        {"WordsBehindTheEnd", c_ascii + c_one + "end_header now\n",
         "line 7: expected the end of the line, found 'now'"},
        {"NoVertices", c_ascii + "element face 0\nproperty int a\n" + c_end,
         "expected an element 'vertex', found none"},
        {"NoZ", c_ascii + "element vertex 0\nproperty float x\nproperty float y\n" + c_end,
         "expected the number properties 'x', 'y' and 'z' of element 'vertex', found no such "
         "three"},
        {"ListForX",
         c_ascii +
             "element vertex 0\nproperty list uchar float x\nproperty float y\n"
             "property float z\n" +
             c_end,
         "expected the number properties 'x', 'y' and 'z' of element 'vertex', found no such "
         "three"},
        {"VertexNumbersOfFloats",
         c_ascii + c_one + "element face 0\nproperty list uchar float vertex_index\n" + c_end +
             "1 2 3\n",
         "expected an integer type for vertex numbers, found 'list uchar float vertex_index' in "
         "element 'face'"},
    };
}

[[nodiscard]] std::vector<SCase> Bodies()
{
    const std::string binaryOne = c_binary + c_one + c_end;
    const std::string binaryFace = c_binary + c_one + c_face + c_end;
    const std::string asciiFace = c_ascii + c_one + c_face + c_end;
    const auto three = Bytes(std::uint8_t{3});
    const auto zero = Bytes(std::int32_t{0});
    const std::string lists =
        c_binary + c_one + "element tag 1\nproperty list int8 double values\n" + c_end;
    const std::string afterFace = std::to_string(binaryFace.size() + c_point.size());
    return {
        {"BinaryVertexCutShort", binaryOne + c_point.substr(0, 11),
         "byte " + Sized(binaryOne) +
             ": expected 1 records of element 'vertex' with 12 bytes each, found 11 bytes"},
        {"BinaryCountBeyondTheFile",
         c_binary + "element vertex 9223372036854775807\n" + c_xyz + c_end + c_point,
         "byte " + Sized(c_binary + "element vertex 9223372036854775807\n" + c_xyz + c_end) +
             ": expected 9223372036854775807 records of element 'vertex' with 12 bytes each, found "
             "12 bytes"},
        {"AsciiCountBeyondTheFile",
         c_ascii + "element vertex 1000000\n" + c_xyz + c_end + "1 2 3\n",
         "line 8: expected 1000000 records of element 'vertex' with at least 6 bytes each, found 6 "
         "bytes"},
        {"FaceCountBeyondTheFile",
         c_binary + c_one + "element face 7\nproperty list uchar int vertex_index\n" + c_end +
             c_point,
         "byte " +
             std::to_string((c_binary + c_one +
                             "element face 7\nproperty list uchar int vertex_index\n" + c_end)
                                .size() +
                            12) +
             ": expected 7 records of element 'face' with at least 1 bytes each, found 0 bytes"},
        {"BinaryListCutShort", binaryFace + c_point + three + zero + zero,
         "byte " + afterFace +
             ": expected 3 values of 'vertex_indices' in record 0 of element 'face', found the end "
             "of the file after 2"},
        {"BinaryNegativeListLength", lists + c_point + "\xFF",
         "byte " + std::to_string(lists.size() + 12) +
             ": expected the length of list 'values', found -1"},
        {"BinaryFaceBeyondTheVertices",
         binaryFace + c_point + three + zero + zero + Bytes(std::int32_t{1}),
         "byte " + afterFace + ": expected a vertex number below 1 in element 'face', found 1"},
        {"BinaryNegativeVertexNumber",
         binaryFace + c_point + three + zero + zero + Bytes(std::int32_t{-1}),
         "byte " + afterFace + ": expected a vertex number below 1 in element 'face', found -1"},
        {"AsciiLineTooShort", c_ascii + c_one + c_end + "1 2     \n",
         "line 8: expected a value of 'z' in record 0 of element 'vertex', found the end of the "
         "line"},
        {"AsciiLineTooLong", c_ascii + c_one + c_end + "1 2 3 4\n",
         "line 8: expected the end of record 0 of element 'vertex', found '4'"},
        {"AsciiNoNumber", c_ascii + c_one + c_end + "1 2 three\n",
         "line 8: expected a number for 'z', found 'three'"},
        {"AsciiBlankLinesOnly", c_ascii + c_one + c_end + "\n\n\n\n\n\n",
         "line 14: expected record 0 of element 'vertex', found the end of the file"},
        {"AsciiFaceTooShort", asciiFace + "1 2 3\n3 0 0\n",
         "line 11: expected a value of 'vertex_indices' in record 0 of element 'face', found the "
         "end of the line"},
        {"AsciiNegativeListLength", asciiFace + "1 2 3\n-3 0 0 0\n",
         "line 11: expected the length of a list, found '-3'"},
        {"AsciiFractionForALength", asciiFace + "1 2 3\n3.5 0 0 0\n",
         "line 11: expected a whole number, found '3.5'"},
        {"AsciiFractionForAVertex", asciiFace + "1 2 3\n3 0 0 0.5\n",
         "line 11: expected a whole number, found '0.5'"},
        {"AsciiFaceBeyondTheVertices", asciiFace + "1 2 3\n3 0 0 1\n",
         "line 11: expected a vertex number below 1 in element 'face', found 1"},
    };
}

class PlyErrors : public testing::TestWithParam<SCase>
{};

TEST_P(PlyErrors, Parse_NamesThePlaceWhatWasExpectedAndWhatWasFound)
{
    EXPECT_EQ(ParseMessage(GetParam().content), "scan.ply: " + GetParam().message);
}

const auto c_nameOf = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Header, PlyErrors, testing::ValuesIn(Headers()), c_nameOf);
INSTANTIATE_TEST_SUITE_P(Body, PlyErrors, testing::ValuesIn(Bodies()), c_nameOf);

TEST(PlyLimits, Parse_RecordsWithoutPropertiesTakeNoTimeHoweverMany)
{
    for (const std::string& start : {c_ascii, c_binary})
    {
        const std::string body = start == c_ascii ? "1 2 3\n" : c_point;
        EXPECT_EQ(
            ParseMessage(start + "element ghost 9000000000000000000\n" + c_one + c_end + body), "");
    }
}

TEST(PlyLimits, Parse_HeaderWithoutEndIsGivenUp)
{
    std::string content = c_ascii;
    while (content.size() < (std::size_t{3} << 20))
    {
        content += "comment " + std::string(1000, 'a') + "\n";
    }

    EXPECT_NE(ParseMessage(content).find("(it may have 1 MiB)"), std::string::npos);
}

}  // namespace
