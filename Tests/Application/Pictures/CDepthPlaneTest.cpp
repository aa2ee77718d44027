#include "Application/Pictures/CDepthPlane.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

using Application::CDepthBuffer;
using Application::CDepthPlane;

constexpr std::uint32_t c_width = 5;
constexpr std::uint32_t c_height = 20;
constexpr std::uint32_t c_border = 3;
constexpr float c_infinity = std::numeric_limits<float>::infinity();

float& SampleAt(CDepthPlane& plane, std::uint32_t column, std::uint32_t row)
{
    return plane.GetFirst()[row * plane.GetStride() + column];
}

TEST(CDepthPlane, Construct_HasNoNumbersInThePictureAndAround)
{
    const CDepthPlane plane(c_width, c_height, c_border);
    const auto stride = static_cast<int>(plane.GetStride());
    for (int row = -3; row < 23; ++row)
    {
        for (int column = -3; column < 8 + 16; ++column)
        {
            EXPECT_TRUE(std::isnan(plane.GetFirst()[row * stride + column])) << column << row;
        }
    }
}

TEST(CDepthPlane, Construct_TakesTheDepthsOfABuffer)
{
    CDepthBuffer buffer(c_width, c_height);
    buffer.Draw(buffer.IndexOf(4, 19), CDepthBuffer::Pack(2.0F, 1, {}));
    CDepthPlane plane(buffer, c_border);
    EXPECT_EQ(SampleAt(plane, 4, 19), 2.0F);
    EXPECT_TRUE(std::isnan(SampleAt(plane, 3, 19)));
}

TEST(CDepthPlane, Join_NearestOfBothWinsInThoseRows)
{
    CDepthPlane plane(c_width, c_height, c_border);
    CDepthPlane other(c_width, c_height, c_border);
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        SampleAt(plane, 0, row) = 1.0F;
        SampleAt(other, 0, row) = 0.5F;
        SampleAt(plane, 1, row) = 0.0F;
        SampleAt(other, 1, row) = c_infinity;
        SampleAt(plane, 2, row) = 2.0F;
        SampleAt(other, 4, row) = 3.0F;
    }
    plane.Join(other, 7, 9);
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        const bool isJoined = row == 7 || row == 8;
        EXPECT_EQ(SampleAt(plane, 0, row), isJoined ? 0.5F : 1.0F) << row;
        EXPECT_EQ(SampleAt(plane, 1, row), 0.0F) << row;
        EXPECT_EQ(SampleAt(plane, 2, row), 2.0F) << row;
        EXPECT_TRUE(std::isnan(SampleAt(plane, 3, row))) << row;
        EXPECT_EQ(std::isnan(SampleAt(plane, 4, row)), !isJoined) << row;
    }
}

}  // namespace
