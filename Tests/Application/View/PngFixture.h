#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ViewTests
{

/// A PNG picture to be written with the PNG library, of any kind the format knows.
struct SPng
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int bitDepth = 8;
    /// A PNG_COLOR_TYPE_ constant.
    int colorType = 0;
    bool isInterlaced = false;
    /// Palette entries as red, green, blue.
    std::vector<std::uint8_t> palette{};
    /// The alpha of the first palette entries.
    std::vector<std::uint8_t> paletteAlpha{};
    /// The transparent colour of a picture without palette: one grey or three colour samples.
    std::vector<std::uint16_t> transparentColor{};
    /// The samples of every pixel, row after row.
    std::vector<std::uint16_t> samples{};
};

/// The content of the PNG file.
[[nodiscard]] std::string WritePng(const SPng& picture);

}  // namespace ViewTests
