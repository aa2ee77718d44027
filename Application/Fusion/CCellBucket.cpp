#include "Application/Fusion/CCellBucket.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace Application
{

namespace
{

using DataLayer::SFuserPointBlock;
using DataLayer::SFuserPointRecord;

/// All points of a cell.
struct SCellSum
{
    SCell cell;
    std::uint64_t numPoints;
    std::array<std::uint64_t, 3> sum;
};

std::vector<SCellSum> JoinCells(const std::vector<CBlockCells>& blocks, std::uint32_t bucket)
{
    std::vector<SCellSum> sums;
    CHashSlots slots;
    for (const CBlockCells& block : blocks)
    {
        for (const SBlockCell& cell : block.GetCells(bucket))
        {
            const auto next = static_cast<std::uint32_t>(sums.size());
            const std::uint32_t number = slots.FindOrInsert(
                HashCell(cell.cell), next,
                [&](std::uint32_t other) { return sums[other].cell == cell.cell; },
                [&](std::uint32_t other) { return HashCell(sums[other].cell); });
            if (number == next)
            {
                sums.push_back({cell.cell, 0, {}});
            }
            SCellSum& sum = sums[number];
            sum.numPoints += cell.numPoints;
            for (std::size_t axis = 0; axis < 3; ++axis)
            {
                sum.sum[axis] += cell.sum[axis];
            }
        }
    }
    return sums;
}

/// Where the mean of a cell's points is on an axis.
float AverageOnAxis(std::int32_t cell, std::uint64_t sum, std::uint64_t numPoints,
                    double unitsPerCell)
{
    // Offsets were rounded down.
    const double offset = static_cast<double>(sum) / static_cast<double>(numPoints) + 0.5;
    return static_cast<float>((cell + offset / CFusionGrid::c_offsetsPerCell) * unitsPerCell);
}

struct SOwningBlock : SFuserPointBlock
{
    std::vector<SFuserPointRecord> points;
};

std::shared_ptr<SFuserPointBlock> MakeBlock(std::vector<SFuserPointRecord> points)
{
    if (points.empty())
    {
        return nullptr;
    }
    auto block = std::make_shared<SOwningBlock>();
    block->points = std::move(points);
    block->first = block->points.data();
    block->count = static_cast<std::uint32_t>(block->points.size());
    return block;
}

}  // namespace

CCellBucket::CCellBucket(const std::vector<CBlockCells>& blocks, std::uint32_t bucket,
                         double unitsPerCell)
{
    const std::vector<SCellSum> sums = JoinCells(blocks, bucket);
    m_points.reserve(sums.size());
    for (const SCellSum& sum : sums)
    {
        SFuserPointRecord& point = m_points.emplace_back();
        point.x = AverageOnAxis(sum.cell.x, sum.sum[0], sum.numPoints, unitsPerCell);
        point.y = AverageOnAxis(sum.cell.y, sum.sum[1], sum.numPoints, unitsPerCell);
        point.z = AverageOnAxis(sum.cell.z, sum.sum[2], sum.numPoints, unitsPerCell);
        point.reserved[0] = addToVoxel(VoxelOfPart(sum.cell), sum.numPoints);
    }
    m_voxels.shrink_to_fit();
}

std::uint32_t CCellBucket::addToVoxel(const SCell& cell, std::uint64_t numPoints)
{
    const auto next = static_cast<std::uint32_t>(m_voxels.size());
    const std::uint32_t number = m_slots.FindOrInsert(
        HashCell(cell), next, [&](std::uint32_t other) { return m_voxels[other].cell == cell; },
        [&](std::uint32_t other) { return HashCell(m_voxels[other].cell); });
    if (number == next)
    {
        m_voxels.push_back({cell, 0});
    }
    m_voxels[number].numPoints += numPoints;
    return number;
}

CCellBucket::SBlocks CCellBucket::takePoints(const std::vector<bool>& isSmallVoxel)
{
    const auto isSmall = [&](const SFuserPointRecord& point) {
        return isSmallVoxel[point.reserved[0]];
    };
    std::vector<SFuserPointRecord> points = std::move(m_points);
    m_points = {};
    std::vector<SFuserPointRecord> smallPoints;
    std::copy_if(points.begin(), points.end(), std::back_inserter(smallPoints), isSmall);
    std::erase_if(points, isSmall);
    for (auto* const list : {&points, &smallPoints})
    {
        for (SFuserPointRecord& point : *list)
        {
            point.reserved[0] = 0;
        }
        list->shrink_to_fit();
    }
    return {MakeBlock(std::move(points)), MakeBlock(std::move(smallPoints))};
}

}  // namespace Application
