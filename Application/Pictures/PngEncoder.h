#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Application
{

/// The samples of a pixel, 8 bits each.
enum class PngColor
{
    Grey = 1,  ///< one sample
    Rgb = 3,   ///< red, green, blue
};

/// The content of a PNG file with the given pixels, row after row from the top; \p samples holds
/// exactly width x height pixels. Up to 256 colours are written as a palette. The same pixels give
/// the same bytes with the same zlib.
/// @throw std::runtime_error when the encoder fails, for instance for want of memory.
[[nodiscard]] std::vector<std::byte> EncodePng(std::uint32_t width, std::uint32_t height,
                                               PngColor color,
                                               std::span<const std::uint8_t> samples);

}  // namespace Application
