#include "Application/Scans/CKeptPoints.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "Application/Scans/CKeptRanks.h"

namespace
{

using Application::CKeptPoints;
using Application::CKeptRanks;
using Base::CSurfelBitMask;
using RunPair = std::pair<std::uint64_t, std::uint64_t>;

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

TEST(CKeptPoints, FindRun_FindsEachRunOnce)
{
    const std::vector<CSurfelBitMask> flags = {{8}, {0}, {0}, {9}, {8}, {1}};
    const CKeptPoints kept(flags);

    EXPECT_EQ(kept.FindRun(0, 6), (RunPair{1, 3}));
    EXPECT_EQ(kept.FindRun(2, 6), (RunPair{2, 3}));
    EXPECT_EQ(kept.FindRun(3, 6), (RunPair{5, 6}));
    EXPECT_EQ(kept.FindRun(3, 5), (RunPair{5, 5}));
    EXPECT_EQ(kept.FindRun(6, 6), (RunPair{6, 6}));
    EXPECT_EQ(kept.CountKept(6), 3U);
}

TEST(CKeptPoints, NoWordsKeepEverything)
{
    const CKeptPoints kept({});

    EXPECT_TRUE(kept.IsKept(1000));
    EXPECT_TRUE(kept.Fits(5));
    EXPECT_EQ(kept.CountKept(5), 5U);
    EXPECT_EQ(kept.FindRun(2, 5), (RunPair{2, 5}));
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
