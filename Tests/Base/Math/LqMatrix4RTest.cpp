#include "Base/Math/LqMatrix4R.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace
{

template <typename Matrix, typename T = std::decay_t<decltype(*Matrix().data())>>
Matrix Counting(T first)
{
    std::array<T, 16> elements;
    std::iota(elements.begin(), elements.end(), first);
    return Matrix(elements);
}

/// The bit patterns, so that a comparison tells 0 from -0 and one NaN equals itself.
std::array<std::uint32_t, 16> BitsOf(const LqMatrix4Rf& matrix)
{
    std::array<std::uint32_t, 16> bits;
    std::memcpy(bits.data(), matrix.data(), sizeof bits);
    return bits;
}

TEST(LqMatrix4R, ElementOfRowAndColumn_IsAtFourRowsPlusColumn)
{
    auto matrix = Counting<LqMatrix4Rd>(0.0);
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            EXPECT_EQ(matrix(row, column), static_cast<double>(4 * row + column));
            EXPECT_EQ(&matrix(row, column), matrix.data() + 4 * row + column);
        }
    }
}

TEST(LqMatrix4R, DefaultConstructed_IsZero)
{
    EXPECT_EQ(LqMatrix4Rd(), LqMatrix4Rd(std::array<double, 16>{}));
    EXPECT_EQ(LqMatrix4Rf(), LqMatrix4Rf(std::array<float, 16>{}));
}

TEST(LqMatrix4R, Storage_IsAlignedWhereverTheObjectLies)
{
    struct SMisleading
    {
        char first;
        LqMatrix4Rf single;
        char second;
        LqMatrix4Rd wide;
    };
    const std::vector<SMisleading> records(3);
    for (const SMisleading& record : records)
    {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record.single.data()) % 16, 0U);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record.wide.data()) % 16, 0U);
    }
}

TEST(LqMatrix4R, Storage_LiesInsideTheObject)
{
    const auto matrix = Counting<LqMatrix4Rf>(1.0F);
    EXPECT_EQ(static_cast<const void*>(matrix.data()), static_cast<const void*>(&matrix));
    EXPECT_EQ(sizeof(LqMatrix4Rf), 64U);
    EXPECT_EQ(sizeof(LqMatrix4Rd), 128U);
}

TEST(LqMatrix4R, Copy_SharesNothingWithItsSource)
{
    auto source = Counting<LqMatrix4Rd>(1.0);
    const LqMatrix4Rd copy = source;
    source(2, 3) = -1;
    EXPECT_EQ(copy, Counting<LqMatrix4Rd>(1.0));
}

TEST(LqMatrix4R, Assignment_SharesNothingWithItsSource)
{
    auto source = Counting<LqMatrix4Rf>(1.0F);
    LqMatrix4Rf target;
    target = source;
    source(0, 0) = -1;
    EXPECT_EQ(target, Counting<LqMatrix4Rf>(1.0F));
}

TEST(LqMatrix4R, Equality_ComparesNumbers)
{
    auto positive = LqMatrix4Rd();
    auto negative = LqMatrix4Rd();
    negative(1, 1) = -0.0;
    EXPECT_EQ(positive, negative);
    positive(3, 3) = std::numeric_limits<double>::denorm_min();
    EXPECT_NE(positive, negative);
}

TEST(LqMatrix4R, ConversionToFloat_KeepsExactValuesAtTheirIndices)
{
    const LqMatrix4Rf converted(Counting<LqMatrix4Rd>(-7.5));
    EXPECT_EQ(converted, Counting<LqMatrix4Rf>(-7.5F));
}

TEST(LqMatrix4R, ConversionToFloat_RoundsToTheNearestTiesToEven)
{
    const double half = std::ldexp(1.0, -24);
    LqMatrix4Rd wide;
    wide(0, 0) = 1.0 + half;
    wide(0, 1) = 1.0 + 3 * half;
    wide(0, 2) = std::nextafter(1.0 + half, 2.0);
    wide(0, 3) = 0.1;
    const LqMatrix4Rf converted(wide);
    EXPECT_EQ(converted(0, 0), 1.0F);
    EXPECT_EQ(converted(0, 1), 1.0F + std::ldexp(1.0F, -22));
    EXPECT_EQ(converted(0, 2), 1.0F + std::ldexp(1.0F, -23));
    EXPECT_EQ(converted(0, 3), 0.1F);
}

TEST(LqMatrix4R, ConversionToFloat_BeyondTheRangeBecomesInfinite)
{
    LqMatrix4Rd wide;
    wide(0, 0) = 1e39;
    wide(1, 0) = -1e300;
    wide(2, 0) = 1e-300;
    const LqMatrix4Rf converted(wide);
    EXPECT_EQ(converted(0, 0), std::numeric_limits<float>::infinity());
    EXPECT_EQ(converted(1, 0), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(converted(2, 0), 0.0F);
}

TEST(LqMatrix4R, ConversionToFloat_OfTheInvalidMatrixIsNotANumberEverywhere)
{
    const LqMatrix4Rf converted(c_matInvalidD);
    for (std::size_t index = 0; index < 16; ++index)
    {
        EXPECT_TRUE(std::isnan(converted.data()[index]));
    }
}

TEST(LqMatrix4R, IdentityConstant_HasOnesOnItsDiagonalOnly)
{
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            EXPECT_EQ(c_matIdentityD(row, column), row == column ? 1.0 : 0.0);
        }
    }
}

TEST(LqMatrix4R, InvalidConstant_IsNotANumberEverywhereAndEqualsNothing)
{
    for (std::size_t index = 0; index < 16; ++index)
    {
        EXPECT_TRUE(std::isnan(c_matInvalidD.data()[index]));
    }
    EXPECT_NE(c_matInvalidD, c_matInvalidD);
}

TEST(LqMatrix4R, Product_WithTheIdentityIsUnchangedOnBothSides)
{
    const LqMatrix4Rf identity(c_matIdentityD);
    const auto matrix = Counting<LqMatrix4Rf>(-3.25F);
    EXPECT_EQ(identity * matrix, matrix);
    EXPECT_EQ(matrix * identity, matrix);
    const auto wide = Counting<LqMatrix4Rd>(-3.25);
    EXPECT_EQ(c_matIdentityD * wide, wide);
    EXPECT_EQ(wide * c_matIdentityD, wide);
}

TEST(LqMatrix4R, Product_LetsTheLeftFactorActFirst)
{
    // Row vectors: scaling and then moving by 10 keeps the translation, the other order doubles it.
    LqMatrix4Rf scale(c_matIdentityD);
    scale(0, 0) = 2;
    LqMatrix4Rf move(c_matIdentityD);
    move(3, 0) = 10;
    EXPECT_EQ((scale * move)(3, 0), 10.0F);
    EXPECT_EQ((move * scale)(3, 0), 20.0F);
}

TEST(LqMatrix4R, Product_HasTheElementsOfTheDefinition)
{
    const auto a = Counting<LqMatrix4Rf>(1.0F);
    const auto b = Counting<LqMatrix4Rf>(17.0F);
    const LqMatrix4Rf expected(
        {250, 260, 270, 280, 618, 644, 670, 696, 986, 1028, 1070, 1112, 1354, 1412, 1470, 1528});
    EXPECT_EQ(a * b, expected);
    EXPECT_NE(b * a, expected);
}

TEST(LqMatrix4R, Product_SumsFromLeftToRightInFloat)
{
    // Another order of the sum, or a wider intermediate, would keep the small terms.
    LqMatrix4Rf a;
    a(0, 0) = 1.0F;
    a(0, 1) = 1.0F;
    a(0, 2) = 1.0F;
    a(0, 3) = 1.0F;
    LqMatrix4Rf b;
    b(0, 0) = 16777216.0F;  // 2^24: adding 1 rounds back to it
    b(1, 0) = 1.0F;
    b(2, 0) = 1.0F;
    b(3, 0) = -16777216.0F;
    EXPECT_EQ((a * b)(0, 0), 0.0F);
    std::swap(b(0, 0), b(2, 0));
    EXPECT_EQ((a * b)(0, 0), 2.0F);
}

TEST(LqMatrix4R, Product_RoundsEachMultiplicationByItself)
{
    // With a fused multiply-add the sum would be -2^-24 x 2^-24 instead of 0.
    const float near = 1.0F + std::ldexp(1.0F, -12);
    LqMatrix4Rf a;
    a(0, 0) = 1.0F;
    a(0, 1) = near;
    LqMatrix4Rf b;
    b(0, 0) = -(near * near);
    b(1, 0) = near;
    EXPECT_EQ((a * b)(0, 0), 0.0F);
}

TEST(LqMatrix4R, Product_EqualsThePlainDefinitionBitForBit)
{
    std::mt19937 random(20240611);
    std::uniform_real_distribution<float> values(-1000.0F, 1000.0F);
    for (int round = 0; round < 1000; ++round)
    {
        LqMatrix4Rf a;
        LqMatrix4Rf b;
        for (std::size_t index = 0; index < 16; ++index)
        {
            a.data()[index] = values(random);
            b.data()[index] = values(random);
        }
        LqMatrix4Rf expected;
        for (std::size_t row = 0; row < 4; ++row)
        {
            for (std::size_t column = 0; column < 4; ++column)
            {
                volatile float sum = a(row, 0) * b(0, column);
                for (std::size_t k = 1; k < 4; ++k)
                {
                    const volatile float term = a(row, k) * b(k, column);
                    sum = sum + term;
                }
                expected(row, column) = sum;
            }
        }
        ASSERT_EQ(BitsOf(a * b), BitsOf(expected)) << "round " << round;
    }
}

TEST(LqMatrix4R, Product_DestinationMayBeAnOperand)
{
    const auto a = Counting<LqMatrix4Rf>(1.0F);
    const auto b = Counting<LqMatrix4Rf>(17.0F);
    const LqMatrix4Rf expected = a * b;
    LqMatrix4Rf left = a;
    left = left * b;
    EXPECT_EQ(left, expected);
    LqMatrix4Rf right = b;
    right = a * right;
    EXPECT_EQ(right, expected);
    LqMatrix4Rf both = a;
    both = both * both;
    EXPECT_EQ(both, a * a);
}

TEST(LqMatrix4R, Product_OfDoublesKeepsTheirPrecision)
{
    LqMatrix4Rd a(c_matIdentityD);
    a(0, 0) = 1.0 + std::ldexp(1.0, -40);
    EXPECT_EQ((a * a)(0, 0), a(0, 0) * a(0, 0));
}

}  // namespace
