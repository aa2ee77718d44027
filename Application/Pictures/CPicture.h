#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Application/Pictures/SColor.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace Application
{

/// A picture: its pixels row after row from the top.
///
/// Not synchronised: concurrent readers are safe, writers of different pixels too.
class CPicture
{
public:
    using Pixels = std::vector<SColor, DataLayer::TUninitializedAllocator<SColor>>;

    /// A picture of one colour.
    CPicture(std::uint32_t width, std::uint32_t height, SColor fill = {});

    /// A picture whose pixels have to be set before they are read.
    [[nodiscard]] static CPicture MakeUnset(std::uint32_t width, std::uint32_t height);

    /// Both pictures, top edges aligned, with a narrow white gap between them.
    [[nodiscard]] static CPicture SideBySide(const CPicture& left, const CPicture& right);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }
    [[nodiscard]] const Pixels& GetPixels() const { return m_pixels; }

    /// \p column must be less than the width and \p row less than the height.
    [[nodiscard]] SColor GetPixel(std::uint32_t column, std::uint32_t row) const
    {
        return m_pixels[indexOf(column, row)];
    }
    void SetPixel(std::uint32_t column, std::uint32_t row, SColor color)
    {
        m_pixels[indexOf(column, row)] = color;
    }
    /// \p pixels: as many as the picture is wide.
    void SetRow(std::uint32_t row, std::span<const SColor> pixels);

    /// The content of a PNG file; EncodePng() says what it throws.
    [[nodiscard]] std::vector<std::byte> ToPng() const;

    friend bool operator==(const CPicture&, const CPicture&) = default;

private:
    [[nodiscard]] std::size_t indexOf(std::uint32_t column, std::uint32_t row) const
    {
        return std::size_t{row} * m_width + column;
    }

    CPicture() = default;

    /// Copies \p picture so that its upper left corner comes to \p column in the first row.
    void insert(const CPicture& picture, std::uint32_t column);

    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    Pixels m_pixels;
};

}  // namespace Application
