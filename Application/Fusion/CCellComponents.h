#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Application/Fusion/CCellBucket.h"
#include "Application/Fusion/CFusionGrid.h"

namespace Application
{

/// The connected components of occupied voxels: those that touch, be it by a corner, are connected.
class CCellComponents
{
public:
    /// \p buckets are all of \p bucketing, and hold fewer than 2^32 voxels.
    CCellComponents(const std::vector<CCellBucket>& buckets, const CBucketing& bucketing);

    /// By component, how many points it has. Components count from 0 in the order of their first
    /// voxels.
    [[nodiscard]] const std::vector<std::uint64_t>& GetPointCounts() const { return m_numPoints; }

    /// The component of a voxel of a bucket.
    [[nodiscard]] std::uint32_t GetComponent(std::uint32_t bucket, std::uint32_t voxel) const
    {
        return m_components[m_firsts[bucket] + voxel];
    }

private:
    std::vector<std::size_t> m_firsts;  ///< By bucket, where its voxels start.
    std::vector<std::uint32_t> m_components;
    std::vector<std::uint64_t> m_numPoints;
};

}  // namespace Application
