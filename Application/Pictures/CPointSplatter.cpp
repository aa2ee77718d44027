#include "Application/Pictures/CPointSplatter.h"

#include "Application/Pictures/CPlaneFits.h"
#include "Application/Pictures/RowBands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Application
{

namespace
{

using SNormal = CDepthBuffer::SNormal;

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
/// The steepest dot; steeper ones would be all rim.
constexpr float c_maxDotSlope = 2.0F;
/// By how much a dot recedes towards its rim, as a tangent: neighbouring dots then meet half way
/// instead of covering each other.
constexpr float c_rimSlope = 0.25F;

SNormal normalized(float x, float y, float z)
{
    const float length = std::sqrt((x * x + y * y) + z * z);
    const float scale = (z < 0.0F ? -1.0F : 1.0F) / length;
    return {x * scale, y * scale, z * scale, true};
}

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
}

CDepthBuffer CPointSplatter::Splat(const CDepthBuffer& points, const SRadii& radii) const
{
    const CDepthPlane plane(points, m_reach);
    CDepthBuffer target(points.GetWidth(), points.GetHeight());
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        forEachGroup(points, row, [&](std::uint32_t begin, std::uint32_t end) {
            std::array<float, c_numLanes> radiusOf{};
            bool hasNormals = true;
            for (std::uint32_t column = begin; column < end; ++column)
            {
                const std::size_t index = points.IndexOf(column, row);
                const std::uint64_t word = points.Get(index);
                radiusOf[column - begin] =
                    static_cast<float>(std::min(radii.radii[index], radii.largest)) / c_radiusUnits;
                hasNormals =
                    hasNormals && (word == CDepthBuffer::c_empty || CDepthBuffer::HasNormal(word));
            }
            const std::array<SNormal, c_numLanes> normals =
                hasNormals ? std::array<SNormal, c_numLanes>()
                           : fitNormals(plane, begin, row, LoadLanes(radiusOf.data()));
            for (std::uint32_t column = begin; column < end; ++column)
            {
                std::uint64_t word = points.Get(points.IndexOf(column, row));
                if (word == CDepthBuffer::c_empty)
                {
                    continue;
                }
                if (!CDepthBuffer::HasNormal(word))
                {
                    word = CDepthBuffer::Pack(CDepthBuffer::DepthOf(word),
                                              CDepthBuffer::LookOf(word), normals[column - begin]);
                }
                drawDot(word, radiusOf[column - begin], column, row, target);
            }
        });
    });
    return target;
}

CPointSplatter::SRadii CPointSplatter::FindRadii(const CDepthBuffer& points) const
{
    const CDepthPlane plane(points, m_reach);
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
    return {std::move(radii), largest};
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

std::array<CDepthBuffer::SNormal, c_numLanes> CPointSplatter::fitNormals(const CDepthPlane& plane,
                                                                         std::uint32_t column,
                                                                         std::uint32_t row,
                                                                         Lanes radii) const
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
    const CPlaneFits::SGradients gradients = fits.Solve();
    std::array<SNormal, c_numLanes> normals;
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        const float size = m_projection.GetSampleSize(isPerspective ? 1.0F : depths[lane]);
        const float perRight = gradients.x[lane] / size;
        const float perUp = -gradients.y[lane] / size;
        const float sightX = m_projection.GetSightX(static_cast<float>(column + lane));
        const float sightY = m_projection.GetSightY(static_cast<float>(row));
        normals[lane] =
            isPerspective ? normalized(-perRight, -perUp, 1.0F - sightX * perRight - sightY * perUp)
                          : normalized(perRight, perUp, 1.0F);
    }
    return normals;
}

void CPointSplatter::drawDot(std::uint64_t word, float radius, std::uint32_t column,
                             std::uint32_t row, CDepthBuffer& target) const
{
    const SNormal normal = CDepthBuffer::NormalOf(word);
    const float depth = CDepthBuffer::DepthOf(word);
    const float size = m_projection.GetSampleSize(depth);
    // A surface that faces right recedes to the right, one that faces up recedes upwards.
    const float perZ = 1.0F / std::max(normal.z, 1.0F / c_maxDotSlope);
    const float stepX = size * normal.x * perZ;
    const float stepY = -size * normal.y * perZ;
    target.Draw(target.IndexOf(column, row), word);
    for (const SOffset& offset : m_offsets)
    {
        if (offset.distance > radius)
        {
            break;
        }
        const std::uint32_t x = column + static_cast<std::uint32_t>(offset.x);
        const std::uint32_t y = row + static_cast<std::uint32_t>(offset.y);
        if (x < target.GetWidth() && y < target.GetHeight())
        {
            const float step =
                (stepX * static_cast<float>(offset.x) + stepY * static_cast<float>(offset.y)) +
                size * c_rimSlope * offset.distance;
            target.Draw(target.IndexOf(x, y),
                        CDepthBuffer::WithDepth(word, std::max(depth + step, 0.0F)));
        }
    }
}

}  // namespace Application
