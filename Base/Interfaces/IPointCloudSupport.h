#pragma once

#include <cstdint>

#include "Base/Export.h"
#include "Base/Math/LqVector3f.h"
#include "Base/Math/UxBoundingBox3D.h"

/// Finds the surfel of a collection that is nearest to a point. Safe for concurrent queries.
class VEKO2_BASE_EXPORT INearestNeighborSearch
{
public:
    virtual ~INearestNeighborSearch();

    /// The index of the surfel nearest to \p point among those whose distance is at most \p bound,
    /// or a negative value when there is none.
    ///
    /// Distances are compared as squared floats, ((dx dx + dy dy) + dz dz), against bound x bound
    /// in float. Of equally near surfels the one with the lowest index is the answer. A point that
    /// is not finite has no neighbour, and a surfel that is not finite is nobody's. The third
    /// argument is reserved and must be null.
    [[nodiscard]] virtual std::int32_t FindNearestNeighbor(const LqVector3f& point, float bound,
                                                           const void* reserved) const = 0;

protected:
    INearestNeighborSearch() = default;
    INearestNeighborSearch(const INearestNeighborSearch&) = default;
    INearestNeighborSearch& operator=(const INearestNeighborSearch&) = default;
};

namespace Base
{

/// What a collection knows about its surfels as a whole. Valid while the collection lives and is
/// not changed; safe for concurrent readers.
class VEKO2_BASE_EXPORT IPointCloudSupport
{
public:
    virtual ~IPointCloudSupport();

    /// The search over the collection's surfels; it belongs to the support, which has to be held as
    /// long as the search is used. The supports of this library's own collections have one; those
    /// of others may answer null.
    /// @throw std::length_error when there are more surfels than its answers can name, 2^31 - 1.
    [[nodiscard]] virtual const INearestNeighborSearch* GetNearestNeighborSearch() const = 0;

    /// The axis-aligned box of all surfel positions that are finite, in the collection's own
    /// coordinates; empty when there is none.
    [[nodiscard]] virtual const UxBoundingBox3D& GetBoundingBox() const = 0;

protected:
    IPointCloudSupport() = default;
    IPointCloudSupport(const IPointCloudSupport&) = default;
    IPointCloudSupport& operator=(const IPointCloudSupport&) = default;
};

}  // namespace Base
