#include "Application/Pictures/CPointSplatter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "Application/Pictures/CDepthPyramid.h"
#include "Application/Pictures/Kernels/SampleRowsKernels.h"
#include "Application/Pictures/RowBands.h"

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
/// Few enough to keep many threads busy.
constexpr std::uint32_t c_leastBandRows = 8;

/// How many samples have each radius but 0.
using RadiusCounts = std::array<std::uint32_t, 256>;

RadiusCounts Count(std::span<const std::uint8_t> radii)
{
    // Neighbours are mostly alike, and a count waits for the one before it of the same radius.
    std::array<RadiusCounts, 4> counts{};
    const auto count = [&](std::size_t begin, std::size_t end) {
        for (std::size_t index = begin; index < end; ++index)
        {
            ++counts[index % counts.size()][radii[index]];
        }
    };
    // Where there is no sample there mostly are none around it, and nobody asks how many.
    std::uint64_t several = 0;
    const std::size_t numWhole = radii.size() - radii.size() % sizeof several;
    for (std::size_t begin = 0; begin < numWhole; begin += sizeof several)
    {
        std::memcpy(&several, &radii[begin], sizeof several);
        if (several != 0)
        {
            count(begin, begin + sizeof several);
        }
    }
    count(numWhole, radii.size());
    for (std::size_t radius = 0; radius < counts[0].size(); ++radius)
    {
        counts[0][radius] += counts[1][radius] + counts[2][radius] + counts[3][radius];
    }
    return counts[0];
}

/// The largest radius to use, in the units of the radii, from the counts of all bands.
std::uint8_t FindLargestRadius(const std::vector<RadiusCounts>& bands)
{
    std::array<std::uint64_t, 256> counts{};
    std::uint64_t numSamples = 0;
    for (const RadiusCounts& band : bands)
    {
        for (std::size_t radius = 1; radius < counts.size(); ++radius)
        {
            counts[radius] += band[radius];
            numSamples += band[radius];
        }
    }
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

/// Of the samples' plane of depths.
std::size_t FindStride(const CPictureProjection& projection, std::uint32_t samplesPerSide)
{
    return CDepthPlane::FindStride(projection.GetWidth(),
                                   CPointSplatter::FindReach(samplesPerSide));
}

}  // namespace

CPointSplatter::CPointSplatter(const CPictureProjection& projection, std::uint32_t samplesPerSide)
    : m_projection(projection),
      m_singleRadius(c_singleRadius * static_cast<float>(samplesPerSide)),
      m_offsets(0.0F, static_cast<float>(FindReach(samplesPerSide)), CSampleOffsets::EKept::All,
                FindStride(projection, samplesPerSide)),
      m_ring(c_ringInside, c_ringOutside, CSampleOffsets::EKept::OneOfOpposites,
             FindStride(projection, samplesPerSide)),
      m_rim(0.0F, SSampleRows::c_planeReach * SSampleRows::c_maxDenseRadius,
            CSampleOffsets::EKept::HalfOfFarOnes, FindStride(projection, samplesPerSide))
{}

std::uint32_t CPointSplatter::FindReach(std::uint32_t samplesPerSide)
{
    return c_maxRadius * samplesPerSide;
}

void CPointSplatter::Splat(const CPointSamples& points, const SRadii& radii,
                           CDepthBuffer& target) const
{
    SDotsTask task = makeTask(points.GetDepths());
    const float largest = static_cast<float>(radii.largest) / SSampleRows::c_radiusUnits;
    // Where hardly any sample lacks a normal, finding a plane without grids takes less time than
    // making them.
    const CDepthPyramid pyramid(task.depths,
                                points.HaveNormals() ? 0 : CDepthPyramid::CountGrids(largest));
    task.coarser = pyramid.GetGrids().data();
    task.numCoarser = static_cast<std::uint32_t>(pyramid.GetGrids().size());
    const DrawDotsKernel drawDots = GetFastestSampleRowsKernels().drawDots;
    // Dots reach into the neighbouring bands, but not beyond the middle of these. So what every
    // other band draws lies apart, and nothing has to be locked.
    const auto reach = static_cast<std::uint32_t>(largest);
    const std::uint32_t bandRows = std::max(c_leastBandRows, 2 * reach);
    const std::uint32_t numBands = (target.GetHeight() + bandRows - 1) / bandRows;
    const auto clear = [&](std::uint32_t begin, std::uint32_t end) {
        if (begin < end)
        {
            target.Clear(begin, std::min(end, target.GetHeight()));
        }
    };
    for (const std::uint32_t firstBand : {0U, 1U})
    {
        Base::ParallelFor((numBands + 1 - firstBand) / 2, [&](std::uint32_t pair) {
            const std::uint32_t begin = (2 * pair + firstBand) * bandRows;
            const std::uint32_t end = std::min(begin + bandRows, target.GetHeight());
            // Just before the first dots are drawn that may reach there: what is cleared is then
            // still in the cache.
            if (firstBand == 0)
            {
                clear(begin - std::min(begin, reach), end + reach);
            }
            else
            {
                clear(begin + reach, end == target.GetHeight() ? end : end - reach);
            }
            for (std::uint32_t row = begin; row < end; ++row)
            {
                drawDots(task, row,
                         {points.FindWords(row), static_cast<std::uint32_t>(points.GetBareWord()),
                          &radii.radii[target.IndexOf(0, row)], radii.largest, target.GetWords()});
            }
        });
    }
}

CPointSplatter::SRadii CPointSplatter::FindRadii(const CPointSamples& points) const
{
    const std::uint32_t width = m_projection.GetWidth();
    const std::uint32_t height = m_projection.GetHeight();
    auto radii = std::make_unique_for_overwrite<std::uint8_t[]>(std::size_t{width} * height +
                                                                SSampleRows::c_margin);
    const SDotsTask task = makeTask(points.GetDepths());
    const FindRadiiKernel findRadii = GetFastestSampleRowsKernels().findRadii;
    std::vector<RadiusCounts> counts(CountBands(height));
    ForEachBand(height, [&](std::uint32_t begin, std::uint32_t end) {
        for (std::uint32_t row = begin; row < end; ++row)
        {
            findRadii(task, row, &radii[std::size_t{row} * width]);
        }
        const std::span<const std::uint8_t> ofBand(&radii[std::size_t{begin} * width],
                                                   std::size_t{end - begin} * width);
        counts[begin / c_bandRows] = Count(ofBand);
    });
    const std::uint8_t largest = FindLargestRadius(counts);
    return {std::move(radii), largest};
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
    task.offsets = m_offsets.Get();
    task.ring = m_ring.Get();
    task.rim = m_rim.Get();
    task.singleRadius = m_singleRadius;
    return task;
}

}  // namespace Application
