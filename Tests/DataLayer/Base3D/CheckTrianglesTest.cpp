#include "DataLayer/Base3D/CheckTriangles.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace DataLayer
{
namespace
{

using Triangle = std::array<std::uint32_t, 3>;

TEST(AreCornersInside, LastVertexIsInsideAndTheNextIsNot)
{
    EXPECT_TRUE(AreCornersInside(std::array<Triangle, 1>{{{0, 1, 4}}}.data(), 1, 5));
    EXPECT_FALSE(AreCornersInside(std::array<Triangle, 1>{{{0, 1, 5}}}.data(), 1, 5));
}

TEST(AreCornersInside, AnyCornerOfAnyTriangleCounts)
{
    for (std::size_t triangle = 0; triangle < 2; ++triangle)
    {
        for (std::size_t corner = 0; corner < 3; ++corner)
        {
            std::array<Triangle, 2> triangles{};
            triangles.at(triangle).at(corner) = 5;
            EXPECT_FALSE(AreCornersInside(triangles.data(), 2, 5));
        }
    }
}

TEST(AreCornersInside, MoreVerticesThanAnIndexNamesHaveThemAll)
{
    const Triangle highest{0, 1, 0xFFFFFFFF};
    EXPECT_FALSE(AreCornersInside(&highest, 1, 0xFFFFFFFF));
    EXPECT_TRUE(AreCornersInside(&highest, 1, 0x100000000));
    EXPECT_TRUE(AreCornersInside(&highest, 1, 0x100000001));
}

}  // namespace
}  // namespace DataLayer
