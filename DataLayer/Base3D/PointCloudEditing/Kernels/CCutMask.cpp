#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

namespace DataLayer
{

namespace
{

constexpr std::uint8_t c_painted = 1;

/// Up to here every integer is a float.
constexpr std::uint32_t c_maximumSize = 1U << 24;

/// As many as an index of 32 bits tells apart.
constexpr std::uint64_t c_maximumBytes = std::uint64_t{1} << 32;

constexpr std::uint64_t c_bitsPerWord = 32;
/// 2^31 pixels, so that a kernel may count bits in signed integers.
constexpr std::uint64_t c_maximumWords = (std::uint64_t{1} << 31) / c_bitsPerWord;

/// One bit for each of the \p count pixels, the lowest first.
std::uint32_t packPixels(const std::uint8_t* pixels, std::uint32_t count)
{
    std::uint32_t word = 0;
    for (std::uint32_t bit = 0; bit < count; ++bit)
    {
        word |= static_cast<std::uint32_t>(pixels[bit] == c_painted) << bit;
    }
    return word;
}

}  // namespace

Geometry::CBox3D BoundPaintedPixels(const Base::SRegionSelectionInfo& selection)
{
    const std::size_t width = selection.maskWidth;
    Geometry::CBox3D bounds;
    if (width == 0)
    {
        return bounds;
    }
    for (std::uint32_t row = 0; row < selection.maskHeight; ++row)
    {
        const std::uint8_t* const pixels = selection.maskData + row * width;
        const auto* const first =
            static_cast<const std::uint8_t*>(std::memchr(pixels, c_painted, width));
        if (first != nullptr)
        {
            const auto* const last =
                static_cast<const std::uint8_t*>(memrchr(pixels, c_painted, width));
            const float y = static_cast<float>(row);
            bounds.Extend(static_cast<float>(first - pixels), y, 1.0F);
            bounds.Extend(static_cast<float>(last - pixels), y, 1.0F);
        }
    }
    return bounds;
}

CCutMask::CCutMask(const Base::SRegionSelectionInfo& selection, const Geometry::CBox3D& bounds)
{
    m_mask.width = static_cast<float>(selection.maskWidth);
    m_mask.height = static_cast<float>(selection.maskHeight);
    m_mask.bytes = selection.maskData;
    m_mask.bytesPerRow = selection.maskWidth;
    // A size above 2^24 may have been rounded up as a float. No other float lies between the true
    // size and that one, so that no pixel leads outside the mask's bytes.
    m_mask.endOfColumns = EndOfPixels(m_mask.width);
    m_mask.endOfRows = EndOfPixels(m_mask.height);
    // The reference finds a pixel's byte by an index of 32 bits, so that in a mask of more bytes it
    // may be another row's; packed rows would not repeat that.
    if (selection.maskWidth <= c_maximumSize && selection.maskHeight <= c_maximumSize &&
        std::uint64_t{selection.maskWidth} * selection.maskHeight <= c_maximumBytes)
    {
        pack(bounds);
    }
}

void CCutMask::pack(const Geometry::CBox3D& bounds)
{
    if (bounds.IsEmpty() || bounds.max.x < 1.0F || bounds.max.y < 1.0F)
    {
        m_mask.isPacked = true;
        return;
    }
    m_mask.firstColumn = std::max(static_cast<std::uint32_t>(bounds.min.x), 1U);
    m_mask.endColumn = static_cast<std::uint32_t>(bounds.max.x) + 1;
    m_mask.firstRow = std::max(static_cast<std::uint32_t>(bounds.min.y), 1U);
    m_mask.endRow = static_cast<std::uint32_t>(bounds.max.y) + 1;
    m_mask.wordsPerRow = (m_mask.endColumn - m_mask.firstColumn + 31) / 32;
    const std::size_t numWords = std::size_t{m_mask.endRow - m_mask.firstRow} * m_mask.wordsPerRow;
    if (numWords > c_maximumWords)
    {
        return;
    }
    m_words.reserve(numWords);
    for (std::uint32_t row = m_mask.firstRow; row < m_mask.endRow; ++row)
    {
        const std::uint8_t* const pixels = m_mask.bytes + std::size_t{row} * m_mask.bytesPerRow;
        for (std::uint32_t column = m_mask.firstColumn; column < m_mask.endColumn; column += 32)
        {
            m_words.push_back(
                packPixels(pixels + column, std::min(m_mask.endColumn - column, 32U)));
        }
    }
    m_mask.words = m_words.data();
    m_mask.isPacked = true;
}

}  // namespace DataLayer
