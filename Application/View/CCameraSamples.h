#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "Application/View/CCameraFit.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

/// The points that stand for all points of some scans when a camera is chosen, by their coordinates
/// along three directions: the picture's right, up and towards the viewer.
class CCameraSamples
{
public:
    using Vector = CCamera::Vector;
    /// A value of two samples each, in a register of any processor.
    using Pair = double __attribute__((vector_size(2 * sizeof(double))));

    struct SRange
    {
        double min = std::numeric_limits<double>::infinity();
        double max = -std::numeric_limits<double>::infinity();
    };

    /// SRange for values in pairs.
    struct SPairRange
    {
        void Extend(Pair pair)
        {
            min = pair < min ? pair : min;
            max = pair > max ? pair : max;
        }

        Pair min = Pair() + SRange().min;
        Pair max = Pair() + SRange().max;
    };

    /// Takes enough points of \p scans for a camera; none only if none is finite.
    [[nodiscard]] static CCameraSamples Take(const std::vector<CCameraFit::SScan>& scans,
                                             const std::array<Vector, 3>& axes);

    /// The coordinate of a point along an axis.
    [[nodiscard]] static double Along(const Vector& axis, const SHomogeneousPoint<double>& point)
    {
        return (axis[0] * point.x + axis[1] * point.y) + axis[2] * point.z;
    }

    [[nodiscard]] bool IsEmpty() const { return m_count == 0; }

    [[nodiscard]] std::span<const double> GetAxis(std::size_t axis) const
    {
        return {m_axes[axis].get(), m_count};
    }

    /// The coordinates of the samples \p first and \p first + 1.
    [[nodiscard]] Pair GetPair(std::size_t axis, std::size_t first) const
    {
        Pair pair;
        std::memcpy(&pair, &m_axes[axis][first], sizeof pair);
        return pair;
    }

    /// Drops the samples that are outside one of the ranges. One must be left.
    void Keep(const std::array<SRange, 3>& ranges);

    /// The ranges of several values: \p extend(ranges, first) extends the SPairRanges \p ranges by
    /// those of the samples \p first and \p first + 1, of several pairs at the same time. The last
    /// sample may come twice.
    template <std::size_t numRanges, typename Extend>
    [[nodiscard]] std::array<SRange, numRanges> FindRanges(const Extend& extend) const;

private:
    static constexpr std::uint64_t c_samplesPerBlock = 2048;

    /// Leaves the memory for the threads that fill it: the first to touch a page waits for it.
    explicit CCameraSamples(std::size_t mostSamples);

    static std::uint32_t countBlocks(std::uint64_t count)
    {
        return static_cast<std::uint32_t>((count + c_samplesPerBlock - 1) / c_samplesPerBlock);
    }

    /// Calls \p body(block, begin, end) in parallel for the blocks of the indices below \p count.
    template <typename Body>
    static void forEachBlock(std::uint64_t count, const Body& body)
    {
        Base::ParallelFor(countBlocks(count), [&](std::uint32_t block) {
            const std::uint64_t begin = block * c_samplesPerBlock;
            body(block, begin, std::min(begin + c_samplesPerBlock, count));
        });
    }

    static CCameraSamples take(const std::vector<CCameraFit::SScan>& scans,
                               const std::array<Vector, 3>& axes, std::uint64_t step);
    std::uint64_t append(const CCameraFit::SScan& scan, const std::array<Vector, 3>& axes,
                         std::uint64_t step, std::uint64_t numBefore);
    [[nodiscard]] bool isWithin(const std::array<SRange, 3>& ranges, std::size_t index) const;

    std::size_t m_count = 0;
    std::array<std::unique_ptr<double[]>, 3> m_axes;
};

template <std::size_t numRanges, typename Extend>
std::array<CCameraSamples::SRange, numRanges> CCameraSamples::FindRanges(const Extend& extend) const
{
    using PairRanges = std::array<SPairRange, numRanges>;
    std::vector<PairRanges> blocks(countBlocks(m_count));
    forEachBlock(m_count, [&](std::uint32_t block, std::size_t begin, std::size_t end) {
        PairRanges ranges;
        for (std::size_t first = begin; first < end; first += 2)
        {
            extend(ranges, first);
        }
        blocks[block] = ranges;
    });
    std::array<SRange, numRanges> whole;
    for (const PairRanges& ranges : blocks)
    {
        for (std::size_t range = 0; range < numRanges; ++range)
        {
            const auto& [min, max] = ranges[range];
            whole[range].min = std::min({whole[range].min, min[0], min[1]});
            whole[range].max = std::max({whole[range].max, max[0], max[1]});
        }
    }
    return whole;
}

}  // namespace Application
