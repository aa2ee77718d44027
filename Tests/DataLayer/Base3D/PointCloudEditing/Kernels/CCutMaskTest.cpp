#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using TestSupport::MakeDeviceSelection;
using TestSupport::SPixel;

/// The painted pixels of a packed mask, row by row.
std::vector<std::pair<std::uint32_t, std::uint32_t>> Unpack(const SCutMask& mask)
{
    std::vector<std::pair<std::uint32_t, std::uint32_t>> pixels;
    for (std::uint32_t row = mask.firstRow; row < mask.endRow; ++row)
    {
        for (std::uint32_t column = 0; column < 32 * mask.wordsPerRow; ++column)
        {
            const std::size_t word =
                std::size_t{row - mask.firstRow} * mask.wordsPerRow + column / 32;
            if ((mask.words[word] >> column % 32 & 1U) != 0)
            {
                pixels.emplace_back(row, mask.firstColumn + column);
            }
        }
    }
    return pixels;
}

void ExpectPacked(std::vector<std::uint8_t> bytes, std::uint32_t width, std::uint32_t height)
{
    std::vector<std::pair<std::uint32_t, std::uint32_t>> expected;
    for (std::uint32_t row = 1; row < height; ++row)
    {
        for (std::uint32_t column = 1; column < width; ++column)
        {
            if (bytes[std::size_t{row} * width + column] == 1)
            {
                expected.emplace_back(row, column);
            }
        }
    }
    const auto selection = MakeDeviceSelection(std::move(bytes), width, height);
    const CCutMask mask(*selection, BoundPaintedPixels(*selection));
    ASSERT_TRUE(mask.Get().isPacked);
    EXPECT_EQ(Unpack(mask.Get()), expected) << width << " x " << height;
}

TEST(CCutMask, PacksThePaintedPixelsOutsideRowAndColumnZero)
{
    std::mt19937 random(4711);
    for (unsigned round = 0; round < 400; ++round)
    {
        const auto width = static_cast<std::uint32_t>(1 + random() % 300);
        const auto height = static_cast<std::uint32_t>(1 + random() % 20);
        const unsigned kind = random() % 4;
        std::vector<std::uint8_t> bytes(std::size_t{width} * height);
        for (std::size_t index = 0; index < bytes.size(); ++index)
        {
            const auto value = static_cast<std::uint8_t>(random() % 256);
            const bool isLong = index / 90 % 3 == 0;
            bytes[index] = kind == 0   ? value
                           : kind == 1 ? static_cast<std::uint8_t>(value % 2)
                           : kind == 2 ? static_cast<std::uint8_t>(isLong ? 1 : value)
                                       : static_cast<std::uint8_t>(isLong ? 0 : 1);
        }
        ExpectPacked(std::move(bytes), width, height);
    }
}

TEST(CCutMask, EveryByteValueButOneIsNotPainted)
{
    std::vector<std::uint8_t> bytes(2 * 257);
    for (std::uint32_t value = 0; value < 256; ++value)
    {
        bytes[257 + 1 + value] = static_cast<std::uint8_t>(value);
    }
    ExpectPacked(bytes, 257, 2);
}

TEST(CCutMask, RectangleIsThatOfThePixelsThatCanCut)
{
    const auto selection = MakeDeviceSelection(50, 40, {{7, 9}, {30, 5}, {12, 33}});
    const CCutMask mask(*selection, BoundPaintedPixels(*selection));
    EXPECT_EQ(mask.Get().firstColumn, 7U);
    EXPECT_EQ(mask.Get().endColumn, 31U);
    EXPECT_EQ(mask.Get().firstRow, 5U);
    EXPECT_EQ(mask.Get().endRow, 34U);
}

TEST(CCutMask, IsTallWhereTheColumnsAreASmallerPartOfTheViewThanTheRows)
{
    const auto isTall = [](std::uint32_t width, std::uint32_t height,
                           const std::vector<SPixel>& painted) {
        const auto selection = MakeDeviceSelection(width, height, painted);
        return CCutMask(*selection, BoundPaintedPixels(*selection)).Get().isTall;
    };
    EXPECT_TRUE(isTall(100, 100, {{95, 1}, {99, 99}}));
    EXPECT_FALSE(isTall(100, 100, {{1, 95}, {99, 99}}));
    EXPECT_FALSE(isTall(100, 100, {{5, 5}, {20, 20}}));
    EXPECT_TRUE(isTall(200, 100, {{10, 10}, {29, 29}}));
    EXPECT_FALSE(isTall(100, 100, {}));
}

TEST(CCutMask, IsWholeWhereEveryPixelOfTheRectangleIsPainted)
{
    constexpr std::uint32_t c_height = 3;
    for (const std::uint32_t width : {3U, 31U, 32U, 33U, 64U, 65U, 100U})
    {
        std::vector<SPixel> pixels;
        for (std::uint32_t index = 0; index < width * c_height; ++index)
        {
            pixels.push_back({5 + index % width, 7 + index / width});
        }
        const auto isWhole = [](const std::vector<SPixel>& painted) {
            const auto selection = MakeDeviceSelection(200, 50, painted);
            return CCutMask(*selection, BoundPaintedPixels(*selection)).Get().isWhole;
        };
        EXPECT_TRUE(isWhole(pixels)) << width;
        for (std::size_t hole = 0; hole < pixels.size(); ++hole)
        {
            std::vector<SPixel> others = pixels;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(hole));
            EXPECT_FALSE(isWhole(others)) << width << ", pixel " << hole;
        }
        EXPECT_FALSE(isWhole({})) << width;
    }
}

TEST(CCutMask, RectangleBeginsAtRowAndColumnOne)
{
    const auto selection = MakeDeviceSelection(50, 40, {{0, 9}, {30, 0}});
    const CCutMask mask(*selection, BoundPaintedPixels(*selection));
    EXPECT_EQ(mask.Get().firstColumn, 1U);
    EXPECT_EQ(mask.Get().firstRow, 1U);
    EXPECT_TRUE(Unpack(mask.Get()).empty());
}

/// Expects \p first to be the first device coordinate on \p pixel or behind it.
void ExpectFirstOf(std::uint32_t pixel, float size, float first)
{
    const auto wanted = static_cast<float>(pixel);
    const float before = std::nextafter(first, -std::numeric_limits<float>::infinity());
    EXPECT_GE(DeviceToPixelX(first, size), wanted) << pixel << " of " << size;
    EXPECT_LT(DeviceToPixelX(before, size), wanted) << pixel << " of " << size;
}

TEST(CCutMask, DeviceRangesBeginAndEndWithTheRectangle)
{
    std::mt19937 random(815);
    const auto expectRanges = [](std::uint32_t width, std::uint32_t height,
                                 const std::vector<SPixel>& painted) {
        const auto selection = MakeDeviceSelection(width, height, painted);
        const CCutMask cutMask(*selection, BoundPaintedPixels(*selection));
        const SCutMask& mask = cutMask.Get();
        ExpectFirstOf(mask.firstColumn, mask.width, mask.deviceColumns.first);
        ExpectFirstOf(mask.endColumn, mask.width, mask.deviceColumns.end);
        ExpectFirstOf(mask.firstRow, mask.height, mask.deviceRows.first);
        ExpectFirstOf(mask.endRow, mask.height, mask.deviceRows.end);
    };
    for (unsigned round = 0; round < 300; ++round)
    {
        const auto width = static_cast<std::uint32_t>(2 + random() % 3000);
        const auto height = static_cast<std::uint32_t>(2 + random() % 100);
        const auto pixel = [&] {
            return SPixel{static_cast<std::uint32_t>(1 + random() % (width - 1)),
                          static_cast<std::uint32_t>(1 + random() % (height - 1))};
        };
        expectRanges(width, height, {pixel(), pixel()});
    }
    constexpr std::uint32_t c_largest = 1U << 24;
    expectRanges(c_largest, 2, {{c_largest - 1, 1}});
    expectRanges(2, c_largest, {{1, c_largest / 2}});
}

TEST(CCutMask, WordsBesideMayBeRead)
{
    const auto selection = MakeDeviceSelection(100, 3, {{1, 1}, {99, 2}});
    const CCutMask mask(*selection, BoundPaintedPixels(*selection));
    const std::uint32_t numWords = 2 * mask.Get().wordsPerRow;
    for (std::uint32_t word = 1; word <= c_wordsBeside; ++word)
    {
        EXPECT_EQ(*(mask.Get().words - word), 0U);
        EXPECT_EQ(mask.Get().words[numWords - 1 + word], 0U);
    }
}

TEST(CCutMask, NothingThatCanCutLeavesAnEmptyRectangle)
{
    for (const std::vector<SPixel>& painted :
         {std::vector<SPixel>{}, std::vector<SPixel>{{0, 3}}, std::vector<SPixel>{{3, 0}, {0, 0}}})
    {
        const auto selection = MakeDeviceSelection(5, 5, painted);
        const CCutMask mask(*selection, BoundPaintedPixels(*selection));
        EXPECT_TRUE(mask.Get().isPacked);
        EXPECT_EQ(mask.Get().firstColumn, mask.Get().endColumn);
        EXPECT_EQ(mask.Get().firstRow, mask.Get().endRow);
        EXPECT_EQ(mask.Get().words, nullptr);
        EXPECT_EQ(mask.Get().wordsPerRow, 0U);
    }
}

TEST(CCutMask, SizeUpToWhichEveryIntegerIsAFloatIsPacked)
{
    constexpr std::uint32_t c_size = 1U << 24;
    const auto wide = MakeDeviceSelection(c_size, 2, {{c_size - 1, 1}, {c_size - 3, 1}});
    const CCutMask wideMask(*wide, BoundPaintedPixels(*wide));
    ASSERT_TRUE(wideMask.Get().isPacked);
    EXPECT_EQ(Unpack(wideMask.Get()), (std::vector<std::pair<std::uint32_t, std::uint32_t>>{
                                          {1, c_size - 3}, {1, c_size - 1}}));
    const auto tooWide = MakeDeviceSelection(c_size + 1, 2, {{c_size - 1, 1}});
    EXPECT_FALSE(CCutMask(*tooWide, BoundPaintedPixels(*tooWide)).Get().isPacked);
    const auto high = MakeDeviceSelection(2, c_size, {{1, 7}});
    EXPECT_TRUE(CCutMask(*high, BoundPaintedPixels(*high)).Get().isPacked);
    const auto tooHigh = MakeDeviceSelection(2, c_size + 1, {{1, 7}});
    EXPECT_FALSE(CCutMask(*tooHigh, BoundPaintedPixels(*tooHigh)).Get().isPacked);
}

TEST(CCutMask, MaskOfTooManyBitsIsNotPackedAndTakesNoMemory)
{
    // Never read: the bounds are given, and the bytes are not there.
    for (const std::uint32_t height : {1U << 8, 1U << 24})
    {
        Base::SRegionSelectionInfo selection;
        selection.maskWidth = 1U << 24;
        selection.maskHeight = height;
        Geometry::CBox3D bounds;
        bounds.Extend(0.0F, 0.0F, 1.0F);
        bounds.Extend(16777215.0F, static_cast<float>(height - 1), 1.0F);
        EXPECT_FALSE(CCutMask(selection, bounds).Get().isPacked) << height;
    }
}

}  // namespace

}  // namespace DataLayer
