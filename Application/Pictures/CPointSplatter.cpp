#include "Application/Pictures/CPointSplatter.h"

#include "Application/Pictures/RowBands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Application
{

namespace
{

/// Discs around randomly strewn surfels that reach the sixth neighbour leave next to no gap.
constexpr int c_numNeighbors = 6;
/// In pixels.
constexpr std::uint32_t c_maxRadius = 18;
constexpr float c_singleRadius = 0.75F;
/// How much larger than the one in the middle of all a dot may be.
constexpr float c_maxRadiusPerMedian = 1.75F;
constexpr float c_radiusUnits = 4.0F;
/// The steepest surface, as the tangent of its angle to the picture, that is seen as one.
constexpr float c_maxSlope = 4.0F;
/// A plane through the neighbours reaches this far, in radii of the dot, and so many of them.
constexpr float c_planeReach = 3.0F;
constexpr int c_maxPlaneNeighbors = 40;
/// Where samples are dense, those at this distance tell of a plane nearly as much as all within it;
/// of twelve pairs of opposite ones this many must be there.
constexpr float c_maxDenseRadius = 2.0F;
constexpr float c_ringInside = 2.8F;
constexpr float c_ringOutside = 3.7F;
constexpr int c_minPairs = 6;
/// Of a plane's equations; below it the places lie on one line.
constexpr float c_minDeterminant = 1e-3F;
/// The steepest dot; steeper ones would be all rim.
constexpr float c_maxDotSlope = 2.0F;
/// By how much a dot recedes towards its rim, as a tangent: neighbouring dots then meet half way
/// instead of covering each other.
constexpr float c_rimSlope = 0.25F;

/// The largest radius to use, in the units of \p radii.
std::uint8_t findLargestRadius(const std::vector<std::uint8_t>& radii)
{
    std::array<std::uint64_t, 256> counts{};
    for (const std::uint8_t radius : radii)
    {
        ++counts[radius];
    }
    const std::uint64_t numSamples = radii.size() - counts[0];
    std::uint64_t numSmaller = 0;
    std::size_t median = 1;
    while (median < 255 && numSmaller + counts[median] <= numSamples / 2)
    {
        numSmaller += counts[median];
        ++median;
    }
    return static_cast<std::uint8_t>(
        std::min(255.0F, c_maxRadiusPerMedian * static_cast<float>(median)));
}

}  // namespace

CPointSplatter::CPointSplatter(const CPictureProjection& projection, std::uint32_t samplesPerSide)
    : m_projection(projection),
      m_singleRadius(c_singleRadius * static_cast<float>(samplesPerSide)),
      m_reach(c_maxRadius * samplesPerSide)
{
    const auto reach = static_cast<std::int32_t>(m_reach);
    for (std::int32_t y = -reach; y <= reach; ++y)
    {
        for (std::int32_t x = -reach; x <= reach; ++x)
        {
            const std::int32_t squared = x * x + y * y;
            if (squared > 0 && squared <= reach * reach)
            {
                m_offsets.push_back({x, y, std::sqrt(static_cast<float>(squared))});
            }
        }
    }
    std::stable_sort(m_offsets.begin(), m_offsets.end(),
                     [](const SOffset& a, const SOffset& b) { return a.distance < b.distance; });
    for (const SOffset& offset : m_offsets)
    {
        if (offset.distance >= c_ringInside && offset.distance <= c_ringOutside &&
            (offset.y > 0 || (offset.y == 0 && offset.x > 0)))
        {
            m_ring.push_back(offset);
        }
    }
}

void CPointSplatter::Splat(const CDepthBuffer& points, const SRadii& radii,
                           CDepthBuffer& target) const
{
    target.Clear();
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        forEachGroup(points, row, [&](std::uint32_t begin, std::uint32_t end) {
            SDots dots;
            Lanes ownRadii{};
            bool hasNormals = true;
            for (std::uint32_t lane = 0; lane < end - begin; ++lane)
            {
                const std::size_t index = points.IndexOf(begin + lane, row);
                const std::uint64_t word = points.Get(index);
                const CDepthBuffer::SNormal normal = CDepthBuffer::NormalOf(word);
                dots.words[lane] = word;
                dots.normalX[lane] = normal.x;
                dots.normalY[lane] = normal.y;
                dots.normalZ[lane] = normal.z;
                ownRadii[lane] = static_cast<float>(std::min(radii.radii[index], radii.largest));
                hasNormals = hasNormals && (word == CDepthBuffer::c_empty || normal.isPresent);
            }
            dots.radii = ownRadii / FillLanes(c_radiusUnits);
            if (!hasNormals)
            {
                fitNormals(radii.depths, begin, row, dots);
            }
            for (std::uint32_t lane = 0; lane < end - begin; ++lane)
            {
                if (dots.words[lane] != CDepthBuffer::c_empty)
                {
                    drawDot(radii.depths, begin + lane, row, dots.words[lane],
                            {dots.radii[lane], dots.normalX[lane], dots.normalY[lane],
                             dots.normalZ[lane]},
                            target);
                }
            }
        });
    });
}

CPointSplatter::SRadii CPointSplatter::FindRadii(const CDepthBuffer& points) const
{
    CDepthPlane plane(points, m_reach);
    std::vector<std::uint8_t> radii(std::size_t{points.GetWidth()} * points.GetHeight());
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        forEachGroup(points, row, [&](std::uint32_t begin, std::uint32_t end) {
            const Lanes found = findRadii(plane, begin, row);
            for (std::uint32_t column = begin; column < end; ++column)
            {
                const std::size_t index = points.IndexOf(column, row);
                if (points.Get(index) != CDepthBuffer::c_empty)
                {
                    radii[index] = static_cast<std::uint8_t>(found[column - begin] * c_radiusUnits);
                }
            }
        });
    });
    const std::uint8_t largest = findLargestRadius(radii);
    return {std::move(radii), largest, std::move(plane)};
}

/// Calls \p visit(begin, end) for the groups of a row's columns, as many as there are lanes or
/// fewer at its end, that have a sample.
template <typename Visit>
void CPointSplatter::forEachGroup(const CDepthBuffer& points, std::uint32_t row, const Visit& visit)
{
    for (std::uint32_t begin = 0; begin < points.GetWidth(); begin += c_numLanes)
    {
        const std::uint32_t end = std::min(begin + c_numLanes, points.GetWidth());
        bool hasSample = false;
        for (std::uint32_t column = begin; column < end; ++column)
        {
            hasSample =
                hasSample || points.Get(points.IndexOf(column, row)) != CDepthBuffer::c_empty;
        }
        if (hasSample)
        {
            visit(begin, end);
        }
    }
}

template <typename Visit>
void CPointSplatter::visitSurfaces(const CDepthPlane& plane, std::uint32_t column,
                                   std::uint32_t row, const Visit& visit) const
{
    const float* const centre = plane.At(column, row);
    const Lanes depths = LoadLanes(centre);
    const Lanes tolerances = FillLanes(c_maxSlope) * m_projection.GetSampleSizes(depths);
    for (const SOffset& offset : m_offsets)
    {
        const Lanes others = LoadLanes(centre + plane.OffsetOf(offset.x, offset.y));
        const Lanes differences = others - depths;
        const Lanes distances = differences < Lanes() ? -differences : differences;
        const LaneMask isNear = distances <= tolerances * FillLanes(offset.distance);
        if (!visit(offset, others, isNear))
        {
            return;
        }
    }
}

Lanes CPointSplatter::findRadii(const CDepthPlane& plane, std::uint32_t column,
                                std::uint32_t row) const
{
    const Lanes depths = LoadLanes(plane.At(column, row));
    LaneMask isSearched = depths == depths;
    LaneMask numLeft = LaneMask{} + c_numNeighbors;
    Lanes radii = FillLanes(m_singleRadius);
    visitSurfaces(plane, column, row, [&](const SOffset& offset, Lanes, LaneMask isNear) {
        // True is -1.
        numLeft += isNear & isSearched;
        const LaneMask isFound = isSearched & (numLeft == 0);
        radii = isFound ? FillLanes(offset.distance) : radii;
        isSearched &= ~isFound;
        return HasAny(isSearched);
    });
    return radii;
}

void CPointSplatter::fitNormals(const CDepthPlane& plane, std::uint32_t column, std::uint32_t row,
                                SDots& dots) const
{
    const bool isPerspective = m_projection.IsPerspective();
    const Lanes depths = LoadLanes(plane.At(column, row));
    CPlaneFits::SGradients gradients{};
    LaneMask isDense = dots.radii <= FillLanes(c_maxDenseRadius);
    if (HasAny((depths == depths) & isDense))
    {
        isDense &= fitDense(plane, column, row, gradients);
    }
    if (HasAny((depths == depths) & ~isDense))
    {
        const CPlaneFits::SGradients scattered = fitScattered(plane, column, row, dots.radii);
        gradients = {isDense ? gradients.x : scattered.x, isDense ? gradients.y : scattered.y};
    }
    const Lanes sizes = isPerspective ? m_projection.GetSampleSizes(FillLanes(1.0F))
                                      : m_projection.GetSampleSizes(depths);
    const Lanes perRight = gradients.x / sizes;
    const Lanes perDown = gradients.y / sizes;
    Lanes sightX{};
    Lanes lengths{};
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        sightX[lane] = m_projection.GetSightX(static_cast<float>(column + lane));
    }
    const Lanes sightY = FillLanes(m_projection.GetSightY(static_cast<float>(row)));
    const Lanes one = FillLanes(1.0F);
    const Lanes x = isPerspective ? -perRight : perRight;
    const Lanes y = isPerspective ? perDown : -perDown;
    const Lanes z = isPerspective ? (one - sightX * perRight) + sightY * perDown : one;
    const Lanes squares = (x * x + y * y) + z * z;
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        lengths[lane] = std::sqrt(squares[lane]);
    }
    const Lanes scales = (z < Lanes() ? -one : one) / lengths;
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        const std::uint64_t word = dots.words[lane];
        if (word != CDepthBuffer::c_empty && !CDepthBuffer::HasNormal(word))
        {
            dots.normalX[lane] = x[lane] * scales[lane];
            dots.normalY[lane] = y[lane] * scales[lane];
            dots.normalZ[lane] = z[lane] * scales[lane];
            dots.words[lane] = CDepthBuffer::WithNormal(
                word, {dots.normalX[lane], dots.normalY[lane], dots.normalZ[lane], true});
        }
    }
}

LaneMask CPointSplatter::fitDense(const CDepthPlane& plane, std::uint32_t column, std::uint32_t row,
                                  CPlaneFits::SGradients& gradients) const
{
    // Of two opposite samples only the difference counts, and their places add up to nothing.
    const float* const centre = plane.At(column, row);
    const Lanes depths = LoadLanes(centre);
    const Lanes tolerances = FillLanes(c_maxSlope) * m_projection.GetSampleSizes(depths);
    const Lanes zero{};
    LaneMask numPairs{};
    Lanes xx{};
    Lanes xy{};
    Lanes yy{};
    Lanes xValues{};
    Lanes yValues{};
    for (const SOffset& offset : m_ring)
    {
        const std::ptrdiff_t there = plane.OffsetOf(offset.x, offset.y);
        const Lanes differences = LoadLanes(centre + there) - depths;
        const Lanes opposites = LoadLanes(centre - there) - depths;
        const Lanes bounds = tolerances * FillLanes(offset.distance);
        const LaneMask isTaken = ((differences < zero ? -differences : differences) <= bounds) &
                                 ((opposites < zero ? -opposites : opposites) <= bounds);
        const Lanes values = isTaken ? differences - opposites : zero;
        const auto x = static_cast<float>(offset.x);
        const auto y = static_cast<float>(offset.y);
        // True is -1.
        numPairs -= isTaken;
        xx += isTaken ? FillLanes(2.0F * x * x) : zero;
        xy += isTaken ? FillLanes(2.0F * x * y) : zero;
        yy += isTaken ? FillLanes(2.0F * y * y) : zero;
        xValues += FillLanes(x) * values;
        yValues += FillLanes(y) * values;
    }
    const Lanes determinants = xx * yy - xy * xy;
    const Lanes scales =
        (m_projection.IsPerspective() ? FillLanes(-1.0F) / depths : FillLanes(1.0F)) / determinants;
    gradients = {(xValues * yy - yValues * xy) * scales, (yValues * xx - xValues * xy) * scales};
    return (numPairs >= LaneMask{} + c_minPairs) &
           (determinants > FillLanes(c_minDeterminant) * xx * yy);
}

CPlaneFits::SGradients CPointSplatter::fitScattered(const CDepthPlane& plane, std::uint32_t column,
                                                    std::uint32_t row, Lanes radii) const
{
    // Over the picture, a plane's inverse depth in perspective, its depth otherwise, is linear.
    // Given relative to the sample itself, which keeps the digits of the small differences.
    const bool isPerspective = m_projection.IsPerspective();
    const Lanes depths = LoadLanes(plane.At(column, row));
    const Lanes reaches = FillLanes(c_planeReach) * radii;
    const LaneMask isThere = depths == depths;
    LaneMask numLeft = LaneMask{} + c_maxPlaneNeighbors;
    CPlaneFits fits;
    fits.Add(isThere, 0.0F, 0.0F, Lanes());
    visitSurfaces(plane, column, row, [&](const SOffset& offset, Lanes others, LaneMask isNear) {
        const LaneMask isSearched =
            isThere & (FillLanes(offset.distance) <= reaches) & (numLeft > 0);
        const LaneMask isTaken = isNear & isSearched;
        numLeft += isTaken;
        fits.Add(isTaken, static_cast<float>(offset.x), static_cast<float>(offset.y),
                 isPerspective ? (depths - others) / others : others - depths);
        return HasAny(isSearched);
    });
    return fits.Solve();
}

void CPointSplatter::drawDot(const CDepthPlane& plane, std::uint32_t column, std::uint32_t row,
                             std::uint64_t word, const SDot& dot, CDepthBuffer& target) const
{
    const float* const centre = plane.At(column, row);
    const float depth = *centre;
    const float size = m_projection.GetSampleSize(depth);
    // A surface that faces right recedes to the right, one that faces up recedes upwards.
    const float step = size / std::max(dot.normalZ, 1.0F / c_maxDotSlope);
    const float stepX = step * dot.normalX;
    const float stepY = -step * dot.normalY;
    const float rim = size * c_rimSlope;
    target.DrawShared(target.IndexOf(column, row), word);
    for (const SOffset& offset : m_offsets)
    {
        if (offset.distance > dot.radius)
        {
            break;
        }
        const float end = std::max(
            depth + ((stepX * static_cast<float>(offset.x) + stepY * static_cast<float>(offset.y)) +
                     rim * offset.distance),
            0.0F);
        // Most of a dot lies behind the samples around it. What is empty is no number and hides
        // nothing.
        if (centre[plane.OffsetOf(offset.x, offset.y)] < end)
        {
            continue;
        }
        const std::uint32_t x = column + static_cast<std::uint32_t>(offset.x);
        const std::uint32_t y = row + static_cast<std::uint32_t>(offset.y);
        if (x < target.GetWidth() && y < target.GetHeight())
        {
            target.DrawShared(target.IndexOf(x, y), CDepthBuffer::WithDepth(word, end));
        }
    }
}

}  // namespace Application
