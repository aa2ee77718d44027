#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "Application/Fusion/CFusionGrid.h"
#include "Application/Fusion/CScanPoints.h"

namespace Application
{

/// The points of a block that lie in one cell: how many, and the sums of their offsets.
struct SBlockCell
{
    SCell cell;
    std::uint32_t numPoints;
    std::array<std::uint32_t, 3> sum;
};

/// What became of the points of a block.
struct SPointCounts
{
    std::uint64_t numPoints = 0;  ///< Points in cells.
    std::uint64_t numLeftOut = 0;
    std::uint64_t numNotFinite = 0;
    std::uint64_t numTooFar = 0;
};

/// The points of a block of a scan, summed up by the cells they lie in, and the cells sorted by
/// bucket. Scans have their neighbours close in memory, so a block has far fewer cells than points.
class CBlockCells
{
public:
    /// The sums of this many offsets fit 32 bits.
    static constexpr std::uint64_t c_blockSize = 32768;

    CBlockCells() = default;

    /// Works through the points \p begin to \p end - 1, c_blockSize at most. The cells of \p grid
    /// are parts of voxels.
    CBlockCells(const CScanPoints& points, std::uint64_t begin, std::uint64_t end,
                const CFusionGrid& grid, const CBucketing& bucketing);

    /// The cells of a bucket, in the order of their first points.
    [[nodiscard]] std::span<const SBlockCell> GetCells(std::uint32_t bucket) const
    {
        return {m_cells.data() + m_firsts[bucket], m_cells.data() + m_firsts[bucket + 1]};
    }

    [[nodiscard]] const SPointCounts& GetCounts() const { return m_counts; }

private:
    [[nodiscard]] std::vector<SBlockCell> sumUp(const CScanPoints& points, std::uint64_t begin,
                                                std::uint64_t end, const CFusionGrid& grid);
    void sortByBucket(const std::vector<SBlockCell>& cells, const CBucketing& bucketing);

    std::vector<SBlockCell> m_cells;
    std::vector<std::uint32_t> m_firsts;  ///< By bucket, and the end behind them.
    SPointCounts m_counts;
};

}  // namespace Application
