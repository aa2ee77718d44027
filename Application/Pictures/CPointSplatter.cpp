#include "Application/Pictures/CPointSplatter.h"

#include "Application/Pictures/Kernels/SampleRowsKernels.h"
#include "Application/Pictures/RowBands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Application
{

namespace
{

/// In pixels.
constexpr std::uint32_t c_maxRadius = 18;
constexpr float c_singleRadius = 0.75F;
/// How much larger than the one in the middle of all a dot may be.
constexpr float c_maxRadiusPerMedian = 1.75F;
/// Where samples are dense, those at this distance tell of a plane nearly as much as all within it.
constexpr float c_ringInside = 2.8F;
constexpr float c_ringOutside = 3.7F;

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
    const auto stride =
        static_cast<std::ptrdiff_t>(CDepthPlane::FindStride(projection.GetWidth(), m_reach));
    for (std::int32_t y = -reach; y <= reach; ++y)
    {
        for (std::int32_t x = -reach; x <= reach; ++x)
        {
            const std::int32_t squared = x * x + y * y;
            if (squared > 0 && squared <= reach * reach)
            {
                m_offsets.push_back({x, y, std::sqrt(static_cast<float>(squared)), y * stride + x});
            }
        }
    }
    std::stable_sort(
        m_offsets.begin(), m_offsets.end(),
        [](const SSampleOffset& a, const SSampleOffset& b) { return a.distance < b.distance; });
    for (const SSampleOffset& offset : m_offsets)
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
    const SDotsTask task = makeTask(radii.depths);
    const DrawDotsKernel drawDots = GetFastestSampleRowsKernels().drawDots;
    ForEachRow(points.GetHeight(), [&](std::uint32_t row) {
        const std::size_t first = points.IndexOf(0, row);
        drawDots(
            task, row,
            {points.GetWords() + first, &radii.radii[first], radii.largest, target.GetWords()});
    });
}

CPointSplatter::SRadii CPointSplatter::FindRadii(const CDepthBuffer& points) const
{
    CDepthPlane plane(points, m_reach);
    std::vector<std::uint8_t> radii(std::size_t{points.GetWidth()} * points.GetHeight());
    const SDotsTask task = makeTask(plane);
    const FindRadiiKernel findRadii = GetFastestSampleRowsKernels().findRadii;
    ForEachRow(points.GetHeight(),
               [&](std::uint32_t row) { findRadii(task, row, &radii[points.IndexOf(0, row)]); });
    const std::uint8_t largest = findLargestRadius(radii);
    return {std::move(radii), largest, std::move(plane)};
}

SDotsTask CPointSplatter::makeTask(const CDepthPlane& plane) const
{
    SDotsTask task;
    task.depths = {plane.GetFirst(),
                   static_cast<std::ptrdiff_t>(plane.GetStride()),
                   m_projection.GetWidth(),
                   m_projection.GetHeight(),
                   m_projection.IsPerspective(),
                   m_projection.GetSampleSize(1.0F)};
    task.offsets = m_offsets.data();
    task.numOffsets = m_offsets.size();
    task.ring = m_ring.data();
    task.numRing = m_ring.size();
    task.singleRadius = m_singleRadius;
    return task;
}

}  // namespace Application
