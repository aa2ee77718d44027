#include "Tests/Application/View/PngFixture.h"

#include <png.h>

#include <stdexcept>

namespace ViewTests
{

namespace
{

void ThrowError(png_structp, png_const_charp text)
{
    throw std::logic_error(text);
}

void Append(png_structp png, png_bytep data, std::size_t count)
{
    static_cast<std::string*>(png_get_io_ptr(png))
        ->append(reinterpret_cast<const char*>(data), count);
}

/// The samples of a row, packed as the format stores them.
std::vector<png_byte> PackRow(const std::uint16_t* samples, std::size_t count, int bitDepth)
{
    std::vector<png_byte> row((count * static_cast<std::size_t>(bitDepth) + 7) / 8);
    for (std::size_t index = 0; index < count; ++index)
    {
        for (int bit = 0; bit < bitDepth; ++bit)
        {
            const std::size_t position = index * static_cast<std::size_t>(bitDepth) +
                                         static_cast<std::size_t>(bitDepth - 1 - bit);
            if ((samples[index] >> bit & 1) != 0)
            {
                row[position / 8] = static_cast<png_byte>(row[position / 8] | 0x80 >> position % 8);
            }
        }
    }
    return row;
}

}  // namespace

std::string WritePng(const SPng& picture)
{
    std::string bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, ThrowError, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &bytes, Append, nullptr);
    png_set_IHDR(png, info, picture.width, picture.height, picture.bitDepth, picture.colorType,
                 picture.isInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette;
    for (std::size_t index = 0; index + 2 < picture.palette.size(); index += 3)
    {
        palette.push_back(
            {picture.palette[index], picture.palette[index + 1], picture.palette[index + 2]});
    }
    if (!palette.empty())
    {
        png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
    }
    if (!picture.paletteAlpha.empty())
    {
        png_set_tRNS(png, info, picture.paletteAlpha.data(),
                     static_cast<int>(picture.paletteAlpha.size()), nullptr);
    }
    if (!picture.transparentColor.empty())
    {
        png_color_16 color{};
        color.gray = picture.transparentColor.front();
        color.red = picture.transparentColor.front();
        color.green = picture.transparentColor[picture.transparentColor.size() / 2];
        color.blue = picture.transparentColor.back();
        png_set_tRNS(png, info, nullptr, 0, &color);
    }
    png_write_info(png, info);
    const std::size_t rowSamples = std::size_t{picture.width} * png_get_channels(png, info);
    std::vector<std::vector<png_byte>> rows;
    std::vector<png_bytep> rowPointers;
    for (std::size_t row = 0; row < picture.height; ++row)
    {
        rows.push_back(
            PackRow(picture.samples.data() + row * rowSamples, rowSamples, picture.bitDepth));
    }
    for (auto& row : rows)
    {
        rowPointers.push_back(row.data());
    }
    png_write_image(png, rowPointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

}  // namespace ViewTests
