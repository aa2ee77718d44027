#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PaintedBands.h"
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

/// 2^31 pixels, so that a kernel may count bits in signed integers.
constexpr std::size_t c_maximumWords = (std::size_t{1} << 31) / c_pixelsPerWord;

/// Eight pixels at once, the first in the lowest byte, each a byte of the value.
constexpr std::uint64_t InEachOfEight(std::uint8_t pixel)
{
    return 0x0101010101010101U * pixel;
}

/// Bit k says whether pixel k of the eight is painted.
std::uint32_t PackEight(std::uint64_t pixels)
{
    // A byte that is 0 is the only one of which neither the sum nor the value has the high bit.
    const std::uint64_t others = pixels ^ InEachOfEight(c_painted);
    const std::uint64_t low = InEachOfEight(0x7F);
    const std::uint64_t painted = ~(((others & low) + low) | others | low);
    // Moves bit 8 k to bit 56 + k.
    constexpr std::uint64_t c_gather = 0x0102040810204080U;
    return static_cast<std::uint32_t>((painted >> 7) * c_gather >> 56);
}

/// One bit for each pixel of a word, the first in the lowest.
std::uint32_t PackWord(const std::uint8_t* pixels)
{
    std::uint64_t eights[c_pixelsPerWord / 8];
    std::memcpy(eights, pixels, sizeof eights);
    // Most words of a mask are all the one or all the other.
    const auto areAll = [&](std::uint8_t pixel) {
        const std::uint64_t each = InEachOfEight(pixel);
        return eights[0] == each && eights[1] == each && eights[2] == each && eights[3] == each;
    };
    if (areAll(0))
    {
        return 0;
    }
    if (areAll(c_painted))
    {
        return ~std::uint32_t{0};
    }
    return PackEight(eights[0]) | PackEight(eights[1]) << 8 | PackEight(eights[2]) << 16 |
           PackEight(eights[3]) << 24;
}

/// The same for the last pixels of a row, up to 32.
std::uint32_t PackLastWord(const std::uint8_t* pixels, std::uint32_t count)
{
    std::uint8_t word[c_pixelsPerWord] = {};
    std::memcpy(word, pixels, count);
    return PackWord(word);
}

/// Number \p rank of the floats in their order, 0 being number 0.
float FloatOfRank(std::int32_t rank)
{
    return std::copysign(std::bit_cast<float>(std::abs(rank)), static_cast<float>(rank));
}

/// The first device coordinate that lies on \p pixel or behind it in a view of \p size pixels. It
/// is found by halving, since each step of the projection keeps the order of two numbers.
float FirstDeviceOf(std::uint32_t pixel, float size)
{
    const auto wanted = static_cast<float>(pixel);
    auto found = std::bit_cast<std::int32_t>(std::numeric_limits<float>::infinity());
    std::int32_t before = -found;
    while (before + 1 != found)
    {
        const std::int32_t middle = std::midpoint(before, found);
        if (DeviceToPixelX(FloatOfRank(middle), size) < wanted)
        {
            before = middle;
        }
        else
        {
            found = middle;
        }
    }
    return FloatOfRank(found);
}

float LengthOf(const SDeviceRange& range)
{
    return range.end - range.first;
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
    const std::uint32_t numColumns = m_mask.endColumn - m_mask.firstColumn;
    m_mask.wordsPerRow = (numColumns + c_pixelsPerWord - 1) / c_pixelsPerWord;
    const std::size_t numWords = std::size_t{m_mask.endRow - m_mask.firstRow} * m_mask.wordsPerRow;
    if (numWords > c_maximumWords)
    {
        return;
    }
    m_words.reserve(numWords + 2 * c_wordsBeside);
    m_words.assign(c_wordsBeside, 0);
    for (std::uint32_t row = m_mask.firstRow; row < m_mask.endRow; ++row)
    {
        packRow(row);
    }
    m_words.insert(m_words.end(), c_wordsBeside, 0);
    m_mask.words = m_words.data() + c_wordsBeside;
    m_mask.isWhole = isWhole();
    m_mask.deviceColumns = {FirstDeviceOf(m_mask.firstColumn, m_mask.width),
                            FirstDeviceOf(m_mask.endColumn, m_mask.width)};
    m_mask.deviceRows = {FirstDeviceOf(m_mask.firstRow, m_mask.height),
                         FirstDeviceOf(m_mask.endRow, m_mask.height)};
    m_mask.isTall = LengthOf(m_mask.deviceColumns) < LengthOf(m_mask.deviceRows);
    if (!m_mask.isWhole)
    {
        m_mask.bands = FindPaintedBands(m_mask);
    }
    m_mask.isPacked = true;
}

void CCutMask::packRow(std::uint32_t row)
{
    const std::uint8_t* pixels =
        m_mask.bytes + std::size_t{row} * m_mask.bytesPerRow + m_mask.firstColumn;
    std::uint32_t numLeft = m_mask.endColumn - m_mask.firstColumn;
    for (; numLeft > c_pixelsPerWord; numLeft -= c_pixelsPerWord)
    {
        m_words.push_back(PackWord(pixels));
        pixels += c_pixelsPerWord;
    }
    m_words.push_back(PackLastWord(pixels, numLeft));
}

bool CCutMask::isWhole() const
{
    constexpr std::uint32_t c_all = ~std::uint32_t{0};
    const auto isAll = [](std::uint32_t pixels) { return pixels == c_all; };
    const std::uint32_t numColumns = m_mask.endColumn - m_mask.firstColumn;
    const std::uint32_t lastOfRow = c_all >> (m_mask.wordsPerRow * c_pixelsPerWord - numColumns);
    const std::uint32_t* words = m_mask.words;
    for (std::uint32_t row = m_mask.firstRow; row < m_mask.endRow; ++row)
    {
        const std::uint32_t* const last = words + m_mask.wordsPerRow - 1;
        if (*last != lastOfRow || !std::all_of(words, last, isAll))
        {
            return false;
        }
        words = last + 1;
    }
    return true;
}

}  // namespace DataLayer
