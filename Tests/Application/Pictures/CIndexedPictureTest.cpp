#include "Application/Pictures/CIndexedPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Application/View/CPngDecoder.h"

namespace
{

using Application::CIndexedPicture;
using Application::CPngDecoder;
using Application::SColor;

const std::vector<SColor> c_palette = {{200, 10, 20}, {1, 2, 3}, {0, 30, 250}};

CIndexedPicture MakePicture()
{
    CIndexedPicture picture(3, 2, c_palette);
    picture.SetRow(1, std::vector<std::uint8_t>{2, 1, 0});
    picture.SetRow(0, std::vector<std::uint8_t>{0, 0, 2});
    return picture;
}

TEST(CIndexedPicture, SetRow_SetsThatRow)
{
    const CIndexedPicture picture = MakePicture();
    EXPECT_EQ(picture.GetWidth(), 3U);
    EXPECT_EQ(picture.GetHeight(), 2U);
    EXPECT_EQ(picture.GetPalette(), c_palette);
    const std::vector<std::uint8_t> expected = {0, 0, 2, 2, 1, 0};
    EXPECT_TRUE(std::ranges::equal(picture.GetIndices(), expected));
}

TEST(CIndexedPicture, ToPng_ReadsBackAsColors)
{
    const auto png = MakePicture().ToPng();
    CPngDecoder decoder(std::string_view(reinterpret_cast<const char*>(png.data()), png.size()),
                        "x");
    EXPECT_EQ(decoder.GetWidth(), 3U);
    EXPECT_EQ(decoder.GetHeight(), 2U);
    EXPECT_FALSE(decoder.HasAlpha());
    const std::vector<std::uint8_t> expected = {200, 10, 20,  200, 10, 20, 0,   30, 250,
                                                0,   30, 250, 1,   2,  3,  200, 10, 20};
    EXPECT_EQ(decoder.Decode(), expected);
}

}  // namespace
