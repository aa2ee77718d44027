#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Application/Pictures/SColor.h"

namespace Application
{

/// A picture of red, green and blue samples, row after row from the top.
///
/// Not synchronised: concurrent readers are safe, writers of different pixels too.
class CPicture
{
public:
    /// A picture of one colour.
    CPicture(std::uint32_t width, std::uint32_t height, SColor fill = {});

    /// Both pictures, top edges aligned, with a narrow white gap between them.
    [[nodiscard]] static CPicture SideBySide(const CPicture& left, const CPicture& right);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }
    /// width x height x 3 samples.
    [[nodiscard]] const std::vector<std::uint8_t>& GetSamples() const { return m_samples; }

    /// \p column must be less than the width and \p row less than the height.
    [[nodiscard]] SColor GetPixel(std::uint32_t column, std::uint32_t row) const;
    /// \p colors: as many as the picture is wide.
    void SetRow(std::uint32_t row, std::span<const SColor> colors);
    void SetPixel(std::uint32_t column, std::uint32_t row, SColor color);

    /// The content of a PNG file, as CPngEncoder writes it.
    /// @throw std::runtime_error when the encoder fails, for instance for want of memory.
    [[nodiscard]] std::vector<std::byte> ToPng() const;

    friend bool operator==(const CPicture&, const CPicture&) = default;

private:
    [[nodiscard]] std::size_t indexOf(std::uint32_t column, std::uint32_t row) const
    {
        return (std::size_t{row} * m_width + column) * 3;
    }

    /// Copies \p picture so that its upper left corner comes to \p column in the first row.
    void insert(const CPicture& picture, std::uint32_t column);

    std::uint32_t m_width;
    std::uint32_t m_height;
    std::vector<std::uint8_t> m_samples;
};

}  // namespace Application
