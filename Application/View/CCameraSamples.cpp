#include "Application/View/CCameraSamples.h"

#include <algorithm>
#include <cmath>

namespace Application
{

namespace
{

/// Scans of fewer points are looked at whole, so that no point that reaches far is overlooked.
constexpr std::uint64_t c_leastSampled = 400000;
/// Enough points to place quantiles well, few enough to be read in no time.
constexpr std::uint64_t c_numSamples = 20000;
/// Should fewer of them be finite, more points are looked at.
constexpr std::uint64_t c_leastSamples = 1000;
/// Those of a large scan lie on pages of their own, each of which is waited for unless asked for
/// in time.
constexpr std::uint64_t c_samplesAhead = 16;

/// Numbers that show no pattern, whatever that of \p number is: the steps of SplitMix64 (Steele,
/// Lea and Flood, "Fast splittable pseudorandom number generators", 2014).
std::uint64_t Scatter(std::uint64_t number)
{
    std::uint64_t value = number * 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

/// The point that is sample number \p sample of all scans: any of the \p step points from \p begin
/// on, or of those that are left of \p count. Always the same one of them, or those in any regular
/// order, could all lie in one part of the rows that scans consist of.
std::uint64_t FindPoint(std::uint64_t begin, std::uint64_t step, std::uint64_t count,
                        std::uint64_t sample)
{
    const std::uint64_t numPoints = std::min(step, count - begin);
    return begin + (((Scatter(sample) >> 32U) * numPoints) >> 32U);
}

}  // namespace

CCameraSamples CCameraSamples::Take(const std::vector<CCameraFit::SScan>& scans,
                                    const std::array<Vector, 3>& axes)
{
    std::uint64_t total = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        total += scan.collection->GetCount();
    }
    constexpr std::uint64_t c_morePerTry = 16;
    std::uint64_t step = total < c_leastSampled ? 1 : total / c_numSamples;
    CCameraSamples samples = take(scans, axes, step);
    while (samples.m_count < c_leastSamples && step != 1)
    {
        step = (step + c_morePerTry - 1) / c_morePerTry;
        samples = take(scans, axes, step);
    }
    return samples;
}

CCameraSamples::CCameraSamples(std::size_t mostSamples)
{
    for (std::unique_ptr<double[]>& values : m_axes)
    {
        // The last one may be repeated to make a pair.
        values = std::make_unique_for_overwrite<double[]>(mostSamples + 1);
    }
}

/// One of each \p step points of \p scans, and of those that are left of each scan.
CCameraSamples CCameraSamples::take(const std::vector<CCameraFit::SScan>& scans,
                                    const std::array<Vector, 3>& axes, std::uint64_t step)
{
    std::uint64_t mostSamples = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        mostSamples += scan.collection->GetCount() / step + 1;
    }
    CCameraSamples samples(mostSamples);
    std::uint64_t numSeen = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        if (scan.collection->GetCount() != 0)
        {
            numSeen += samples.append(scan, axes, step, numSeen);
        }
    }
    return samples;
}

/// Appends one of each \p step points of \p scan, but those that are not finite.
/// \param numBefore how many points of other scans were looked at.
/// \return how many it looked at.
std::uint64_t CCameraSamples::append(const CCameraFit::SScan& scan,
                                     const std::array<Vector, 3>& axes, std::uint64_t step,
                                     std::uint64_t numBefore)
{
    const auto& positions = scan.collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const std::uint64_t count = scan.collection->GetCount();
    const std::uint64_t numSamples = (count + step - 1) / step;
    const auto pointOf = [&](std::uint64_t sample) {
        return FindPoint(sample * step, step, count, numBefore + sample);
    };
    const std::size_t first = m_count;
    std::vector<std::size_t> numFinite(countBlocks(numSamples));
    forEachBlock(numSamples, [&](std::uint32_t block, std::uint64_t begin, std::uint64_t end) {
        std::size_t target = first + begin;
        for (std::uint64_t sample = begin; sample < end; ++sample)
        {
            __builtin_prefetch(positions.GetFirstElement() +
                               pointOf(std::min(sample + c_samplesAhead, numSamples - 1)) *
                                   positions.GetStrideInBytes());
            const LqVector3f position = positions.At(pointOf(sample));
            const auto point =
                TransformHomogeneous<double>(scan.trafo, position.x, position.y, position.z);
            if (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z))
            {
                for (std::size_t axis = 0; axis < 3; ++axis)
                {
                    m_axes[axis][target] = Along(axes[axis], point);
                }
                ++target;
            }
        }
        numFinite[block] = target - (first + begin);
    });
    for (std::size_t block = 0; block < numFinite.size(); ++block)
    {
        for (const std::unique_ptr<double[]>& values : m_axes)
        {
            const double* const source = &values[first + block * c_samplesPerBlock];
            std::copy(source, source + numFinite[block], &values[m_count]);
        }
        m_count += numFinite[block];
    }
    return numSamples;
}

bool CCameraSamples::isWithin(const std::array<SRange, 3>& ranges, std::size_t index) const
{
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        if (m_axes[axis][index] < ranges[axis].min || m_axes[axis][index] > ranges[axis].max)
        {
            return false;
        }
    }
    return true;
}

void CCameraSamples::Keep(const std::array<SRange, 3>& ranges)
{
    std::size_t numKept = 0;
    for (std::size_t index = 0; index < m_count; ++index)
    {
        if (isWithin(ranges, index))
        {
            for (const std::unique_ptr<double[]>& values : m_axes)
            {
                values[numKept] = values[index];
            }
            ++numKept;
        }
    }
    m_count = numKept;
    for (const std::unique_ptr<double[]>& values : m_axes)
    {
        // Makes no difference to any range.
        values[numKept] = values[numKept - 1];
    }
}

}  // namespace Application
