#include "Application/Scans/CPlyScan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Files/CMappedFile.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using ScanTest::Bytes;
using ScanTest::CTemporaryFolder;
using ScanTest::NormalsOf;
using ScanTest::ParseScan;
using ScanTest::PositionsOf;
using Triangles = std::vector<std::array<std::uint32_t, 3>>;

[[nodiscard]] std::string Header(const std::string& format, const std::string& body)
{
    return "ply\nformat " + format + " 1.0\n" + body + "end_header\n";
}

const std::string c_xyz = "property float x\nproperty float y\nproperty float z\n";

TEST(CPlyScan, Parse_AsciiGivesPositionsInOrder)
{
    const auto scan =
        ParseScan(Header("ascii", "element vertex 2\n" + c_xyz) + "1 2 3\n-4 5.5 6\n");

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}, {-4, 5.5F, 6}}));
    EXPECT_EQ(scan.GetTransform(), c_matIdentityD);
    EXPECT_FALSE(scan.GetSurfelCollection()->HasNormals());
    EXPECT_FALSE(scan.HasTriangles());
    EXPECT_EQ(scan.GetTriangulation(), nullptr);
}

TEST(CPlyScan, Parse_AsciiWithCarriageReturns)
{
    const auto scan = ParseScan(
        "ply\r\nformat ascii 1.0\r\nelement vertex 1\r\nproperty float x\r\nproperty float y\r\n"
        "property float z\r\nend_header\r\n1 2 3\r\n");

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}}));
}

TEST(CPlyScan, Parse_BinaryHeaderWithCarriageReturns)
{
    const auto scan = ParseScan(
        "ply\r\nformat binary_little_endian 1.0\r\nelement vertex 1\r\nproperty float x\r\n"
        "property float y\r\nproperty float z\r\nend_header\r\n" +
        Bytes(1.0F) + Bytes(2.0F) + Bytes(3.0F));

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}}));
}

TEST(CPlyScan, Parse_LastAsciiLineMayLackItsEnd)
{
    const auto scan = ParseScan(Header("ascii", "element vertex 2\n" + c_xyz) + "1 2 3\n4 5 6");

    EXPECT_EQ(PositionsOf(scan).back(), (LqVector3f{4, 5, 6}));
}

TEST(CPlyScan, Parse_BigEndianFloats)
{
    const auto big = std::endian::big;
    const auto scan = ParseScan(Header("binary_big_endian", "element vertex 1\n" + c_xyz) +
                                Bytes(1.5F, big) + Bytes(-2.0F, big) + Bytes(3.0F, big));

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1.5F, -2, 3}}));
    EXPECT_FALSE(scan.Describe().isMappedInPlace);
}

TEST(CPlyScan, Parse_EveryIntegerTypeInBothByteOrders)
{
    const std::string body =
        "element vertex 1\nproperty int8 a\nproperty uint8 b\nproperty int16 x\n"
        "property uint16 y\nproperty int32 c\nproperty uint32 z\nproperty float64 d\n";
    for (const std::endian order : {std::endian::little, std::endian::big})
    {
        const bool isLittle = order == std::endian::little;
        const auto scan = ParseScan(
            Header(isLittle ? "binary_little_endian" : "binary_big_endian", body) +
            Bytes(std::int8_t{-1}) + Bytes(std::uint8_t{255}) + Bytes(std::int16_t{-300}, order) +
            Bytes(std::uint16_t{65535}, order) + Bytes(std::int32_t{-7}, order) +
            Bytes(std::uint32_t{70000}, order) + Bytes(0.25, order));

        EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{-300, 65535, 70000}}));
    }
}

TEST(CPlyScan, Parse_CoordinatesInAnyOrderBetweenOtherProperties)
{
    const auto scan = ParseScan(Header("binary_little_endian",
                                       "element vertex 1\nproperty float z\nproperty uchar red\n"
                                       "property float x\nproperty double y\n") +
                                Bytes(3.0F) + Bytes(std::uint8_t{9}) + Bytes(1.0F) + Bytes(2.0));

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}}));
}

TEST(CPlyScan, Parse_ListInVerticesMakesRecordsOfVariableLength)
{
    const auto scan =
        ParseScan(Header("binary_little_endian",
                         "element vertex 2\nproperty float x\nproperty list uchar short tags\n"
                         "property float y\nproperty float z\n") +
                  Bytes(1.0F) + Bytes(std::uint8_t{2}) + Bytes(std::int16_t{7}) +
                  Bytes(std::int16_t{8}) + Bytes(2.0F) + Bytes(3.0F) + Bytes(4.0F) +
                  Bytes(std::uint8_t{0}) + Bytes(5.0F) + Bytes(6.0F));

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}, {4, 5, 6}}));
}

TEST(CPlyScan, Parse_VerticesBehindAnotherElement)
{
    const auto scan =
        ParseScan(Header("binary_little_endian",
                         "element camera 1\nproperty list uchar float k\n"
                         "element vertex 1\n" +
                             c_xyz) +
                  Bytes(std::uint8_t{1}) + Bytes(9.0F) + Bytes(1.0F) + Bytes(2.0F) + Bytes(3.0F));

    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}}));
}

class NormalSpellings : public testing::TestWithParam<std::array<const char*, 3>>
{};

TEST_P(NormalSpellings, Parse_NormalsAreRead)
{
    const auto [x, y, z] = GetParam();
    const auto property = [](const char* name) {
        return std::string("property float ") + name + "\n";
    };
    const auto scan = ParseScan(
        Header("ascii", "element vertex 1\n" + c_xyz + property(x) + property(y) + property(z)) +
        "1 2 3 0 0.5 -1\n");

    EXPECT_EQ(NormalsOf(scan), (std::vector<LqVector3f>{{0, 0.5F, -1}}));
}

INSTANTIATE_TEST_SUITE_P(CPlyScan, NormalSpellings,
                         testing::Values(std::array{"nx", "ny", "nz"},
                                         std::array{"normal_x", "normal_y", "normal_z"}));

TEST(CPlyScan, Parse_TwoOfThreeNormalPropertiesAreNoNormals)
{
    const auto scan = ParseScan(
        Header("ascii", "element vertex 1\n" + c_xyz + "property float nx\nproperty float ny\n") +
        "1 2 3 0 1\n");

    EXPECT_FALSE(scan.GetSurfelCollection()->HasNormals());
}

TEST(CPlyScan, Parse_DoubleNormalsBesidePositionsInPlace)
{
    const auto scan =
        ParseScan(Header("binary_little_endian",
                         "element vertex 1\n" + c_xyz +
                             "property double nx\nproperty double ny\nproperty double nz\n") +
                  Bytes(1.0F) + Bytes(2.0F) + Bytes(3.0F) + Bytes(0.0) + Bytes(0.5) + Bytes(-1.0));

    EXPECT_TRUE(scan.Describe().isMappedInPlace);
    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{1, 2, 3}}));
    EXPECT_EQ(NormalsOf(scan), (std::vector<LqVector3f>{{0, 0.5F, -1}}));
}

TEST(CPlyScan, Open_PositionsAndNormalsAreTheMappedBytes)
{
    const CTemporaryFolder folder;
    const std::string head = Header(
        "binary_little_endian", "element vertex 2\nproperty uchar tag\n" + c_xyz +
                                    "property float nx\nproperty float ny\nproperty float nz\n");
    std::string body;
    for (int record = 0; record < 2; ++record)
    {
        body += Bytes(std::uint8_t{1});
        for (int value = 0; value < 6; ++value)
        {
            body += Bytes(static_cast<float>(10 * record + value));
        }
    }
    ScanTest::WriteAll(folder / "scan.ply", head + body);
    const auto mapped = Application::CMappedFile::Open(folder / "scan.ply");

    const auto scan =
        Application::CScanFile::Parse({folder / "scan.ply", mapped->GetBytes(), mapped});

    const auto collection = scan.GetSurfelCollection();
    const auto& positions = collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const auto& normals = collection->GetReadAccessor<Base::CSCElementDefinitionNormal>();
    EXPECT_EQ(positions.GetFirstElement(), mapped->GetBytes().data() + head.size() + 1);
    EXPECT_EQ(positions.GetStrideInBytes(), 25U);
    EXPECT_EQ(normals.GetFirstElement(), mapped->GetBytes().data() + head.size() + 13);
    EXPECT_EQ(normals.GetStrideInBytes(), 25U);
    EXPECT_EQ(positions.At(1), (LqVector3f{10, 11, 12}));
    EXPECT_TRUE(scan.Describe().isMappedInPlace);
}

TEST(CPlyScan, Open_CollectionOutlivesTheScan)
{
    const CTemporaryFolder folder;
    ScanTest::WriteAll(folder / "scan.ply",
                       Header("binary_little_endian", "element vertex 1\n" + c_xyz) + Bytes(1.0F) +
                           Bytes(2.0F) + Bytes(3.0F));

    const auto collection = Application::CScanFile::Open(folder / "scan.ply").GetSurfelCollection();

    EXPECT_EQ(collection->GetAllPositions().at(0).z, 3.0F);
}

TEST(CPlyScan, Parse_GeographicDoublesKeepTheirPrecision)
{
    const std::vector<std::array<double, 3>> points = {{4467123.1234, 5332987.4321, 512.0625},
                                                       {4467124.0007, 5332986.9993, 513.1},
                                                       {4467130.5555, 5332980.1111, 500.2}};
    std::string content = Header("binary_little_endian",
                                 "element vertex 3\nproperty double x\nproperty double y\n"
                                 "property double z\n");
    for (const auto& point : points)
    {
        content += Bytes(point[0]) + Bytes(point[1]) + Bytes(point[2]);
    }

    const auto scan = ParseScan(content);

    const auto positions = PositionsOf(scan);
    const LqMatrix4Rd transform = scan.GetTransform();
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        EXPECT_NEAR(positions[index].x + transform(3, 0), points[index][0], 2e-6);
        EXPECT_NEAR(positions[index].y + transform(3, 1), points[index][1], 2e-6);
        EXPECT_NEAR(positions[index].z + transform(3, 2), points[index][2], 2e-6);
    }
    EXPECT_EQ(ScanTest::Cut(content, {}), content);
}

TEST(CPlyScan, Parse_DoublesThatAreFloatsAreNotShifted)
{
    const auto scan = ParseScan(Header("binary_little_endian",
                                       "element vertex 1\nproperty double x\nproperty double y\n"
                                       "property double z\n") +
                                Bytes(4096.5) + Bytes(1.0e6) + Bytes(-0.25));

    EXPECT_EQ(scan.GetTransform(), c_matIdentityD);
    EXPECT_EQ(PositionsOf(scan), (std::vector<LqVector3f>{{4096.5F, 1.0e6F, -0.25F}}));
}

TEST(CPlyScan, Parse_NonFiniteCoordinatesAreKept)
{
    const auto scan = ParseScan(Header("ascii",
                                       "element vertex 2\nproperty double x\nproperty double y\n"
                                       "property double z\n") +
                                "nan inf -inf\n5000000.1 2 3\n");

    const auto positions = PositionsOf(scan);
    EXPECT_TRUE(std::isnan(positions[0].x));
    EXPECT_EQ(positions[0].y, std::numeric_limits<float>::infinity());
    EXPECT_EQ(positions[0].z, -std::numeric_limits<float>::infinity());
    EXPECT_DOUBLE_EQ(positions[1].x + scan.GetTransform()(3, 0), 5000000.1);
}

TEST(CPlyScan, Parse_NoVerticesAreLegal)
{
    for (const char* const format : {"ascii", "binary_little_endian", "binary_big_endian"})
    {
        const std::string content = Header(format, "element vertex 0\n" + c_xyz);

        EXPECT_EQ(ParseScan(content).GetPointCount(), 0U);
        EXPECT_EQ(ScanTest::Cut(content, {}), content);
    }
}

TEST(CPlyScan, GetTriangulation_SplitsPolygonsIntoFans)
{
    const auto scan =
        ParseScan(Header("ascii", "element vertex 4\n" + c_xyz +
                                      "element face 3\nproperty list uchar int vertex_indices\n") +
                  "0 0 0\n1 0 0\n1 1 0\n0 1 0\n4 0 1 2 3\n2 0 1\n3 3 2 1\n");

    ASSERT_TRUE(scan.HasTriangles());
    const auto triangulation = scan.GetTriangulation();
    EXPECT_EQ(triangulation->vertices, PositionsOf(scan));
    EXPECT_EQ(triangulation->triangles, (Triangles{{0, 1, 2}, {0, 2, 3}, {3, 2, 1}}));
}

TEST(CPlyScan, GetTriangulation_TakesRoomForItsTrianglesOnly)
{
    const auto scan = ParseScan(Header("ascii", "element vertex 5\n" + c_xyz +
                                                    "element face 4\nproperty list uchar int "
                                                    "vertex_indices\n") +
                                "0 0 0\n1 0 0\n1 1 0\n0 1 0\n0 0 1\n"
                                "5 0 1 2 3 4\n2 0 1\n0\n4 0 1 2 3\n");

    EXPECT_EQ(scan.GetTriangulation()->triangles.size(), 5U);
    EXPECT_EQ(scan.GetTriangulation()->triangles.capacity(), 5U);
}

/// A mesh of one face with so many corners of one byte.
[[nodiscard]] Application::CScanFile ParseFace(std::int32_t numCorners)
{
    return ParseScan(Header("binary_little_endian",
                            "element vertex 1\n" + c_xyz +
                                "element face 1\nproperty list int uchar vertex_indices\n") +
                     Bytes(1.0F) + Bytes(2.0F) + Bytes(3.0F) + Bytes(numCorners) +
                     std::string(static_cast<std::size_t>(numCorners), '\0'));
}

// The face has 4 bytes more than corners, and two triangles fewer.
constexpr std::int32_t c_mostCorners = ((8 << 20) + 10 * 4 + 2 * 12) / (12 - 10);

TEST(CPlyScan, GetTriangulation_MayTakeTenTimesTheFacesAndEightMebibytes)
{
    EXPECT_EQ(ParseFace(c_mostCorners).GetTriangulation()->triangles.size(),
              std::size_t{c_mostCorners} - 2);
}

TEST(CPlyScan, GetTriangulation_RefusesToTakeMore)
{
    const Application::CScanFile scan = ParseFace(c_mostCorners + 1);

    EXPECT_EQ(scan.GetPointCount(), 1U);
    EXPECT_TRUE(scan.HasTriangles());
    try
    {
        static_cast<void>(scan.GetTriangulation());
        ADD_FAILURE() << "it takes more than it may";
    }
    catch (const Application::CInputError& error)
    {
        EXPECT_STREQ(error.what(),
                     "scan.ply: expected at most 4194334 triangles in faces of 4194341 bytes, "
                     "found 4194335");
    }
}

TEST(CPlyScan, GetTriangulation_TurnsStripsIntoTriangles)
{
    const auto scan = ParseScan(
        Header("ascii", "element vertex 5\n" + c_xyz +
                            "element tristrips 1\nproperty list int int vertex_indices\n") +
        "0 0 0\n1 0 0\n1 1 0\n0 1 0\n0 0 1\n8 0 1 2 3 -1 4 3 2\n");

    EXPECT_EQ(scan.GetTriangulation()->triangles, (Triangles{{0, 1, 2}, {2, 1, 3}, {4, 3, 2}}));
}

TEST(CPlyScan, Describe_TellsFormatElementsAndComments)
{
    const auto description =
        ParseScan(
            "ply\nformat ascii 1.0\ncomment made by hand\nobj_info num_cols 3\n"
            "element vertex 1\n" +
            c_xyz +
            "element face 0\nproperty list uint8 int32 vertex_index\nend_header\n"
            "1 2 3\nmore")
            .Describe();

    EXPECT_EQ(description.format, "PLY, ASCII");
    ASSERT_EQ(description.elements.size(), 2U);
    EXPECT_EQ(description.elements[0].name, "vertex");
    EXPECT_EQ(description.elements[0].count, 1U);
    EXPECT_EQ(description.elements[0].properties,
              (std::vector<std::string>{"float x", "float y", "float z"}));
    EXPECT_EQ(description.elements[1].properties,
              (std::vector<std::string>{"list uchar int vertex_index"}));
    EXPECT_EQ(description.comments, (std::vector<std::string>{"made by hand", "num_cols 3"}));
    EXPECT_EQ(description.trailingBytes, 4U);
}

}  // namespace
