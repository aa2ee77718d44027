#include "DataLayer/Base3D/PointCloudEditing/Kernels/PaintedBands.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"

namespace DataLayer
{

namespace
{

constexpr float c_infinity = std::numeric_limits<float>::infinity();

/// A little less than all, since rounding may carry the rectangle's end into the band behind it.
constexpr float c_bandsOfRectangle = static_cast<float>(c_numBands) - 0x1p-8F;

/// How far the first device coordinate of a pixel may be from what its number says. That takes
/// three roundings here and two in the projection, each by at most 2^-24 of a number up to 2, and
/// ends at a device coordinate, which are 2^-24 apart or less: altogether less than 2^-20.
constexpr float c_deviceError = 0x1p-20F;

/// With so many bands of which gaps leave all paint open, bands take more time than they save.
constexpr std::ptrdiff_t c_mostBandsWithGaps = c_numBands / 2;

/// The painted pixels of a row, counted from the rectangle's first column: none before the first
/// and none from the end on; both 0 when there are none at all.
struct SSpan
{
    std::uint32_t first = 0;
    std::uint32_t end = 0;
    /// Whether all in between are painted.
    bool isOneStretch = false;
};

SSpan FindSpan(const std::uint32_t* words, std::uint32_t numWords)
{
    SSpan span;
    bool isPainted = false;
    for (std::uint32_t index = 0; index < numWords; ++index)
    {
        const std::uint32_t word = words[index];
        const std::uint32_t before = word << 1 | static_cast<std::uint32_t>(isPainted);
        for (std::uint32_t changes = word ^ before; changes != 0; changes &= changes - 1)
        {
            const std::uint32_t column =
                c_pixelsPerWord * index + static_cast<std::uint32_t>(std::countr_zero(changes));
            if (isPainted)
            {
                span.end = column;
            }
            else if (span.end != 0)
            {
                return {span.first, c_pixelsPerWord * numWords, false};
            }
            else
            {
                span.first = column;
            }
            isPainted = !isPainted;
        }
    }
    if (isPainted)
    {
        span.end = c_pixelsPerWord * numWords;
    }
    span.isOneStretch = span.end != 0;
    return span;
}

/// The device coordinate at which a pixel of a view of \p size pixels begins, but for an error.
float DeviceOf(std::uint32_t pixel, float size)
{
    return 2.0F * static_cast<float>(pixel) / size - 1.0F;
}

/// The slope, in device coordinates, of the line from \p first to \p last, in pixels.
float SlopeOf(const SCutMask& mask, std::uint32_t first, std::uint32_t last, std::uint32_t numRows)
{
    const float numColumns = static_cast<float>(last) - static_cast<float>(first);
    return numColumns / static_cast<float>(numRows) * (mask.height / mask.width);
}

/// Makes the bounds of all bands those of no row.
void Clear(SPaintedEdge& edge)
{
    std::fill(std::begin(edge.outer), std::end(edge.outer), c_infinity);
    std::fill(std::begin(edge.inner), std::end(edge.inner), -c_infinity);
}

/// Makes the bounds of a band hold for a row, whose pixels are known to be painted not before
/// \p outer, and surely behind \p inner. Each distance is a rounded number that grows, or falls,
/// with each of its terms: it is smallest and largest at the row's ends.
void Bound(SPaintedEdge& edge, std::uint32_t band, const SDeviceRange& row, float outer,
           float inner)
{
    for (const float y : {row.first, row.end})
    {
        edge.outer[band] = std::min(edge.outer[band], std::fma(edge.slopes[band], y, outer));
        edge.inner[band] = std::max(edge.inner[band], std::fma(edge.slopes[band], y, inner));
    }
}

std::int32_t BandOf(const SPaintedBands& bands, float y)
{
    return static_cast<std::int32_t>(std::fma(y, bands.bandsPerDevice, bands.bandOfZero));
}

}  // namespace

SPaintedBands FindPaintedBands(const SCutMask& mask)
{
    SPaintedBands bands = {};
    bands.bandsPerDevice = c_bandsOfRectangle / (mask.deviceRows.end - mask.deviceRows.first);
    bands.bandOfZero = -bands.bandsPerDevice * mask.deviceRows.first;
    Clear(bands.left);
    Clear(bands.right);

    const std::uint32_t numRows = mask.endRow - mask.firstRow;
    std::vector<SSpan> spans(numRows);
    for (std::uint32_t row = 0; row < numRows; ++row)
    {
        const std::uint32_t* const words = mask.words + std::size_t{row} * mask.wordsPerRow;
        spans[row] = FindSpan(words, mask.wordsPerRow);
    }
    for (std::uint32_t band = 0; band < c_numBands; ++band)
    {
        const std::uint32_t first = band * (numRows - 1) / c_numBands;
        const std::uint32_t last = (band + 1) * (numRows - 1) / c_numBands;
        const std::uint32_t distance = std::max(last - first, 1U);
        bands.left.slopes[band] = SlopeOf(mask, spans[last].first, spans[first].first, distance);
        bands.right.slopes[band] = SlopeOf(mask, spans[first].end, spans[last].end, distance);
    }
    for (std::uint32_t row = 0; row < numRows; ++row)
    {
        const SSpan& span = spans[row];
        const float first = DeviceOf(mask.firstColumn + span.first, mask.width);
        const float end = DeviceOf(mask.firstColumn + span.end, mask.width);
        const SDeviceRange rows = {DeviceOf(mask.firstRow + row, mask.height) - c_deviceError,
                                   DeviceOf(mask.firstRow + row + 1, mask.height) + c_deviceError};
        for (std::int32_t index = BandOf(bands, rows.first); index <= BandOf(bands, rows.end);
             ++index)
        {
            const std::uint32_t band = static_cast<std::uint32_t>(index) % c_numBands;
            if (span.end != 0)
            {
                Bound(bands.left, band, rows, first - c_deviceError, first + c_deviceError);
                Bound(bands.right, band, rows, -end - c_deviceError, -end + c_deviceError);
            }
            if (!span.isOneStretch)
            {
                bands.left.inner[band] = c_infinity;
            }
        }
    }
    bands.doPay = std::count(std::begin(bands.left.inner), std::end(bands.left.inner), c_infinity) <
                  c_mostBandsWithGaps;
    return bands;
}

}  // namespace DataLayer
