#include "Application/Pictures/CPicture.h"

#include "Application/Pictures/CPngDecoder.h"
#include "Application/Pictures/PngEncoder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string_view>
#include <vector>

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
    EXPECT_EQ(picture.GetSamples(), (std::vector<std::uint8_t>{200, 10, 20, 200, 10, 20}));
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
    EXPECT_EQ(decoder.Decode(), picture.GetSamples());
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

/// Pixels of so many different colours, each colour several times.
std::vector<std::uint8_t> makePixels(std::uint32_t numColors, std::uint32_t numPixels)
{
    std::vector<std::uint8_t> samples;
    for (std::uint32_t pixel = 0; pixel < numPixels; ++pixel)
    {
        const std::uint32_t color = pixel * 77U % numColors;
        samples.push_back(static_cast<std::uint8_t>(color % 7 * 11));
        samples.push_back(static_cast<std::uint8_t>(color / 7));
        samples.push_back(static_cast<std::uint8_t>(255 - color % 3));
    }
    return samples;
}

TEST(PngEncoder, EncodePng_ColorsOfAPaletteAndOneMoreReadBack)
{
    for (const std::uint32_t numColors : {1U, 2U, 255U, 256U, 257U, 900U})
    {
        const std::vector<std::uint8_t> samples = makePixels(numColors, 50 * 40);
        const auto png = Application::EncodePng(50, 40, Application::PngColor::Rgb, samples);
        CPngDecoder decoder(std::string_view(reinterpret_cast<const char*>(png.data()), png.size()),
                            "x");
        EXPECT_EQ(decoder.GetBytesPerPixel(), 3U);
        EXPECT_EQ(decoder.Decode(), samples) << numColors;
    }
}

TEST(PngEncoder, EncodePng_UpTo256ColorsAreAPalette)
{
    constexpr std::size_t c_colorTypeByte = 25;
    for (const std::uint32_t numColors : {1U, 256U, 257U})
    {
        const auto png = Application::EncodePng(50, 40, Application::PngColor::Rgb,
                                                makePixels(numColors, 50 * 40));
        EXPECT_EQ(png.at(c_colorTypeByte), numColors <= 256 ? std::byte{3} : std::byte{2});
    }
}

TEST(PngEncoder, EncodePng_GreyOfASinglePixelReadsBack)
{
    const std::vector<std::uint8_t> samples = {200};
    const auto png = Application::EncodePng(1, 1, Application::PngColor::Grey, samples);
    CPngDecoder decoder(std::string_view(reinterpret_cast<const char*>(png.data()), png.size()),
                        "x");
    EXPECT_EQ(decoder.GetBytesPerPixel(), 1U);
    EXPECT_EQ(decoder.Decode(), samples);
}

TEST(PngEncoder, EncodePng_NumberOfSamplesThatDoesNotFitThrows)
{
    const std::vector<std::uint8_t> samples(11);
    EXPECT_THROW(
        static_cast<void>(Application::EncodePng(2, 2, Application::PngColor::Rgb, samples)),
        std::runtime_error);
}

TEST(PngEncoder, EncodePng_SizeOfZeroThrows)
{
    EXPECT_THROW(static_cast<void>(Application::EncodePng(0, 2, Application::PngColor::Rgb, {})),
                 std::runtime_error);
}

}  // namespace
