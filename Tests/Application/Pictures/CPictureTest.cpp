#include "Application/Pictures/CPicture.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "Application/View/CPngDecoder.h"

namespace
{

using Application::CPicture;
using Application::CPngDecoder;
using Application::SColor;

constexpr SColor c_red{200, 10, 20};
constexpr SColor c_blue{0, 30, 250};

TEST(CPicture, Construct_HasOneColor)
{
    const CPicture picture(2, 1, c_red);
    EXPECT_EQ(picture.GetPixels(), CPicture::Pixels({c_red, c_red}));
}

TEST(CPicture, SetPixel_ChangesThatPixelOnly)
{
    CPicture picture(2, 2, c_red);
    picture.SetPixel(1, 0, c_blue);
    EXPECT_EQ(picture.GetPixel(1, 0), c_blue);
    EXPECT_EQ(picture.GetPixel(0, 0), c_red);
    EXPECT_EQ(picture.GetPixel(0, 1), c_red);
    EXPECT_EQ(picture.GetPixel(1, 1), c_red);
}

TEST(CPicture, SideBySide_JoinsBothAtTheirTopWithAWhiteGap)
{
    const CPicture both = CPicture::SideBySide(CPicture(3, 2, c_red), CPicture(2, 1, c_blue));
    ASSERT_EQ(both.GetWidth(), 13U);
    ASSERT_EQ(both.GetHeight(), 2U);
    const SColor white{255, 255, 255};
    EXPECT_EQ(both.GetPixel(0, 0), c_red);
    EXPECT_EQ(both.GetPixel(2, 1), c_red);
    EXPECT_EQ(both.GetPixel(3, 0), white);
    EXPECT_EQ(both.GetPixel(10, 0), white);
    EXPECT_EQ(both.GetPixel(11, 0), c_blue);
    EXPECT_EQ(both.GetPixel(12, 0), c_blue);
    EXPECT_EQ(both.GetPixel(11, 1), white);
}

TEST(CPicture, ToPng_ReadsBackAsItWas)
{
    CPicture picture(5, 3, c_red);
    picture.SetPixel(4, 2, c_blue);
    const auto png = picture.ToPng();
    CPngDecoder decoder(std::string_view(reinterpret_cast<const char*>(png.data()), png.size()),
                        "x");
    EXPECT_EQ(decoder.GetWidth(), 5U);
    EXPECT_EQ(decoder.GetHeight(), 3U);
    EXPECT_EQ(decoder.GetBytesPerPixel(), 3U);
    EXPECT_FALSE(decoder.HasAlpha());
    std::vector<std::uint8_t> expected;
    for (const SColor& pixel : picture.GetPixels())
    {
        expected.insert(expected.end(), {pixel.red, pixel.green, pixel.blue});
    }
    EXPECT_EQ(decoder.Decode(), expected);
}

TEST(CPicture, SetRow_ChangesThatRowOnly)
{
    CPicture picture(2, 3, c_red);
    picture.SetRow(1, std::vector<SColor>{c_blue, SColor()});
    CPicture expected(2, 3, c_red);
    expected.SetPixel(0, 1, c_blue);
    expected.SetPixel(1, 1, SColor());
    EXPECT_EQ(picture, expected);
}

}  // namespace
