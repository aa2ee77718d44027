#include "DataLayer/PointCloud/BoolWords.h"

#include <gtest/gtest.h>

#include <random>

namespace DataLayer
{

namespace
{

std::vector<bool> MakeRandomBools(std::size_t count, std::mt19937_64& random)
{
    std::vector<bool> bools(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        bools[index] = random() % 2 != 0;
    }
    return bools;
}

TEST(BoolWords, LoadBools_FirstEntryIsTheLowestBit)
{
    std::vector<bool> bools(70);
    bools[0] = true;
    bools[63] = true;
    bools[65] = true;
    EXPECT_EQ(LoadBools(bools, 0), 0x8000000000000001U);
    EXPECT_EQ(LoadBools(bools, 1), 2U);
}

TEST(BoolWords, LoadBools_EntriesThatAreNotThereAreFalse)
{
    std::vector<bool> bools(130, true);
    bools.resize(66);
    EXPECT_EQ(LoadBools(bools, 1), 3U);
    EXPECT_EQ(LoadBools(bools, 2), 0U);
    EXPECT_EQ(LoadBools(std::vector<bool>(), 0), 0U);
}

TEST(BoolWords, LoadBools_EqualsGatheringEntryByEntry)
{
    std::mt19937_64 random(1);
    for (std::size_t count = 0; count < 260; ++count)
    {
        const std::vector<bool> bools = MakeRandomBools(count, random);
        for (std::size_t word = 0; word < CountBoolWords(count) + 1; ++word)
        {
            EXPECT_EQ(LoadBools(bools, word), GatherBools(bools, word)) << count << ' ' << word;
        }
    }
}

TEST(BoolWords, StoreBools_EqualsScatteringEntryByEntry)
{
    std::mt19937_64 random(2);
    for (std::size_t count = 0; count < 260; ++count)
    {
        std::vector<bool> stored = MakeRandomBools(count, random);
        std::vector<bool> scattered = stored;
        for (std::size_t word = 0; word < CountBoolWords(count); ++word)
        {
            const std::uint64_t bits = random();
            StoreBools(stored, word, bits);
            ScatterBools(scattered, word, bits);
            EXPECT_EQ(stored, scattered) << count << ' ' << word;
        }
    }
}

TEST(BoolWords, StoreBools_IsWhatLoadBoolsReads)
{
    std::vector<bool> bools(100);
    StoreBools(bools, 0, 0x0123456789ABCDEFU);
    StoreBools(bools, 1, ~std::uint64_t{0});
    EXPECT_EQ(GatherBools(bools, 0), 0x0123456789ABCDEFU);
    EXPECT_EQ(GatherBools(bools, 1), 0xFFFFFFFFFU);
}

TEST(BoolWords, CountBoolWords_CountsTheLastOneInPart)
{
    EXPECT_EQ(CountBoolWords(0), 0U);
    EXPECT_EQ(CountBoolWords(1), 1U);
    EXPECT_EQ(CountBoolWords(64), 1U);
    EXPECT_EQ(CountBoolWords(65), 2U);
}

}  // namespace

}  // namespace DataLayer
