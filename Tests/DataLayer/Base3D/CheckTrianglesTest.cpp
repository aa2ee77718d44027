#include "DataLayer/Base3D/CheckTriangles.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/Support/VekoException.h"

namespace DataLayer
{
namespace
{

using Triangle = std::array<std::uint32_t, 3>;

TEST(BoundCorners, AnyCornerOfAnyTriangleCounts)
{
    for (std::size_t count = 1; count <= 9; ++count)
    {
        for (std::size_t corner = 0; corner < 3 * count; ++corner)
        {
            std::vector<Triangle> triangles(count, {7, 7, 7});
            triangles[corner / 3][corner % 3] = 8;
            const SCornerRange high = BoundCorners(triangles.data(), count);
            EXPECT_EQ(high.first, 7U);
            EXPECT_EQ(high.last, 8U);
            triangles[corner / 3][corner % 3] = 6;
            const SCornerRange low = BoundCorners(triangles.data(), count);
            EXPECT_EQ(low.first, 6U);
            EXPECT_EQ(low.last, 7U);
        }
    }
}

TEST(BoundCorners, HighestVerticesAreTheLast)
{
    for (const std::size_t count : {1, 4})
    {
        std::vector<Triangle> triangles(count, {0x80000000, 0x7FFFFFFF, 0x80000001});
        EXPECT_EQ(BoundCorners(triangles.data(), count).first, 0x7FFFFFFFU);
        EXPECT_EQ(BoundCorners(triangles.data(), count).last, 0x80000001U);
        triangles.back() = {0, 0xFFFFFFFF, 1};
        EXPECT_EQ(BoundCorners(triangles.data(), count).first, 0U);
        EXPECT_EQ(BoundCorners(triangles.data(), count).last, 0xFFFFFFFFU);
    }
}

TEST(BoundCorners, LowestVertexAloneIsTheFirstAndTheLast)
{
    for (const std::size_t count : {1, 4})
    {
        const std::vector<Triangle> triangles(count, {0, 0, 0});
        EXPECT_EQ(BoundCorners(triangles.data(), count).first, 0U);
        EXPECT_EQ(BoundCorners(triangles.data(), count).last, 0U);
    }
}

TEST(BoundCorners, NoTrianglesHaveAnEmptyRange)
{
    const SCornerRange range = BoundCorners(nullptr, 0);
    EXPECT_GT(range.first, range.last);
}

TEST(CheckTriangles, LastVertexIsInsideAndTheNextIsNot)
{
    Geometry::CTriangulation mesh;
    mesh.vertices.resize(5);
    mesh.triangles = {{0, 1, 4}};
    EXPECT_NO_THROW(CheckTriangles("", mesh));
    mesh.triangles = {{0, 1, 5}};
    EXPECT_THROW(CheckTriangles("", mesh), VekoException);
}

}  // namespace
}  // namespace DataLayer
