#include "DataLayer/PointCloud/QNormal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "DataLayer/PointCloud/CCompactSurfelPositionNormal.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::c_invalidQNormal;
using DataLayer::DecodeQNormal;
using DataLayer::EncodeQNormal;

/// The code restated in plain steps, for directions that have one.
std::uint16_t EncodePlainly(float x, float y, float z)
{
    std::uint16_t signs = 0;
    signs = static_cast<std::uint16_t>(signs + (x < 0 ? 32768 : 0));
    signs = static_cast<std::uint16_t>(signs + (y < 0 ? 16384 : 0));
    signs = static_cast<std::uint16_t>(signs + (z < 0 ? 8192 : 0));
    const float s = 127.5F / (std::abs(x) + std::abs(y) + std::abs(z));
    const float a = s * std::abs(x);
    const float b = s * std::abs(y);
    std::int64_t i = 0;
    std::int64_t j = 0;
    if (a + b < 84.666664F)
    {
        i = static_cast<std::int64_t>(a);
        j = static_cast<std::int64_t>(b);
    }
    else if (const auto n = static_cast<std::int64_t>(a + b - 0.5F); b > a)
    {
        i = static_cast<std::int64_t>(a);
        j = n - i;
        if (i > j)
        {
            j = j + 1;
        }
        if (i + j == 127)
        {
            j = j - 1;
        }
    }
    else
    {
        j = static_cast<std::int64_t>(b);
        i = n - j;
        if (j > i)
        {
            i = i + 1;
        }
        if (i + j == 127)
        {
            i = i - 1;
        }
    }
    const auto first = static_cast<std::uint16_t>(i < 64 ? i : 127 - i);
    const auto second = static_cast<std::uint16_t>(i < 64 ? j : 127 - j);
    return static_cast<std::uint16_t>(static_cast<std::uint16_t>(first << 7) | second | signs);
}

bool IsMadeByEncoding(std::uint16_t code)
{
    return ((code >> 7) & 0x3F) + (code & 0x7F) != 127;
}

TEST(QNormal, EncodeQNormal_ZeroVectorIsInvalid)
{
    EXPECT_EQ(EncodeQNormal(0.0F, 0.0F, 0.0F), 0x1FC0);
    EXPECT_EQ(EncodeQNormal(-0.0F, 0.0F, -0.0F), 0x1FC0);
}

TEST(QNormal, EncodeQNormal_ComponentThatIsNotFiniteIsInvalid)
{
    for (const float value : {c_nan, c_infinity, -c_infinity})
    {
        EXPECT_EQ(EncodeQNormal(value, 0.0F, 1.0F), 0x1FC0);
        EXPECT_EQ(EncodeQNormal(0.0F, value, 1.0F), 0x1FC0);
        EXPECT_EQ(EncodeQNormal(0.0F, 1.0F, value), 0x1FC0);
    }
}

TEST(QNormal, EncodeQNormal_AxesAndDiagonal)
{
    EXPECT_EQ(EncodeQNormal(0.0F, 0.0F, 1.0F), 0x0000);
    EXPECT_EQ(EncodeQNormal(0.0F, 0.0F, -1.0F), 0x2000);
    EXPECT_EQ(EncodeQNormal(1.0F, 0.0F, 0.0F), 0x00FF);
    EXPECT_EQ(EncodeQNormal(0.0F, 1.0F, 0.0F), 0x007E);
    EXPECT_EQ(EncodeQNormal(-1.0F, 0.0F, 0.0F), 0x80FF);
    EXPECT_EQ(EncodeQNormal(1.0F, 1.0F, 1.0F), 0x152A);
}

TEST(QNormal, EncodeQNormal_NegativeZeroHasNoSignBit)
{
    EXPECT_EQ(EncodeQNormal(-0.0F, -0.0F, 1.0F), 0x0000);
    EXPECT_EQ(EncodeQNormal(1.0F, 0.0F, -0.0F), 0x00FF);
}

TEST(QNormal, EncodeQNormal_LengthDoesNotMatter)
{
    EXPECT_EQ(EncodeQNormal(1.0e-3F, 2.0e-3F, -4.0e-3F), EncodeQNormal(1.0F, 2.0F, -4.0F));
    EXPECT_EQ(EncodeQNormal(1.0e30F, 2.0e30F, -4.0e30F), EncodeQNormal(1.0F, 2.0F, -4.0F));
}

TEST(QNormal, EncodeQNormal_ScaleThatIsNotFiniteIsInvalid)
{
    const float smallest = std::numeric_limits<float>::denorm_min();
    EXPECT_EQ(EncodeQNormal(smallest, 0.0F, 0.0F), c_invalidQNormal);
    // The least sum whose scale is still a float is 127.5 / FLT_MAX.
    EXPECT_EQ(EncodeQNormal(3.7e-37F, 0.0F, 0.0F), c_invalidQNormal);
    EXPECT_EQ(EncodeQNormal(3.8e-37F, 0.0F, 0.0F), 0x00FF);
}

TEST(QNormal, EncodeQNormal_SumBeyondFloatHasTheCodeOfScaleZero)
{
    const float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(EncodeQNormal(largest, -largest, largest), 0x4000);
}

TEST(QNormal, EncodeQNormal_RandomDirectionsAsToldStepByStep)
{
    std::mt19937 random(20240611);
    std::uniform_real_distribution<float> component(-1.0F, 1.0F);
    for (int repetition = 0; repetition < 300000; ++repetition)
    {
        const float x = component(random);
        const float y = component(random);
        const float z = component(random);
        ASSERT_EQ(EncodeQNormal(x, y, z), EncodePlainly(x, y, z)) << x << " " << y << " " << z;
    }
}

TEST(QNormal, EncodeQNormal_GridLinesAndDiagonalsAsToldStepByStep)
{
    // Sixths of a cell hit cell borders, cell middles and the thirds of the diagonal exactly.
    for (int a = 0; a <= 765; ++a)
    {
        for (int b = 0; a + b <= 765; ++b)
        {
            const auto x = static_cast<float>(a);
            const auto y = static_cast<float>(-b);
            const auto z = static_cast<float>(765 - a - b);
            ASSERT_EQ(EncodeQNormal(x, y, z), EncodePlainly(x, y, z)) << a << " " << b;
        }
    }
}

TEST(QNormal, EncodeQNormal_SumOfTheDiagonalIsBeyondIt)
{
    // 84.666664 in all; the third makes the sum 127.5, so that nothing is scaled.
    constexpr float c_half = 42.833332F;
    constexpr float c_rest = 42.833336F;
    EXPECT_EQ(EncodeQNormal(c_half, c_half - 1.0F, c_rest), (43 << 7) | 41);
    EXPECT_EQ(EncodeQNormal(c_half - 1.0F, c_half, c_rest), (41 << 7) | 43);
}

TEST(QNormal, EncodeQNormal_AddsXAndYFirst)
{
    // Any other order rounds the sum differently, and ends in the next cell.
    EXPECT_EQ(EncodeQNormal(17.62F, 2.96F, 17.16F), (59 << 7) | 9);
}

TEST(QNormal, EncodeQNormal_AnyBitPatternIsSafeAndMakesAKnownCode)
{
    std::mt19937 random(7);
    for (int repetition = 0; repetition < 300000; ++repetition)
    {
        float vector[3];
        for (float& component : vector)
        {
            const auto bits = static_cast<std::uint32_t>(random());
            std::memcpy(&component, &bits, sizeof bits);
        }
        const std::uint16_t code = EncodeQNormal(vector[0], vector[1], vector[2]);
        ASSERT_TRUE(code == c_invalidQNormal || IsMadeByEncoding(code)) << code;
    }
}

TEST(QNormal, DecodeQNormal_InvalidCodeIsTheZeroVector)
{
    EXPECT_EQ(DecodeQNormal(c_invalidQNormal), LqVector3f());
}

TEST(QNormal, DecodeQNormal_EveryCodeThatEncodingMakesComesBack)
{
    int numCodes = 0;
    for (int value = 0; value <= 0xFFFF; ++value)
    {
        const auto code = static_cast<std::uint16_t>(value);
        if (IsMadeByEncoding(code) || code == c_invalidQNormal)
        {
            ++numCodes;
            const LqVector3f normal = DecodeQNormal(code);
            ASSERT_EQ(EncodeQNormal(normal.x, normal.y, normal.z), code);
        }
    }
    EXPECT_EQ(numCodes, 8 * (64 * 128 - 64) + 1);
}

TEST(QNormal, DecodeQNormal_CodesThatEncodingNeverMakesHaveNoNormal)
{
    for (int value = 0; value <= 0xFFFF; ++value)
    {
        const auto code = static_cast<std::uint16_t>(value);
        if (!IsMadeByEncoding(code))
        {
            ASSERT_EQ(DecodeQNormal(code), LqVector3f()) << code;
        }
    }
}

TEST(QNormal, DecodeQNormal_HasUnitLength)
{
    for (int value = 0; value <= 0xFFFF; ++value)
    {
        const auto code = static_cast<std::uint16_t>(value);
        if (IsMadeByEncoding(code))
        {
            const LqVector3f normal = DecodeQNormal(code);
            ASSERT_NEAR(std::hypot(normal.x, normal.y, normal.z), 1.0F, 1e-6F) << code;
        }
    }
}

TEST(QNormal, DecodeQNormal_IsCloseToWhatWasEncoded)
{
    std::mt19937 random(99);
    std::normal_distribution<float> component;
    for (int repetition = 0; repetition < 100000; ++repetition)
    {
        LqVector3f vector{component(random), component(random), component(random)};
        const float length = std::hypot(vector.x, vector.y, vector.z);
        vector = {vector.x / length, vector.y / length, vector.z / length};
        const LqVector3f decoded = DecodeQNormal(EncodeQNormal(vector.x, vector.y, vector.z));
        const float distance =
            std::hypot(decoded.x - vector.x, decoded.y - vector.y, decoded.z - vector.z);
        // A cell is 1 / 127.5 wide on the octahedron, and up to sqrt(3) wider on the sphere.
        ASSERT_LT(distance, 0.02F);
    }
}

TEST(QNormal, CompactSurfel_DefaultHasNoNormal)
{
    EXPECT_EQ(DataLayer::CCompactSurfelPositionNormal().normal, c_invalidQNormal);
}

}  // namespace

}  // namespace DataLayerTest
