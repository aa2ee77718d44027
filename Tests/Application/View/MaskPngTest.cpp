#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "Application/Files/CInputError.h"
#include "Application/View/CMask.h"
#include "Tests/Application/View/PngFixture.h"

namespace
{

using Application::CInputError;
using Application::CMask;
using ViewTests::SPng;
using ViewTests::WritePng;
using Bytes = std::vector<std::uint8_t>;

Bytes ReadMask(const SPng& picture)
{
    return CMask::FromPng(WritePng(picture), "mask.png", picture.width, picture.height).GetBytes();
}

void ExpectDamaged(const std::string& png, const std::string& message)
{
    try
    {
        static_cast<void>(CMask::FromPng(png, "dir/mask.png", 4, 1));
        FAIL() << "expected: " << message;
    }
    catch (const CInputError& error)
    {
        EXPECT_THAT(error.what(), testing::StartsWith("dir/mask.png: "));
        EXPECT_THAT(error.what(), testing::HasSubstr(message));
    }
}

SPng MakeGrey()
{
    return {.width = 4, .height = 1, .colorType = PNG_COLOR_TYPE_GRAY, .samples = {0, 1, 128, 255}};
}

TEST(MaskPng, FromPng_GreyOfEveryDepthPaintsWhatIsNotBlack)
{
    for (const int bitDepth : {1, 2, 4, 8, 16})
    {
        const auto most = static_cast<std::uint16_t>((1U << bitDepth) - 1U);
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.samples = {0, 1, most, 0};
        EXPECT_EQ(ReadMask(picture), (Bytes{0, 1, 1, 0})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_FaintestSixteenBitGreyOfEitherByteIsPainted)
{
    SPng picture = MakeGrey();
    picture.bitDepth = 16;
    picture.samples = {0, 0x0001, 0x0100, 0};
    EXPECT_EQ(ReadMask(picture), (Bytes{0, 1, 1, 0}));
}

TEST(MaskPng, FromPng_GreyWithTransparentGreyPaintsWhatIsNotTransparent)
{
    for (const int bitDepth : {1, 2, 4, 8, 16})
    {
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.transparentColor = {1};
        picture.samples = {0, 1, 0, 1};
        EXPECT_EQ(ReadMask(picture), (Bytes{1, 0, 1, 0})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_GreyAlphaPaintsWhatIsNotTransparent)
{
    for (const int bitDepth : {8, 16})
    {
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.colorType = PNG_COLOR_TYPE_GRAY_ALPHA;
        picture.samples = {0, 0, 200, 0, 0, 1, 200, 255};
        EXPECT_EQ(ReadMask(picture), (Bytes{0, 0, 1, 1})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_RgbPaintsWhatIsNotBlack)
{
    for (const int bitDepth : {8, 16})
    {
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.colorType = PNG_COLOR_TYPE_RGB;
        picture.samples = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
        EXPECT_EQ(ReadMask(picture), (Bytes{0, 1, 1, 1})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_RgbWithTransparentColorPaintsEverythingElse)
{
    for (const int bitDepth : {8, 16})
    {
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.colorType = PNG_COLOR_TYPE_RGB;
        picture.transparentColor = {9, 8, 7};
        picture.samples = {0, 0, 0, 9, 8, 7, 9, 8, 6, 255, 255, 255};
        EXPECT_EQ(ReadMask(picture), (Bytes{1, 0, 1, 1})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_RgbaPaintsWhatIsNotTransparentWhateverItsColor)
{
    for (const int bitDepth : {8, 16})
    {
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.colorType = PNG_COLOR_TYPE_RGB_ALPHA;
        picture.samples = {0, 0, 0, 0, 255, 255, 255, 0, 0, 0, 0, 1, 1, 2, 3, 255};
        EXPECT_EQ(ReadMask(picture), (Bytes{0, 0, 1, 1})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_PaletteOfEveryDepthPaintsEntriesThatAreNotBlack)
{
    for (const int bitDepth : {1, 2, 4, 8})
    {
        SPng picture = MakeGrey();
        picture.bitDepth = bitDepth;
        picture.colorType = PNG_COLOR_TYPE_PALETTE;
        // Index 0 is red and index 1 black: the color counts, not the index.
        picture.palette = {255, 0, 0, 0, 0, 0};
        picture.samples = {0, 1, 1, 0};
        EXPECT_EQ(ReadMask(picture), (Bytes{1, 0, 0, 1})) << bitDepth;
    }
}

TEST(MaskPng, FromPng_PaletteWithAlphaPaintsEntriesThatAreNotTransparent)
{
    SPng picture = MakeGrey();
    picture.colorType = PNG_COLOR_TYPE_PALETTE;
    picture.palette = {0, 0, 0, 255, 0, 0, 0, 0, 0, 9, 9, 9};
    picture.paletteAlpha = {255, 0, 1};
    picture.samples = {0, 1, 2, 3};
    EXPECT_EQ(ReadMask(picture), (Bytes{1, 0, 1, 1}));
}

TEST(MaskPng, FromPng_InterlacedPictureIsReadInOrder)
{
    SPng picture{.width = 13,
                 .height = 11,
                 .bitDepth = 1,
                 .colorType = PNG_COLOR_TYPE_GRAY,
                 .isInterlaced = true};
    Bytes expected;
    for (unsigned index = 0; index < 13 * 11; ++index)
    {
        const bool isPainted = index * index % 7 < 3;
        picture.samples.push_back(isPainted ? 1 : 0);
        expected.push_back(isPainted ? 1 : 0);
    }
    EXPECT_EQ(ReadMask(picture), expected);
}

TEST(MaskPng, FromPng_OtherSizeThrowsWithBothSizes)
{
    SPng picture = MakeGrey();
    picture.width = 2;
    picture.height = 2;
    ExpectDamaged(WritePng(picture),
                  "expected a mask of 4 x 1 pixels as the view has, found 2 x 2 pixels");
}

TEST(MaskPng, FromPng_SwappedSizeThrows)
{
    SPng picture = MakeGrey();
    picture.width = 1;
    picture.height = 4;
    ExpectDamaged(WritePng(picture), "found 1 x 4 pixels");
}

TEST(MaskPng, FromPng_OtherContentThrows)
{
    ExpectDamaged("", "expected a PNG picture");
    ExpectDamaged("P5 4 1 255 abcd", "expected a PNG picture");
    ExpectDamaged("\x89PNG", "expected a PNG picture");
}

TEST(MaskPng, FromPng_EveryTruncationThrows)
{
    const std::string png = WritePng(MakeGrey());
    for (std::size_t length = 0; length < png.size(); ++length)
    {
        EXPECT_THROW(static_cast<void>(CMask::FromPng(png.substr(0, length), "x", 4, 1)),
                     CInputError)
            << length;
    }
}

TEST(MaskPng, FromPng_EveryDamagedByteOfHeaderOrPixelsThrows)
{
    const std::string png = WritePng(MakeGrey());
    const std::size_t end = png.find("IEND") - 4;
    for (std::size_t index = 0; index < end; ++index)
    {
        std::string damaged = png;
        damaged[index] = static_cast<char>(damaged[index] ^ 0x5A);
        EXPECT_THROW(static_cast<void>(CMask::FromPng(damaged, "x", 4, 1)), CInputError) << index;
    }
}

/// The checksum of a PNG chunk.
std::uint32_t ComputeCrc(const std::string& bytes)
{
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char byte : bytes)
    {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
        {
            crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xEDB88320U : crc >> 1U;
        }
    }
    return ~crc;
}

void PutBigEndian(std::string& bytes, std::size_t offset, std::uint32_t value)
{
    for (std::size_t index = 0; index < 4; ++index)
    {
        bytes[offset + index] = static_cast<char>(value >> (24U - 8U * index) & 0xFFU);
    }
}

TEST(MaskPng, FromPng_HeaderThatPromisesAHugePictureThrows)
{
    std::string png = WritePng(MakeGrey());
    PutBigEndian(png, 16, 0x7FFFFFFF);
    PutBigEndian(png, 20, 0x7FFFFFFF);
    PutBigEndian(png, 29, ComputeCrc(png.substr(12, 17)));
    ExpectDamaged(png, "damaged PNG picture");
}

TEST(MaskPng, ReadPng_ReadsAFile)
{
    const auto file = std::filesystem::path(testing::TempDir()) / "veko2_mask_test.png";
    std::ofstream(file, std::ios::binary) << WritePng(MakeGrey());
    EXPECT_EQ(CMask::ReadPng(file, 4, 1).GetBytes(), (Bytes{0, 1, 1, 1}));
    std::filesystem::remove(file);
}

TEST(MaskPng, ReadPng_MissingFileOrDirectoryThrows)
{
    EXPECT_THROW(static_cast<void>(CMask::ReadPng("/nonexistent/mask.png", 4, 1)), CInputError);
    EXPECT_THROW(static_cast<void>(CMask::ReadPng(testing::TempDir(), 4, 1)), CInputError);
}

}  // namespace
