#include "Application/Pictures/CColorIndex.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using Application::CColorIndex;
using Application::SColor;

TEST(CColorIndex, Find_NumbersColorsAsTheyOccur)
{
    CColorIndex index;
    std::vector<std::uint8_t> numbers(4);
    ASSERT_TRUE(index.Find(std::vector<SColor>{{9, 8, 7}, {0, 0, 0}, {9, 8, 7}, {255, 255, 255}},
                           numbers.data()));
    EXPECT_EQ(numbers, std::vector<std::uint8_t>({0, 1, 0, 2}));
    ASSERT_TRUE(index.Find(std::vector<SColor>{{7, 8, 9}, {0, 0, 0}}, numbers.data()));
    EXPECT_EQ(numbers, std::vector<std::uint8_t>({3, 1, 0, 2}));
    EXPECT_EQ(index.GetColors(),
              std::vector<SColor>({{9, 8, 7}, {0, 0, 0}, {255, 255, 255}, {7, 8, 9}}));
}

TEST(CColorIndex, Find_TellsAsManyColorsApartAsAByteDoes)
{
    CColorIndex index;
    for (int round = 0; round < 2; ++round)
    {
        for (std::uint32_t color = 0; color < 256; ++color)
        {
            std::uint8_t number = 0;
            const std::vector<SColor> pixel{
                {static_cast<std::uint8_t>(color), 5, static_cast<std::uint8_t>(255 - color)}};
            ASSERT_TRUE(index.Find(pixel, &number));
            EXPECT_EQ(number, color);
        }
    }
    std::uint8_t number = 0;
    EXPECT_FALSE(index.Find(std::vector<SColor>{{0, 0, 0}}, &number));
}

}  // namespace
