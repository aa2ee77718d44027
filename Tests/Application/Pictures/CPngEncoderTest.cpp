#include "Application/Pictures/CPngEncoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Application/View/CPngDecoder.h"

namespace
{

using Application::CPngDecoder;
using Application::CPngEncoder;

constexpr std::uint32_t c_width = 60;
constexpr std::uint32_t c_height = 45;

/// So many colours; one more in the last row if told so.
std::vector<std::uint8_t> MakeSamples(std::uint32_t numColors, bool hasOneMore)
{
    std::mt19937 random(numColors);
    std::vector<std::uint8_t> samples;
    for (std::uint32_t pixel = 0; pixel < c_width * c_height; ++pixel)
    {
        const auto color =
            static_cast<std::uint32_t>(pixel < numColors ? pixel : random() % numColors);
        samples.push_back(static_cast<std::uint8_t>(color));
        samples.push_back(static_cast<std::uint8_t>(color / 256));
        samples.push_back(3);
    }
    if (hasOneMore)
    {
        samples.back() = 4;
    }
    return samples;
}

std::vector<std::byte> EncodeWhole(const std::vector<std::uint8_t>& samples)
{
    CPngEncoder encoder(c_width, c_height);
    encoder.EncodeTo(c_height, samples);
    return encoder.Finish();
}

TEST(CPngEncoder, EncodeTo_AnyStepsGiveTheBytesOfTheWhole)
{
    for (const std::uint32_t numColors : {1U, 250U, 256U, 257U, 600U})
    {
        for (const bool hasOneMore : {false, true})
        {
            const std::vector<std::uint8_t> samples = MakeSamples(numColors, hasOneMore);
            const auto expected = EncodeWhole(samples);
            for (const std::uint32_t step : {1U, 7U, 44U})
            {
                CPngEncoder encoder(c_width, c_height);
                for (std::uint32_t row = 0; row < c_height; row += step)
                {
                    encoder.EncodeTo(row, samples);
                }
                encoder.EncodeTo(c_height, samples);
                EXPECT_EQ(encoder.Finish(), expected) << numColors << ' ' << step;
            }
            CPngDecoder decoder(
                std::string_view(reinterpret_cast<const char*>(expected.data()), expected.size()),
                "x");
            EXPECT_EQ(decoder.Decode(), samples) << numColors;
        }
    }
}

TEST(CPngEncoder, EncodeTo_DoesNotLookAtLaterRows)
{
    const std::vector<std::uint8_t> samples = MakeSamples(40, false);
    CPngEncoder encoder(c_width, c_height);
    const std::span<const std::uint8_t> firstRows(samples.data(), 5 * 3 * c_width);
    encoder.EncodeTo(5, firstRows);
    encoder.EncodeTo(c_height, samples);
    EXPECT_EQ(encoder.Finish(), EncodeWhole(samples));
}

TEST(CPngEncoder, Finish_UpTo256ColorsAreAPalette)
{
    constexpr std::size_t c_colorTypeByte = 25;
    for (const std::uint32_t numColors : {1U, 256U, 257U})
    {
        const auto png = EncodeWhole(MakeSamples(numColors, false));
        EXPECT_EQ(png.at(c_colorTypeByte), numColors <= 256 ? std::byte{3} : std::byte{2});
    }
}

TEST(CPngEncoder, Finish_PaletteHasTheColorsOfThePictureOnly)
{
    const auto png = EncodeWhole(MakeSamples(40, false));
    // Behind the signature and the header: three bytes for each colour.
    constexpr std::size_t c_palette = 33;
    const std::vector<std::byte> length(png.begin() + c_palette, png.begin() + c_palette + 4);
    EXPECT_EQ(length, std::vector<std::byte>(
                          {std::byte{0}, std::byte{0}, std::byte{0}, std::byte{3 * 40}}));
    EXPECT_EQ(png.at(c_palette + 4), std::byte{'P'});
    EXPECT_EQ(png.at(c_palette + 7), std::byte{'E'});
}

TEST(CPngEncoder, Finish_WithoutRowsThrows)
{
    CPngEncoder encoder(c_width, c_height);
    EXPECT_THROW(static_cast<void>(encoder.Finish()), std::runtime_error);
}

TEST(CPngEncoder, Construct_SizeOfZeroThrows)
{
    EXPECT_THROW(CPngEncoder(0, 2), std::runtime_error);
    EXPECT_THROW(CPngEncoder(2, 0), std::runtime_error);
}

}  // namespace
