#include "Application/Fusion/CBlockCells.h"

#include "Application/Fusion/CHashSlots.h"

namespace Application
{

CBlockCells::CBlockCells(const CScanPoints& points, std::uint64_t begin, std::uint64_t end,
                         const CFusionGrid& grid, const CBucketing& bucketing)
{
    sortByBucket(sumUp(points, begin, end, grid), bucketing);
}

std::vector<SBlockCell> CBlockCells::sumUp(const CScanPoints& points, std::uint64_t begin,
                                           std::uint64_t end, const CFusionGrid& grid)
{
    std::vector<SBlockCell> cells;
    CHashSlots slots;
    std::uint32_t current = CHashSlots::c_none;
    const auto hashOf = [&](std::uint32_t number) { return HashCell(cells[number].cell); };
    for (std::uint64_t index = begin; index < end; ++index)
    {
        if (points.IsLeftOut(index))
        {
            ++m_counts.numLeftOut;
            continue;
        }
        const SFusionPoint point = points.GetPoint(index);
        CFusionGrid::SPlace place;
        if (!grid.Locate(point, place))
        {
            ++(IsFinite(point) ? m_counts.numTooFar : m_counts.numNotFinite);
            continue;
        }
        ++m_counts.numPoints;
        // The next point of a scan often lies in the same cell.
        if (current == CHashSlots::c_none || !(cells[current].cell == place.cell))
        {
            const auto next = static_cast<std::uint32_t>(cells.size());
            current = slots.FindOrInsert(
                HashCell(place.cell), next,
                [&](std::uint32_t number) { return cells[number].cell == place.cell; }, hashOf);
            if (current == next)
            {
                cells.push_back({place.cell, 0, {}});
            }
        }
        SBlockCell& cell = cells[current];
        ++cell.numPoints;
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            cell.sum[axis] += place.offset[axis];
        }
    }
    return cells;
}

void CBlockCells::sortByBucket(const std::vector<SBlockCell>& cells, const CBucketing& bucketing)
{
    m_firsts.assign(bucketing.GetBucketCount() + std::size_t{1}, 0);
    std::vector<std::uint32_t> buckets(cells.size());
    for (std::size_t index = 0; index < cells.size(); ++index)
    {
        buckets[index] = bucketing.GetBucket(VoxelOfPart(cells[index].cell));
        ++m_firsts[buckets[index] + 1];
    }
    for (std::size_t bucket = 1; bucket < m_firsts.size(); ++bucket)
    {
        m_firsts[bucket] += m_firsts[bucket - 1];
    }
    m_cells.resize(cells.size());
    std::vector<std::uint32_t> nexts(m_firsts.begin(), m_firsts.end() - 1);
    for (std::size_t index = 0; index < cells.size(); ++index)
    {
        m_cells[nexts[buckets[index]]++] = cells[index];
    }
}

}  // namespace Application
