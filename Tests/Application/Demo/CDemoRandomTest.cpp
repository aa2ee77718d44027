#include "Application/Demo/CDemoRandom.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using Application::CDemoRandom;

TEST(CDemoRandom, Uniform_SameSeedAndKeyGiveTheSameNumbers)
{
    CDemoRandom a(7, 3);
    CDemoRandom b(7, 3);
    for (int index = 0; index < 100; ++index)
    {
        EXPECT_EQ(a.Uniform(), b.Uniform());
    }
}

TEST(CDemoRandom, Uniform_OtherSeedOrKeyGivesOtherNumbers)
{
    const double first = CDemoRandom(7, 3).Uniform();
    EXPECT_NE(first, CDemoRandom(7, 4).Uniform());
    EXPECT_NE(first, CDemoRandom(8, 3).Uniform());
    EXPECT_NE(CDemoRandom(3, 7).Uniform(), first);
}

TEST(CDemoRandom, Uniform_IsEvenBetweenZeroAndOne)
{
    CDemoRandom random(1, 1);
    int counts[10] = {};
    for (int index = 0; index < 100000; ++index)
    {
        const double value = random.Uniform();
        ASSERT_GE(value, 0.0);
        ASSERT_LT(value, 1.0);
        ++counts[static_cast<int>(value * 10.0)];
    }
    for (const int count : counts)
    {
        EXPECT_NEAR(count, 10000, 500);
    }
}

TEST(CDemoRandom, Normal_HasMeanZeroAndDeviationOne)
{
    CDemoRandom random(1, 2);
    double sum = 0.0;
    double squares = 0.0;
    for (int index = 0; index < 100000; ++index)
    {
        const double value = random.Normal();
        ASSERT_LE(std::abs(value), 3.5);
        sum += value;
        squares += value * value;
    }
    EXPECT_NEAR(sum / 100000, 0.0, 0.02);
    EXPECT_NEAR(squares / 100000, 1.0, 0.02);
}

}  // namespace
