#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Application/Pictures/SColor.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace Application
{

/// A picture of few colours: for each pixel, row after row from the top, which one of a palette it
/// has. A third of a CPicture, and its colours need not be looked for to write it to a file.
///
/// Not synchronised: concurrent readers are safe, writers of different rows too.
class CIndexedPicture
{
public:
    /// The most colours of a palette: a byte tells no more apart.
    static constexpr std::size_t c_maxColors = 256;

    /// A picture whose pixels have to be set before they are read. \p palette: at most c_maxColors
    /// colours, used or not.
    CIndexedPicture(std::uint32_t width, std::uint32_t height, std::vector<SColor> palette);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }
    [[nodiscard]] const std::vector<SColor>& GetPalette() const { return m_palette; }
    /// Of all pixels.
    [[nodiscard]] std::span<const std::uint8_t> GetIndices() const { return m_indices; }

    /// \p indices: as many as the picture is wide, all less than the number of colours.
    void SetRow(std::uint32_t row, std::span<const std::uint8_t> indices);

    /// The content of a PNG file; EncodePng() says what it throws.
    [[nodiscard]] std::vector<std::byte> ToPng() const;

private:
    std::uint32_t m_width;
    std::uint32_t m_height;
    std::vector<SColor> m_palette;
    std::vector<std::uint8_t, DataLayer::TUninitializedAllocator<std::uint8_t>> m_indices;
};

}  // namespace Application
