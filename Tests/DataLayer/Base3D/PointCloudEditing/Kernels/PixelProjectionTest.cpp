#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace DataLayer
{

namespace
{

constexpr std::int32_t c_outside = std::numeric_limits<std::int32_t>::min();
constexpr float c_infinity = std::numeric_limits<float>::infinity();

TEST(PixelProjection, Truncate_RoundsTowardZero)
{
    EXPECT_EQ(TruncateToInt32(0.0F), 0);
    EXPECT_EQ(TruncateToInt32(-0.0F), 0);
    EXPECT_EQ(TruncateToInt32(0.99999994F), 0);
    EXPECT_EQ(TruncateToInt32(-0.99999994F), 0);
    EXPECT_EQ(TruncateToInt32(1.0F), 1);
    EXPECT_EQ(TruncateToInt32(-1.0F), -1);
    EXPECT_EQ(TruncateToInt32(1.9999999F), 1);
    EXPECT_EQ(TruncateToInt32(-1.9999999F), -1);
}

TEST(PixelProjection, Truncate_KeepsTheLargestFloatsThatFit)
{
    EXPECT_EQ(TruncateToInt32(std::nextafter(2147483648.0F, 0.0F)), 2147483520);
    EXPECT_EQ(TruncateToInt32(std::nextafter(-2147483648.0F, 0.0F)), -2147483520);
    EXPECT_EQ(TruncateToInt32(-2147483648.0F), c_outside);
}

TEST(PixelProjection, Truncate_OutOfRangeIsTheMostNegativeInteger)
{
    EXPECT_EQ(TruncateToInt32(2147483648.0F), c_outside);
    EXPECT_EQ(TruncateToInt32(std::nextafter(-2147483648.0F, -c_infinity)), c_outside);
    EXPECT_EQ(TruncateToInt32(4294967296.0F), c_outside);
    EXPECT_EQ(TruncateToInt32(std::numeric_limits<float>::max()), c_outside);
    EXPECT_EQ(TruncateToInt32(std::numeric_limits<float>::lowest()), c_outside);
}

TEST(PixelProjection, Truncate_InfinityIsTheMostNegativeInteger)
{
    EXPECT_EQ(TruncateToInt32(c_infinity), c_outside);
    EXPECT_EQ(TruncateToInt32(-c_infinity), c_outside);
}

TEST(PixelProjection, Truncate_NotANumberIsTheMostNegativeInteger)
{
    EXPECT_EQ(TruncateToInt32(std::numeric_limits<float>::quiet_NaN()), c_outside);
    EXPECT_EQ(TruncateToInt32(-std::numeric_limits<float>::quiet_NaN()), c_outside);
}

}  // namespace

}  // namespace DataLayer
