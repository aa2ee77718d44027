#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Interfaces/CUniqueID.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Math/LqMatrix4R.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"

namespace Application
{

/// Fuses the scans of a project into one model and tells its main components from the small ones
/// that float beside them, for DataLayer::CSmallComponentModifyOperation to flag.
///
///     Application::CScanFuser::SFusion fusion = Application::CScanFuser({}).Fuse(scans);
///     const DataLayer::CSmallComponentModifyOperation operation(fusion.content);
///     const Base::CEntityMapModifyBatch batch = operation.ComputeModifications(syncBatch);
///
/// The points of all scans, moved into the common frame in double precision, are sorted into the
/// cubic cells of a sparse grid, the voxels. Occupied voxels that touch, be it by a corner, are
/// connected: points at most one voxel size apart on every axis always are, points between which an
/// axis has a gap of two never are but through others. A component is what is connected; it counts
/// the points in it. Each voxel is averaged in eight parts, so that every point has a fused point
/// of its own component within 0.87 voxel sizes and none of another component within one: at the
/// default scale the operation flags exactly the surfels of the small components.
///
/// Nothing grows with the extent of the scans. Points that are not finite are skipped, and so are
/// those farther than 10^9 voxels from the middle; having no neighbour, their surfels are flagged.
/// Coordinates are fused around the scans' middle (the median of each axis), so that projects in
/// geographic coordinates lose no precision where they become floats. Up to 10^6 voxels from there,
/// floats tell components apart as promised.
///
/// The same scans in the same order give the same bytes on any number of threads. Time is linear in
/// the number of points. At the default voxel size the work takes 15 bytes per point of scans whose
/// points have their neighbours close in memory, and less than 40 in any order, the content
/// included; voxels smaller than the spacing, with a point each, take about 100.
///
/// A constant value, safe for concurrent use.
class CScanFuser
{
public:
    /// A scan, as the entry \p key of the synchronised map has it.
    struct SScan
    {
        Base::CUniqueID key = Base::CUniqueID::Nil();
        std::shared_ptr<const Base::IGeometricEntity> entity;
        /// From the entity's coordinates to the common frame.
        LqMatrix4Rd trafo = c_matIdentityD;
        /// One word per surfel, or none; a missing mask has none.
        std::shared_ptr<const Base::CSurfelCollectionMask> mask;
    };

    /// What to fuse, and which components are small. Lengths are in the unit of the common frame.
    struct SParameters
    {
        /// The side of a voxel; by default, c_spacingsPerVoxel times the median spacing.
        std::optional<double> voxelSize;
        /// How many of the operation's units a unit of the common frame is; by default, a voxel is
        /// two. The operation looks for neighbours within 2.25 of its units; where that is less
        /// than 0.87 voxel sizes, surfels of main components may be flagged too.
        std::optional<double> scale;
        /// Components of fewer points than this are small,
        std::uint64_t minimumPoints = 0;
        /// and so are those of less than this fraction of the largest component's points, from 0
        /// to 1. The largest one (of several, the first) never is.
        double minimumFraction = 0.001;
        /// Surfels with any of these flags are left out of the model, so that what hung on to it
        /// by them floats. The operation flags those of them that have no fused point near. By
        /// default excluded surfels, which it leaves alone, hold up what hangs on to them.
        std::uint16_t leftOutFlags = Base::CSurfelBitMask::SurfelFlagCut;
    };

    /// What was fused, and how. Lengths are in the unit of the common frame.
    struct SReport
    {
        /// The median distance from a point to the nearest one at another place, measured at a
        /// sample of the points; 0 when all are at one place. Absent when it was not asked for.
        std::optional<double> spacing;
        /// As given or chosen; 1 when there is no spacing to choose it by.
        double voxelSize = 0.0;
        /// As given or chosen.
        double scale = 0.0;
        /// How far the operation looks for a neighbour.
        double searchBound = 0.0;
        /// The common frame's point that is the origin of the fused points.
        std::array<double, 3> origin = {};

        std::uint64_t numPoints = 0;  ///< Points in the model.
        std::uint64_t numLeftOutPoints = 0;
        std::uint64_t numNotFinitePoints = 0;
        std::uint64_t numTooFarPoints = 0;
        std::uint64_t numMainFusedPoints = 0;
        std::uint64_t numSmallFusedPoints = 0;

        std::uint64_t numComponents = 0;
        std::uint64_t numSmallComponents = 0;
        std::uint64_t numLargestComponentPoints = 0;
        std::uint64_t numSmallComponentPoints = 0;
    };

    struct SFusion
    {
        /// What the operation is made of. Its transforms lead from the entities to fused points:
        /// to the common frame, around SReport::origin, times SReport::scale. It owns its memory.
        ///
        /// Its first small point is a copy of a main point, since the operation takes the first
        /// small one for main. It is there even when no component is small: without small points
        /// the operation would answer nothing, and leave the flags of components that are no longer
        /// small. Without any point in the model the content has none, and they do stay.
        std::shared_ptr<const DataLayer::SFuserContent> content;
        SReport report;
    };

    /// Voxel size by median spacing. Large enough for scan lines that are several times as far
    /// apart as the points along them, and for surfaces several times as far away as the median
    /// one: on scans of depth cameras and of a car's lidar, half of it takes whole walls to pieces.
    static constexpr double c_spacingsPerVoxel = 8.0;

    /// How many voxels from the middle points may be to be fused, and to be told apart as promised.
    static constexpr double c_maximumReach = 1e9;
    static constexpr double c_exactReach = 1e6;

    /// How far a point's fused point is from it at most, in voxel sizes.
    static constexpr double c_nearestFusedPoint = 0.87;

    /// @throw std::invalid_argument when a given voxel size or scale is not finite and above 0, or
    /// the fraction is not between 0 and 1.
    explicit CScanFuser(const SParameters& parameters);

    /// Fuses \p scans, which may be none, and of which the collections stay in use only until this
    /// returns.
    /// @throw std::invalid_argument when an entity or its collection is missing, two scans have the
    /// same key, or a mask has neither one word per surfel nor none.
    /// @throw std::length_error when there are more fused points than the operation can index.
    /// @throw VekoException when a collection has no positions.
    [[nodiscard]] SFusion Fuse(const std::vector<SScan>& scans) const;

private:
    SParameters m_parameters;
};

}  // namespace Application
