#include "Application/Pictures/CPointSplatter.h"

#include "Application/Pictures/RowBands.h"

#include <algorithm>
#include <cmath>

namespace Application
{

namespace
{

/// Discs around random points that reach the sixth neighbour leave next to no gap.
constexpr int c_numNeighbors = 6;
/// In pixels.
constexpr std::uint32_t c_maxRadius = 6;
constexpr float c_singleRadius = 0.8F;
/// The steepest surface, as the tangent of its angle to the picture, that is seen as one.
constexpr float c_maxSlope = 4.0F;
/// By how much a dot recedes towards its rim, as a tangent: neighbouring dots then meet half way
/// instead of covering each other.
constexpr float c_rimSlope = 1.5F;

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

CDepthBuffer CPointSplatter::Splat(const CDepthBuffer& points) const
{
    CDepthBuffer target(points.GetWidth(), points.GetHeight());
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        for (std::uint32_t column = 0; column < points.GetWidth(); ++column)
        {
            if (points.Get(points.IndexOf(column, row)) != CDepthBuffer::c_empty)
            {
                drawDot(points, column, row, target);
            }
        }
    });
    return target;
}

float CPointSplatter::findRadius(const CDepthBuffer& points, std::uint32_t column,
                                 std::uint32_t row) const
{
    const float depth = CDepthBuffer::DepthOf(points.Get(points.IndexOf(column, row)));
    const float tolerance = c_maxSlope * m_projection.GetSampleSize(depth);
    int numFound = 0;
    for (const SOffset& offset : m_offsets)
    {
        // Outside the picture the differences wrap around to large numbers.
        const std::uint32_t x = column + static_cast<std::uint32_t>(offset.x);
        const std::uint32_t y = row + static_cast<std::uint32_t>(offset.y);
        if (x >= points.GetWidth() || y >= points.GetHeight())
        {
            continue;
        }
        const std::uint64_t word = points.Get(points.IndexOf(x, y));
        if (word != CDepthBuffer::c_empty &&
            std::abs(CDepthBuffer::DepthOf(word) - depth) <= tolerance * offset.distance)
        {
            ++numFound;
            if (numFound == c_numNeighbors)
            {
                return offset.distance;
            }
        }
    }
    return m_singleRadius;
}

void CPointSplatter::drawDot(const CDepthBuffer& points, std::uint32_t column, std::uint32_t row,
                             CDepthBuffer& target) const
{
    const std::uint64_t word = points.Get(points.IndexOf(column, row));
    const float depth = CDepthBuffer::DepthOf(word);
    const float rimStep = c_rimSlope * m_projection.GetSampleSize(depth);
    const float radius = findRadius(points, column, row);
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
            target.Draw(target.IndexOf(x, y),
                        CDepthBuffer::WithDepth(word, depth + rimStep * offset.distance));
        }
    }
}

}  // namespace Application
