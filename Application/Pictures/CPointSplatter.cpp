#include "Application/Pictures/CPointSplatter.h"

#include "Application/Pictures/CPlaneFit.h"
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
    : m_projection(projection), m_singleRadius(c_singleRadius * static_cast<float>(samplesPerSide))
{
    const auto reach = static_cast<std::int32_t>(c_maxRadius * samplesPerSide);
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
    CDepthBuffer target(points.GetWidth(), points.GetHeight());
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        for (std::uint32_t column = 0; column < points.GetWidth(); ++column)
        {
            const std::size_t index = points.IndexOf(column, row);
            std::uint64_t word = points.Get(index);
            if (word == CDepthBuffer::c_empty)
            {
                continue;
            }
            const float radius =
                static_cast<float>(std::min(radii.radii[index], radii.largest)) / c_radiusUnits;
            if (!CDepthBuffer::NormalOf(word).isPresent)
            {
                word = CDepthBuffer::Pack(CDepthBuffer::DepthOf(word), CDepthBuffer::LookOf(word),
                                          fitNormal(points, column, row, radius));
            }
            drawDot(word, radius, column, row, target);
        }
    });
    return target;
}

CPointSplatter::SRadii CPointSplatter::FindRadii(const CDepthBuffer& points) const
{
    std::vector<std::uint8_t> radii(std::size_t{points.GetWidth()} * points.GetHeight());
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        for (std::uint32_t column = 0; column < points.GetWidth(); ++column)
        {
            const std::size_t index = points.IndexOf(column, row);
            if (points.Get(index) != CDepthBuffer::c_empty)
            {
                radii[index] =
                    static_cast<std::uint8_t>(findRadius(points, column, row) * c_radiusUnits);
            }
        }
    });
    const std::uint8_t largest = findLargestRadius(radii);
    return {std::move(radii), largest};
}

template <typename Visit>
void CPointSplatter::visitSurface(const CDepthBuffer& points, std::uint32_t column,
                                  std::uint32_t row, const Visit& visit) const
{
    const float depth = CDepthBuffer::DepthOf(points.Get(points.IndexOf(column, row)));
    const float tolerance = c_maxSlope * m_projection.GetSampleSize(depth);
    for (const SOffset& offset : m_offsets)
    {
        // Outside the picture the sums wrap around to large numbers.
        const std::uint32_t x = column + static_cast<std::uint32_t>(offset.x);
        const std::uint32_t y = row + static_cast<std::uint32_t>(offset.y);
        if (x >= points.GetWidth() || y >= points.GetHeight())
        {
            continue;
        }
        const std::uint64_t word = points.Get(points.IndexOf(x, y));
        const float otherDepth = CDepthBuffer::DepthOf(word);
        if (word != CDepthBuffer::c_empty &&
            std::abs(otherDepth - depth) <= tolerance * offset.distance &&
            !visit(offset, otherDepth))
        {
            return;
        }
    }
}

float CPointSplatter::findRadius(const CDepthBuffer& points, std::uint32_t column,
                                 std::uint32_t row) const
{
    int numFound = 0;
    float radius = m_singleRadius;
    visitSurface(points, column, row, [&](const SOffset& offset, float) {
        ++numFound;
        if (numFound == c_numNeighbors)
        {
            radius = offset.distance;
        }
        return numFound < c_numNeighbors;
    });
    return radius;
}

CDepthBuffer::SNormal CPointSplatter::fitNormal(const CDepthBuffer& points, std::uint32_t column,
                                                std::uint32_t row, float radius) const
{
    // Over the picture, a plane's inverse depth in perspective, its depth otherwise, is linear.
    // Given relative to the sample itself, which keeps the digits of the small differences.
    const bool isPerspective = m_projection.IsPerspective();
    const float depth = CDepthBuffer::DepthOf(points.Get(points.IndexOf(column, row)));
    CPlaneFit fit;
    fit.Add(0.0F, 0.0F, 0.0F);
    int numFound = 0;
    visitSurface(points, column, row, [&](const SOffset& offset, float otherDepth) {
        if (offset.distance > c_planeReach * radius || numFound == c_maxPlaneNeighbors)
        {
            return false;
        }
        ++numFound;
        fit.Add(static_cast<float>(offset.x), static_cast<float>(offset.y),
                isPerspective ? (depth - otherDepth) / otherDepth : otherDepth - depth);
        return true;
    });
    const CPlaneFit::SGradient gradient = fit.Solve();
    const float size = m_projection.GetSampleSize(isPerspective ? 1.0F : depth);
    const float perRight = gradient.x / size;
    const float perUp = -gradient.y / size;
    if (!isPerspective)
    {
        return normalized(perRight, perUp, 1.0F);
    }
    const float sightX = m_projection.GetSightX(static_cast<float>(column));
    const float sightY = m_projection.GetSightY(static_cast<float>(row));
    return normalized(-perRight, -perUp, 1.0F - sightX * perRight - sightY * perUp);
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
