#include "Application/Scans/CKeptPoints.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "Application/Scans/CKeptRanks.h"

namespace
{

using Application::CKeptPoints;
using Application::CKeptRanks;
using Base::CSurfelBitMask;

[[nodiscard]] std::vector<CSurfelBitMask> RandomFlags(std::size_t count, unsigned seed)
{
    std::mt19937 generator(seed);
    std::vector<CSurfelBitMask> flags(count);
    for (CSurfelBitMask& word : flags)
    {
        word.bits = static_cast<std::uint16_t>(generator());
    }
    return flags;
}

/// The groups of all points, by the definition of their bits.
[[nodiscard]] std::vector<std::uint64_t> MakeGroups(const std::vector<CSurfelBitMask>& flags,
                                                    unsigned dropBits)
{
    std::vector<std::uint64_t> groups((flags.size() + 63) / 64);
    for (std::size_t index = 0; index < flags.size(); ++index)
    {
        const bool isKept = (flags[index].bits & dropBits) == 0;
        groups[index / 64] |= std::uint64_t{isKept ? 1U : 0U} << index % 64;
    }
    return groups;
}

TEST(CKeptPoints, GetGroup_HasABitForEachKeptPoint)
{
    for (const std::size_t count : {1U, 7U, 8U, 9U, 63U, 64U, 65U, 200U})
    {
        const std::vector<CSurfelBitMask> flags = RandomFlags(count, 3);
        for (const unsigned dropBits : {8U, 5U, 0xFFFFU, 0U})
        {
            const CKeptPoints kept(flags, static_cast<std::uint16_t>(dropBits));
            const std::vector<std::uint64_t> expected = MakeGroups(flags, dropBits);
            for (std::size_t group = 0; group < expected.size(); ++group)
            {
                ASSERT_EQ(kept.GetGroup(group), expected[group]) << count << ' ' << group;
            }
        }
    }
}

TEST(CKeptPoints, IsKept_WithoutAnyDropBit)
{
    const std::vector<CSurfelBitMask> flags = RandomFlags(200, 3);
    for (const unsigned dropBits : {8U, 5U, 0xFFFFU, 0U})
    {
        const CKeptPoints kept(flags, static_cast<std::uint16_t>(dropBits));
        for (std::size_t index = 0; index < flags.size(); ++index)
        {
            ASSERT_EQ(kept.IsKept(index), (flags[index].bits & dropBits) == 0) << index;
        }
    }
}

TEST(CKeptPoints, GroupsStandForWords)
{
    const std::vector<CSurfelBitMask> flags = RandomFlags(100, 5);
    const CKeptPoints fromFlags(flags);
    const CKeptPoints kept(MakeGroups(flags, CSurfelBitMask::SurfelFlagCut), flags.size());

    EXPECT_EQ(kept.GetGroup(0), fromFlags.GetGroup(0));
    EXPECT_EQ(kept.GetGroup(1), fromFlags.GetGroup(1));
    EXPECT_EQ(kept.CountKept(100), fromFlags.CountKept(100));
    EXPECT_EQ(kept.GetWordCount(), 100U);
    EXPECT_TRUE(kept.Fits(100));
    EXPECT_FALSE(kept.Fits(128));
}

TEST(CKeptPoints, CountKept_CountsAllGroups)
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
    EXPECT_EQ(kept.GetWordCount(), 0U);
    EXPECT_EQ(kept.GetGroup(2), ~std::uint64_t{0});
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
        const std::vector<CSurfelBitMask> flags = RandomFlags(count, 7);
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
