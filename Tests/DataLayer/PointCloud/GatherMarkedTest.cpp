#include "DataLayer/PointCloud/GatherMarked.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace DataLayer
{

namespace
{

using Base::CSurfelBitMask;

TEST(GatherMarked, EqualsOneWordAfterTheOther)
{
    std::mt19937 random(1);
    for (std::size_t count = 0; count < 200; ++count)
    {
        std::vector<CSurfelBitMask> words(count);
        for (CSurfelBitMask& word : words)
        {
            word.bits = static_cast<std::uint16_t>(random());
        }
        const CSurfelBitMask asked{static_cast<std::uint16_t>(1U << (random() % 16))};
        for (std::size_t group = 0; group < 4; ++group)
        {
            std::uint64_t expected = 0;
            for (std::size_t index = 64 * group; index < std::min(64 * group + 64, count); ++index)
            {
                const bool isMarked = (words[index].bits & asked.bits) != 0;
                expected |= std::uint64_t{isMarked ? 1U : 0U} << (index % 64);
            }
            EXPECT_EQ(GatherMarked(words, asked, group), expected) << count << ' ' << group;
        }
    }
}

TEST(GatherMarked, OtherBitsDoNotMark)
{
    std::vector<CSurfelBitMask> words(64, CSurfelBitMask{0xFFF7});
    EXPECT_EQ(GatherMarked(words, {0x0008}, 0), 0U);
    words[5].bits = 0x0008;
    EXPECT_EQ(GatherMarked(words, {0x0018}, 0), ~std::uint64_t{0});
    EXPECT_EQ(GatherMarked(words, {0x0008}, 0), std::uint64_t{1} << 5U);
}

}  // namespace

}  // namespace DataLayer
