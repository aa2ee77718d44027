#include "Application/Pictures/PngEncoding.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <zlib.h>

#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Application/View/CPngDecoder.h"

namespace
{

using Application::CIndexedPicture;
using Application::CPicture;
using Application::CPngDecoder;
using Application::EncodePng;
using Application::SColor;

constexpr std::size_t c_colorTypeByte = 25;
constexpr std::byte c_palette{3};
constexpr std::byte c_colors{2};

SColor MakeColor(std::uint32_t number)
{
    return {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number / 256),
            static_cast<std::uint8_t>(3 + number / 65536)};
}

/// Of so many colours, of which the first ones are in their order.
CPicture MakePicture(std::uint32_t width, std::uint32_t height, std::uint32_t numColors)
{
    std::mt19937 random(numColors);
    CPicture picture(width, height);
    for (std::uint32_t pixel = 0; pixel < width * height; ++pixel)
    {
        const auto number =
            static_cast<std::uint32_t>(pixel < numColors ? pixel : random() % numColors);
        picture.SetPixel(pixel % width, pixel / width, MakeColor(number));
    }
    return picture;
}

CPicture::Pixels Decode(const std::vector<std::byte>& png)
{
    CPngDecoder decoder(std::string_view(reinterpret_cast<const char*>(png.data()), png.size()),
                        "x");
    const std::vector<std::uint8_t> samples = decoder.Decode();
    CPicture::Pixels pixels;
    for (std::size_t sample = 0; sample < samples.size(); sample += 3)
    {
        pixels.push_back({samples[sample], samples[sample + 1], samples[sample + 2]});
    }
    return pixels;
}

/// The colours of a palette, in its order.
std::vector<SColor> ReadPalette(const std::vector<std::byte>& png)
{
    // Behind the signature and the header: a length, a name, and three bytes for each colour.
    constexpr std::size_t c_chunk = 33;
    std::vector<SColor> palette;
    const auto byteAt = [&](std::size_t place) { return static_cast<std::uint8_t>(png.at(place)); };
    const std::size_t length = std::size_t{byteAt(c_chunk + 2)} * 256 + byteAt(c_chunk + 3);
    for (std::size_t place = c_chunk + 8; place < c_chunk + 8 + length; place += 3)
    {
        palette.push_back({byteAt(place), byteAt(place + 1), byteAt(place + 2)});
    }
    return palette;
}

TEST(EncodePng, ReadsBackAsItWas)
{
    // Of one band, of several, the last of which is smaller or not, and of few rows each.
    for (const auto& [width, height] :
         {std::pair{1U, 1U}, {60U, 45U}, {500U, 700U}, {1024U, 256U}, {16384U, 20U}})
    {
        for (const std::uint32_t numColors : {1U, 250U, 256U, 257U, 1U << 24U})
        {
            const CPicture picture = MakePicture(width, height, numColors);
            const auto png = EncodePng(picture);
            EXPECT_EQ(Decode(png), picture.GetPixels()) << width << ' ' << numColors;
            EXPECT_EQ(png.at(c_colorTypeByte),
                      numColors <= 256 || width * height <= 256 ? c_palette : c_colors);
        }
    }
}

TEST(EncodePng, PaletteHasTheColorsOfThePictureAsTheyOccur)
{
    const CPicture picture = MakePicture(500, 700, 40);
    std::vector<SColor> expected;
    for (std::uint32_t number = 0; number < 40; ++number)
    {
        expected.push_back(MakeColor(number));
    }
    EXPECT_EQ(ReadPalette(EncodePng(picture)), expected);
}

TEST(EncodePng, BandsShareAPalette)
{
    // Each pixel of the last row, far from the first, has another colour.
    constexpr std::uint32_t c_lastRow = 1999;
    for (const std::uint32_t numColors : {256U, 257U})
    {
        CPicture picture(256, c_lastRow + 1);
        for (std::uint32_t number = 1; number < numColors; ++number)
        {
            picture.SetPixel(number - 1, c_lastRow, MakeColor(numColors - number));
        }
        const auto png = EncodePng(picture);
        EXPECT_EQ(Decode(png), picture.GetPixels());
        EXPECT_EQ(png.at(c_colorTypeByte), numColors == 256 ? c_palette : c_colors);
        if (numColors == 256)
        {
            const std::vector<SColor> palette = ReadPalette(png);
            ASSERT_EQ(palette.size(), 256U);
            EXPECT_EQ(palette[0], SColor());
            EXPECT_EQ(palette[1], MakeColor(255));
            EXPECT_EQ(palette[255], MakeColor(1));
        }
    }
}

/// With all 256 colours in the palette, of which the picture has so many.
CIndexedPicture MakeIndexedPicture(std::uint32_t width, std::uint32_t height,
                                   std::uint32_t numColors)
{
    std::vector<SColor> palette;
    for (std::uint32_t number = 0; number < CIndexedPicture::c_maxColors; ++number)
    {
        palette.push_back(MakeColor(7 * number));
    }
    std::mt19937 random(width);
    CIndexedPicture picture(width, height, palette);
    std::vector<std::uint8_t> indices(width);
    for (std::uint32_t row = 0; row < height; ++row)
    {
        for (std::uint8_t& index : indices)
        {
            index = static_cast<std::uint8_t>(random() % numColors);
        }
        picture.SetRow(row, indices);
    }
    return picture;
}

TEST(EncodePng, IndexedPictureReadsBackAsItWas)
{
    for (const auto& [width, height] :
         {std::pair{1U, 1U}, {60U, 45U}, {500U, 700U}, {1024U, 256U}, {16384U, 20U}})
    {
        for (const std::uint32_t numColors : {1U, 2U, 256U})
        {
            const CIndexedPicture picture = MakeIndexedPicture(width, height, numColors);
            CPicture::Pixels expected;
            for (const std::uint8_t index : picture.GetIndices())
            {
                expected.push_back(picture.GetPalette()[index]);
            }
            const auto png = EncodePng(picture);
            EXPECT_EQ(Decode(png), expected) << width << ' ' << numColors;
            EXPECT_EQ(ReadPalette(png), picture.GetPalette());
        }
    }
}

TEST(EncodePng, IndexedPictureIsTheSameOnAnyNumberOfThreads)
{
    const CIndexedPicture picture = MakeIndexedPicture(700, 900, 100);
    const auto expected = EncodePng(picture);
    for (const std::size_t numThreads : {1U, 2U, 7U})
    {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        EXPECT_EQ(EncodePng(picture), expected);
    }
}

TEST(EncodePng, PaletteThatNoFileHasThrows)
{
    for (const std::size_t numColors : {0U, 257U})
    {
        EXPECT_THROW(
            static_cast<void>(EncodePng(CIndexedPicture(4, 3, std::vector<SColor>(numColors)))),
            std::runtime_error);
    }
}

struct SChunk
{
    std::string name;
    std::vector<Bytef> content;
};

std::vector<SChunk> ReadChunks(const std::vector<std::byte>& png)
{
    constexpr std::size_t c_signature = 8;
    constexpr std::size_t c_checksum = 4;
    std::vector<SChunk> chunks;
    for (std::size_t place = c_signature; place < png.size(); place += c_checksum)
    {
        std::size_t length = 0;
        for (const std::size_t end = place + 4; place < end; ++place)
        {
            length = length * 256 + static_cast<std::uint8_t>(png.at(place));
        }
        SChunk& chunk = chunks.emplace_back();
        for (const std::size_t end = place + 4; place < end; ++place)
        {
            chunk.name += static_cast<char>(png.at(place));
        }
        for (const std::size_t end = place + length; place < end; ++place)
        {
            chunk.content.push_back(static_cast<Bytef>(png.at(place)));
        }
    }
    return chunks;
}

TEST(EncodePng, ChunksAreSmall)
{
    // Readers doubt a chunk that is larger than its picture, which noise makes of all of it.
    const auto chunks = ReadChunks(EncodePng(MakePicture(16384, 200, 1U << 24U)));
    EXPECT_GT(chunks.size(), 10U);
    for (const SChunk& chunk : chunks)
    {
        EXPECT_LT(chunk.content.size(), 1000000U);
    }
}

TEST(EncodePng, ChunksMakeUpOneStreamWithItsChecksum)
{
    // Not all readers look at it.
    for (const auto& png :
         {EncodePng(MakePicture(500, 700, 40)), EncodePng(MakePicture(500, 700, 5000)),
          EncodePng(MakeIndexedPicture(500, 700, 200))})
    {
        std::vector<Bytef> stream;
        for (const SChunk& chunk : ReadChunks(png))
        {
            if (chunk.name == "IDAT")
            {
                stream.insert(stream.end(), chunk.content.begin(), chunk.content.end());
            }
        }
        uLong size = 2000000;
        std::vector<Bytef> rows(size);
        EXPECT_EQ(uncompress(rows.data(), &size, stream.data(), stream.size()), Z_OK);
        EXPECT_EQ(size, 700U * (1 + 500 * (png.at(c_colorTypeByte) == c_palette ? 1 : 3)));
    }
}

TEST(EncodePng, AnyNumberOfThreadsGivesTheSameBytes)
{
    for (const std::uint32_t numColors : {200U, 5000U})
    {
        const CPicture picture = MakePicture(700, 900, numColors);
        const auto expected = EncodePng(picture);
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, 1);
        EXPECT_EQ(EncodePng(picture), expected);
    }
}

TEST(EncodePng, SizeThatNoPictureHasThrows)
{
    EXPECT_THROW(static_cast<void>(EncodePng(CPicture(0, 2))), std::runtime_error);
    EXPECT_THROW(static_cast<void>(EncodePng(CPicture(2, 0))), std::runtime_error);
    // Wider than libpng allows.
    EXPECT_THROW(static_cast<void>(EncodePng(CPicture(1000001, 1))), std::runtime_error);
    EXPECT_THROW(static_cast<void>(EncodePng(CIndexedPicture(0, 2, {{}}))), std::runtime_error);
    EXPECT_THROW(static_cast<void>(EncodePng(CIndexedPicture(2, 0, {{}}))), std::runtime_error);
    EXPECT_THROW(static_cast<void>(EncodePng(MakeIndexedPicture(1000001, 1, 2))),
                 std::runtime_error);
}

}  // namespace
