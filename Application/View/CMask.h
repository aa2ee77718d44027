#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

namespace Application
{

/// The painted pixels of a view: one byte per pixel, 1 where it is painted and 0 elsewhere, row
/// after row from the top.
///
///     CMask mask = CMask::ReadPng("painted.png", view.GetWidth(), view.GetHeight());
///     CMaskShapes(mask).AddRectangle({10, 10, 99, 49});
///
/// Not synchronised: concurrent readers are safe, a writer needs the mask for itself.
class CMask
{
public:
    /// A mask without any painted pixel.
    /// @throw CInputError, with "mask" in place of the file, when a side is 0 or above
    /// c_maxViewSide.
    CMask(std::uint32_t width, std::uint32_t height);

    /// Reads a mask that was painted as a PNG picture of any colour type and bit depth. Where the
    /// picture has transparency (an alpha channel or transparent colours), a pixel is painted that
    /// is not fully transparent, whatever its colour; else a pixel is painted that is not black.
    /// @throw CInputError when \p file cannot be read, is damaged, or does not have \p width x
    /// \p height pixels; the size is tested before memory is reserved for the pixels.
    [[nodiscard]] static CMask ReadPng(const std::filesystem::path& file, std::uint32_t width,
                                       std::uint32_t height);

    /// ReadPng() of \p png, the content of a file; \p name stands for the file in errors.
    [[nodiscard]] static CMask FromPng(std::string_view png, const std::filesystem::path& name,
                                       std::uint32_t width, std::uint32_t height);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }
    /// width x height bytes, each 0 or 1.
    [[nodiscard]] const std::vector<std::uint8_t>& GetBytes() const& { return m_bytes; }
    [[nodiscard]] std::vector<std::uint8_t> GetBytes() && { return std::move(m_bytes); }

    /// \p column must be less than the width and \p row less than the height.
    [[nodiscard]] bool IsPainted(std::uint32_t column, std::uint32_t row) const
    {
        return m_bytes[std::size_t{row} * m_width + column] != 0;
    }

    /// Whether any pixel is painted that cuts, which those of row 0 and column 0 never do.
    [[nodiscard]] bool CanCut() const;

    /// Paints the pixels of \p row from \p firstColumn up to, but without, \p endColumn, which is
    /// at most the width.
    void PaintSpan(std::uint32_t row, std::uint32_t firstColumn, std::uint32_t endColumn);

    friend bool operator==(const CMask&, const CMask&) = default;

private:
    std::uint32_t m_width;
    std::uint32_t m_height;
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace Application
