#include "Application/Fusion/CPointSample.h"

#include <algorithm>
#include <cstdint>

namespace Application
{

namespace
{

/// How many points to draw, and with how few usable ones among them to draw more.
constexpr std::uint64_t c_sampleSize = 16384;
constexpr std::uint64_t c_leastSampleSize = 1024;

/// Numbers that look drawn at random (the finalizer of SplitMix64), below 1.
double DrawNumber(std::uint64_t index)
{
    std::uint64_t mixed = (index + 1) * 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return static_cast<double>((mixed ^ (mixed >> 31)) >> 11) * 0x1p-53;
}

/// The usable ones of \p size points, one out of each of as many equal runs of all \p count points.
/// Which one is drawn, since a step through the points would fall into step with the scan lines.
std::vector<SFusionPoint> DrawPoints(const std::vector<CScanPoints>& scans, std::uint64_t count,
                                     std::uint64_t size)
{
    std::vector<SFusionPoint> points;
    const double runLength = static_cast<double>(count) / static_cast<double>(size);
    std::size_t scan = 0;
    std::uint64_t scanBegin = 0;
    for (std::uint64_t draw = 0; draw < size; ++draw)
    {
        std::uint64_t index = draw;
        if (size != count)
        {
            const double drawn = (static_cast<double>(draw) + DrawNumber(draw)) * runLength;
            index = std::min(static_cast<std::uint64_t>(drawn), count - 1);
        }
        while (index - scanBegin >= scans[scan].GetCount())
        {
            scanBegin += scans[scan].GetCount();
            ++scan;
        }
        if (!scans[scan].IsLeftOut(index - scanBegin))
        {
            const SFusionPoint point = scans[scan].GetPoint(index - scanBegin);
            if (IsFinite(point))
            {
                points.push_back(point);
            }
        }
    }
    return points;
}

}  // namespace

CPointSample::CPointSample(const std::vector<CScanPoints>& scans)
{
    std::uint64_t count = 0;
    for (const CScanPoints& scan : scans)
    {
        count += scan.GetCount();
    }
    std::uint64_t size = std::min(c_sampleSize, count);
    m_points = DrawPoints(scans, count, size);
    while (m_points.size() < c_leastSampleSize && size < count)
    {
        constexpr std::uint64_t c_growth = 16;
        size = size > count / c_growth ? count : size * c_growth;
        m_points = DrawPoints(scans, count, size);
    }
    m_isComplete = size == count;
}

std::array<double, 3> CPointSample::ComputeMiddle() const
{
    return computeQuantile(0.5);
}

double CPointSample::ComputeInnerExtent() const
{
    const std::array<double, 3> low = computeQuantile(0.25);
    const std::array<double, 3> high = computeQuantile(0.75);
    return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
}

std::array<double, 3> CPointSample::computeQuantile(double fraction) const
{
    std::array<double, 3> quantile{};
    if (m_points.empty())
    {
        return quantile;
    }
    constexpr std::array<double SFusionPoint::*, 3> c_axes{&SFusionPoint::x, &SFusionPoint::y,
                                                           &SFusionPoint::z};
    std::vector<double> values(m_points.size());
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        std::transform(m_points.begin(), m_points.end(), values.begin(),
                       [&](const SFusionPoint& point) { return point.*c_axes[axis]; });
        const auto place = values.begin() + static_cast<std::ptrdiff_t>(
                                                fraction * static_cast<double>(values.size()));
        std::nth_element(values.begin(), place, values.end());
        quantile[axis] = *place;
    }
    return quantile;
}

}  // namespace Application
