#include "Application/Scans/CKeptPoints.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <type_traits>
#include <vector>

#include "Application/Scans/CKeptRanks.h"

namespace
{

using Application::CKeptPoints;
using Application::CKeptRanks;
using Base::CSurfelBitMask;

[[nodiscard]] std::vector<CSurfelBitMask> randomFlags(std::size_t count, unsigned seed)
{
    std::mt19937 generator(seed);
    std::vector<CSurfelBitMask> flags(count);
    for (CSurfelBitMask& word : flags)
    {
        word.bits = static_cast<std::uint16_t>(generator());
    }
    return flags;
}

// It would be a view of words that are gone at the end of the line.
static_assert(std::is_constructible_v<CKeptPoints, const std::vector<CSurfelBitMask>&>);
static_assert(!std::is_constructible_v<CKeptPoints, std::vector<CSurfelBitMask>>);
static_assert(!std::is_constructible_v<CKeptPoints, const std::vector<CSurfelBitMask>, int>);

TEST(CKeptPoints, GatherKept_HasABitForEachKeptPoint)
{
    const std::vector<CSurfelBitMask> flags = randomFlags(200, 3);
    for (const unsigned dropBits : {8U, 5U, 0xFFFFU, 0U})
    {
        const CKeptPoints kept(flags, static_cast<std::uint16_t>(dropBits));
        for (std::uint64_t begin = 0; begin < flags.size(); ++begin)
        {
            for (const std::uint64_t wanted : {0U, 1U, 7U, 8U, 9U, 63U, 64U})
            {
                const std::uint64_t count = std::min<std::uint64_t>(wanted, flags.size() - begin);
                std::uint64_t expected = 0;
                for (std::uint64_t index = 0; index < count; ++index)
                {
                    expected |= std::uint64_t{kept.IsKept(begin + index) ? 1U : 0U} << index;
                }
                ASSERT_EQ(kept.GatherKept(begin, count), expected) << begin << ' ' << count;
            }
        }
    }
}

TEST(CKeptPoints, CountKept_CountsBeyondSixteenBits)
{
    std::vector<CSurfelBitMask> flags(200000);
    EXPECT_EQ(CKeptPoints(flags).CountKept(flags.size()), 200000U);

    flags.front().bits = 8;
    flags[32768].bits = 9;
    flags.back().bits = 8;
    EXPECT_EQ(CKeptPoints(flags).CountKept(flags.size()), 199997U);
}

TEST(CKeptPoints, NoWordsKeepEverything)
{
    const CKeptPoints kept({});

    EXPECT_TRUE(kept.IsKept(1000));
    EXPECT_TRUE(kept.Fits(5));
    EXPECT_EQ(kept.CountKept(5), 5U);
    EXPECT_EQ(kept.GatherKept(2, 3), 7U);
    EXPECT_EQ(kept.GatherKept(0, 64), ~std::uint64_t{0});
}

TEST(CKeptPoints, Fits_AsManyWordsAsPoints)
{
    const std::vector<CSurfelBitMask> flags(3);

    EXPECT_TRUE(CKeptPoints(flags).Fits(3));
    EXPECT_FALSE(CKeptPoints(flags).Fits(2));
    EXPECT_FALSE(CKeptPoints(flags).Fits(4));
}

TEST(CKeptRanks, RanksAreTheCountsBefore)
{
    for (const std::size_t count : {0U, 1U, 63U, 64U, 65U, 128U, 1000U})
    {
        const std::vector<CSurfelBitMask> flags = randomFlags(count, 7);
        const CKeptPoints kept(flags);
        const CKeptRanks ranks(kept);
        std::uint64_t before = 0;
        for (std::size_t index = 0; index < count; ++index)
        {
            ASSERT_EQ(ranks.IsKept(index), kept.IsKept(index));
            ASSERT_EQ(ranks.GetRank(index), before);
            before += kept.IsKept(index) ? 1U : 0U;
        }
        EXPECT_EQ(kept.CountKept(count), before);
    }
}

}  // namespace
