#include "Application/Pictures/CDepthPyramid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <vector>

#include "Application/Pictures/CDepthPlane.h"

namespace
{

using Application::CDepthPlane;
using Application::CDepthPyramid;
using Application::SCoarseGrid;

constexpr std::uint64_t c_empty = ~std::uint64_t{0};

/// Some of the samples, several of them at the same depth.
CDepthPlane StrewSamples(std::uint32_t width, std::uint32_t height)
{
    std::mt19937 random(width);
    CDepthPlane plane(width, height, 1);
    for (std::uint32_t row = 0; row < height; ++row)
    {
        for (std::uint32_t column = 0; column < width; ++column)
        {
            if (random() % 4 == 0)
            {
                plane.GetFirst()[row * plane.GetStride() + column] =
                    static_cast<float>(random() % 5) * 0.7F;
            }
        }
    }
    return plane;
}

Application::SSampleDepths ToTask(const CDepthPlane& plane, std::uint32_t width,
                                  std::uint32_t height)
{
    return {plane.GetFirst(),
            static_cast<std::ptrdiff_t>(plane.GetStride()),
            width,
            height,
            true,
            0.5F};
}

/// The nearest sample of a cell; of several the upper one, of these the left one.
std::uint64_t FindPlainly(const CDepthPlane& plane, std::uint32_t width, std::uint32_t height,
                          std::uint32_t side, std::uint32_t column, std::uint32_t row)
{
    std::uint64_t nearest = c_empty;
    for (std::uint32_t y = 0; y < side && row * side + y < height; ++y)
    {
        for (std::uint32_t x = 0; x < side && column * side + x < width; ++x)
        {
            const float depth =
                plane.GetFirst()[(row * side + y) * plane.GetStride() + column * side + x];
            if (depth == depth)
            {
                nearest =
                    std::min(nearest, std::uint64_t{std::bit_cast<std::uint32_t>(depth)} << 32U |
                                          std::uint64_t{y} << 16U | x);
            }
        }
    }
    return nearest;
}

bool IsEmpty(std::uint64_t cell)
{
    return cell >> 32U == c_empty >> 32U;
}

TEST(CDepthPyramid, GetGrids_HaveTheNearestSampleOfEachCellAndNothingAround)
{
    constexpr int c_border = 9;
    for (const auto& [width, height] :
         {std::pair{1U, 1U}, {2U, 5U}, {37U, 21U}, {64U, 32U}, {100U, 3U}})
    {
        const CDepthPlane plane = StrewSamples(width, height);
        const CDepthPyramid pyramid(ToTask(plane, width, height), 5);
        ASSERT_EQ(pyramid.GetGrids().size(), 5U);
        for (std::uint32_t shift = 1; shift <= 5; ++shift)
        {
            const SCoarseGrid& grid = pyramid.GetGrids()[shift - 1];
            EXPECT_EQ(grid.shift, shift);
            EXPECT_EQ(grid.offsets.distances[grid.offsets.count - 1], 9.0F);
            const std::uint32_t side = 1U << shift;
            const auto columns = static_cast<int>((width + side - 1) / side);
            const auto rows = static_cast<int>((height + side - 1) / side);
            for (int row = -c_border; row < rows + c_border; ++row)
            {
                for (int column = -c_border; column < columns + c_border; ++column)
                {
                    const bool isInside = row >= 0 && column >= 0 && row < rows && column < columns;
                    const std::uint64_t expected =
                        isInside ? FindPlainly(plane, width, height, side,
                                               static_cast<std::uint32_t>(column),
                                               static_cast<std::uint32_t>(row))
                                 : c_empty;
                    const std::uint64_t cell = grid.first[row * grid.stride + column];
                    ASSERT_EQ(IsEmpty(cell), IsEmpty(expected)) << shift << column << ' ' << row;
                    if (!IsEmpty(expected))
                    {
                        ASSERT_EQ(cell, expected) << shift << ' ' << column << ' ' << row;
                    }
                }
            }
        }
    }
}

TEST(CDepthPyramid, Construct_WithoutGridsHasNone)
{
    const CDepthPlane plane = StrewSamples(5, 4);
    EXPECT_TRUE(CDepthPyramid(ToTask(plane, 5, 4), 0).GetGrids().empty());
}

TEST(CDepthPyramid, CountGrids_UntilTheRadiusIsThreeCells)
{
    for (const auto& [radius, count] : {std::pair{0.0F, 0U},
                                        {3.0F, 0U},
                                        {3.25F, 1U},
                                        {6.0F, 1U},
                                        {6.25F, 2U},
                                        {48.0F, 4U},
                                        {63.75F, 5U}})
    {
        EXPECT_EQ(CDepthPyramid::CountGrids(radius), count) << radius;
    }
}

}  // namespace
