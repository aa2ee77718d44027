#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Application/Fusion/CBlockCells.h"
#include "Application/Fusion/CFusionGrid.h"
#include "Application/Fusion/CHashSlots.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"

namespace Application
{

/// An occupied voxel and how many points it holds.
struct SVoxel
{
    SCell cell;
    std::uint64_t numPoints;
};

/// All occupied voxels of a bucket, and the fused points in them: one per occupied part of a voxel.
class CCellBucket
{
public:
    CCellBucket() = default;

    /// Joins what the blocks have in \p bucket, in their order. Fused points are in
    /// \p unitsPerCell units to a part of a voxel.
    CCellBucket(const std::vector<CBlockCells>& blocks, std::uint32_t bucket, double unitsPerCell);

    /// In the order of their first points.
    [[nodiscard]] const std::vector<SVoxel>& GetVoxels() const { return m_voxels; }

    /// The number of the voxel at \p cell, or CHashSlots::c_none when it is not occupied.
    [[nodiscard]] std::uint32_t FindVoxel(const SCell& cell) const
    {
        return m_slots.Find(HashCell(cell),
                            [&](std::uint32_t number) { return m_voxels[number].cell == cell; });
    }

    [[nodiscard]] std::uint64_t GetFusedPointCount() const { return m_points.size(); }

    /// Fused points in blocks that own their memory; empty pointers where there are none.
    struct SBlocks
    {
        std::shared_ptr<DataLayer::SFuserPointBlock> main;
        std::shared_ptr<DataLayer::SFuserPointBlock> small;
    };

    /// Hands the fused points out, and has none then. \p isSmall tells by number which voxels
    /// belong to small components.
    template <typename IsSmall>
    [[nodiscard]] SBlocks TakePoints(const IsSmall& isSmall)
    {
        std::vector<bool> isSmallVoxel(m_voxels.size());
        for (std::uint32_t voxel = 0; voxel < m_voxels.size(); ++voxel)
        {
            isSmallVoxel[voxel] = isSmall(voxel);
        }
        return takePoints(isSmallVoxel);
    }

private:
    std::uint32_t addToVoxel(const SCell& cell, std::uint64_t numPoints);
    [[nodiscard]] SBlocks takePoints(const std::vector<bool>& isSmallVoxel);

    std::vector<SVoxel> m_voxels;
    CHashSlots m_slots;
    /// Until they are taken, the first of a point's free words is the number of its voxel.
    std::vector<DataLayer::SFuserPointRecord> m_points;
};

}  // namespace Application
