#include "Application/Fusion/CCellComponents.h"

#include <array>
#include <utility>

#include "Application/Fusion/CDisjointSets.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

/// One of each two opposite neighbours of a voxel.
std::array<SCell, 13> MakeHalfOfNeighbors()
{
    std::array<SCell, 13> steps{};
    std::size_t count = 0;
    for (std::int32_t x = -1; x <= 1; ++x)
    {
        for (std::int32_t y = -1; y <= 1; ++y)
        {
            for (std::int32_t z = -1; z <= 1; ++z)
            {
                if (9 * x + 3 * y + z > 0)
                {
                    steps[count++] = {x, y, z};
                }
            }
        }
    }
    return steps;
}

/// Unites the voxels of a bucket with their neighbours, wherever those are.
void UniteNeighbors(const std::vector<CCellBucket>& buckets, const std::vector<std::size_t>& firsts,
                    const CBucketing& bucketing, std::uint32_t bucket, CDisjointSets& sets)
{
    static const std::array<SCell, 13> c_steps = MakeHalfOfNeighbors();
    const auto numberOf = [&](std::uint32_t ofBucket, std::uint32_t voxel) {
        return static_cast<std::uint32_t>(firsts[ofBucket] + voxel);
    };
    const std::vector<SVoxel>& voxels = buckets[bucket].GetVoxels();
    for (std::uint32_t voxel = 0; voxel < voxels.size(); ++voxel)
    {
        const SCell& cell = voxels[voxel].cell;
        for (const SCell& step : c_steps)
        {
            const SCell neighbor{cell.x + step.x, cell.y + step.y, cell.z + step.z};
            const std::uint32_t otherBucket =
                CBucketing::AreInOneBrick(cell, neighbor) ? bucket : bucketing.GetBucket(neighbor);
            const std::uint32_t other = buckets[otherBucket].FindVoxel(neighbor);
            if (other != CHashSlots::c_none)
            {
                sets.Unite(numberOf(bucket, voxel), numberOf(otherBucket, other));
            }
        }
    }
}

}  // namespace

CCellComponents::CCellComponents(const std::vector<CCellBucket>& buckets,
                                 const CBucketing& bucketing)
{
    m_firsts.reserve(buckets.size());
    std::size_t numVoxels = 0;
    for (const CCellBucket& bucket : buckets)
    {
        m_firsts.push_back(numVoxels);
        numVoxels += bucket.GetVoxels().size();
    }
    CDisjointSets sets(static_cast<std::uint32_t>(numVoxels));
    Base::ParallelFor(static_cast<std::uint32_t>(buckets.size()), [&](std::uint32_t bucket) {
        UniteNeighbors(buckets, m_firsts, bucketing, bucket, sets);
    });
    m_components = std::move(sets).TakeSetNumbers();

    std::size_t number = 0;
    for (const CCellBucket& bucket : buckets)
    {
        for (const SVoxel& voxel : bucket.GetVoxels())
        {
            const std::uint32_t component = m_components[number++];
            if (component == m_numPoints.size())
            {
                m_numPoints.push_back(0);
            }
            m_numPoints[component] += voxel.numPoints;
        }
    }
}

}  // namespace Application
