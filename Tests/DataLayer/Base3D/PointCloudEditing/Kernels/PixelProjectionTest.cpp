#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace DataLayer
{

namespace
{

constexpr float c_infinity = std::numeric_limits<float>::infinity();

TEST(PixelProjection, Inside_BeginsAtOne)
{
    EXPECT_TRUE(IsPixelInside(1.0F, 4.0F));
    EXPECT_FALSE(IsPixelInside(std::nextafter(1.0F, 0.0F), 4.0F));
    EXPECT_FALSE(IsPixelInside(0.0F, 4.0F));
    EXPECT_FALSE(IsPixelInside(-0.5F, 4.0F));
    EXPECT_FALSE(IsPixelInside(-1.0F, 4.0F));
}

TEST(PixelProjection, Inside_EndsBeforeTheSize)
{
    EXPECT_TRUE(IsPixelInside(std::nextafter(4.0F, 0.0F), 4.0F));
    EXPECT_FALSE(IsPixelInside(4.0F, 4.0F));
    EXPECT_FALSE(IsPixelInside(1.0F, 1.0F));
    EXPECT_FALSE(IsPixelInside(1.0F, 0.0F));
}

TEST(PixelProjection, Inside_WhatIsNoIntegerIsOutside)
{
    const float end = EndOfPixels(std::nextafter(2147483648.0F, 0.0F));
    EXPECT_FALSE(IsPixelInside(std::numeric_limits<float>::quiet_NaN(), end));
    EXPECT_FALSE(IsPixelInside(c_infinity, end));
    EXPECT_FALSE(IsPixelInside(-c_infinity, end));
    EXPECT_FALSE(IsPixelInside(2147483648.0F, end));
    EXPECT_FALSE(IsPixelInside(-2147483648.0F, end));
    EXPECT_FALSE(IsPixelInside(std::numeric_limits<float>::max(), end));
}

TEST(PixelProjection, End_SizeThatFits32BitsIsTheEnd)
{
    EXPECT_EQ(EndOfPixels(0.0F), 0.0F);
    EXPECT_EQ(EndOfPixels(640.0F), 640.0F);
    EXPECT_EQ(EndOfPixels(2147483520.0F), 2147483520.0F);
}

TEST(PixelProjection, End_SizeBeyond32BitsHasNoPixelsInside)
{
    EXPECT_EQ(EndOfPixels(2147483648.0F), 0.0F);
    EXPECT_EQ(EndOfPixels(4294967296.0F), 0.0F);
}

}  // namespace

}  // namespace DataLayer
