#include "Base/Math/PointTransform.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

TEST(PointTransform, TransformHomogeneous_TreatsThePointAsARowVector)
{
    LqMatrix4Rf matrix;
    for (std::size_t index = 0; index < 16; ++index)
    {
        matrix.data()[index] = static_cast<float>(index + 1);
    }
    const auto point = TransformHomogeneous(matrix, 1.0F, 10.0F, 100.0F);
    EXPECT_EQ(point.x, 1.0F + 50.0F + 900.0F + 13.0F);
    EXPECT_EQ(point.y, 2.0F + 60.0F + 1000.0F + 14.0F);
    EXPECT_EQ(point.z, 3.0F + 70.0F + 1100.0F + 15.0F);
    EXPECT_EQ(point.w, 4.0F + 80.0F + 1200.0F + 16.0F);
}

TEST(PointTransform, TransformHomogeneous_AddsTheTranslationLast)
{
    // 2^24 + 1 rounds to 2^24: with the translation first all others would be lost.
    LqMatrix4Rf matrix;
    matrix(0, 0) = 1.0F;
    matrix(1, 0) = 1.0F;
    matrix(3, 0) = 16777216.0F;
    EXPECT_EQ(TransformHomogeneous(matrix, 1.0F, 1.0F, 0.0F).x, 16777218.0F);
    matrix(2, 0) = 1.0F;
    EXPECT_EQ(TransformHomogeneous(matrix, 1.0F, 0.0F, 1.0F).x, 16777218.0F);
}

TEST(PointTransform, TransformHomogeneous_AddsTheRowsFromTheFirstOn)
{
    LqMatrix4Rf matrix;
    matrix(0, 0) = 16777216.0F;
    matrix(1, 0) = 1.0F;
    matrix(2, 0) = 1.0F;
    EXPECT_EQ(TransformHomogeneous(matrix, 1.0F, 1.0F, 1.0F).x, 16777216.0F);
}

TEST(PointTransform, TransformPoint_DividesByItsOwnW)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(2, 3) = 1.0F;
    matrix(3, 3) = 0.0F;  // w = z
    EXPECT_EQ(TransformPoint(matrix, {6, -3, 3}), (LqVector3f{2, -1, 1}));
    EXPECT_EQ(TransformPoint(matrix, {6, -3, -3}), (LqVector3f{-2, 1, 1}));
}

TEST(PointTransform, TransformPoint_DividesInsteadOfMultiplyingByTheReciprocal)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(3, 3) = 49.0F;
    // 49 x (1 / 49) is not 1 in float.
    EXPECT_EQ(TransformPoint(matrix, {49, 0, 0}).x, 1.0F);
}

TEST(PointTransform, TransformPoint_AtTheEyePlaneIsNotFinite)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(3, 3) = 0.0F;
    const LqVector3f point = TransformPoint(matrix, {1, -1, 0});
    EXPECT_TRUE(std::isinf(point.x));
    EXPECT_TRUE(std::isinf(point.y));
    EXPECT_TRUE(std::isnan(point.z));
}

}  // namespace
