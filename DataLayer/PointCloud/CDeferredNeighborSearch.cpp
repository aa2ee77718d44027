#include "DataLayer/PointCloud/CDeferredNeighborSearch.h"

#include <stdexcept>

namespace DataLayer
{

CDeferredNeighborSearch::CDeferredNeighborSearch(const SPositionArray& positions)
    : m_positions(positions)
{
    if (positions.count > CNearestNeighborIndex::c_maximumCount)
    {
        throw std::length_error("A cloud of more than 2^31 - 1 surfels cannot be searched.");
    }
}

CDeferredNeighborSearch::~CDeferredNeighborSearch() = default;

std::int32_t CDeferredNeighborSearch::FindNearestNeighbor(const LqVector3f& point, float bound,
                                                          const void* reserved) const
{
    return getIndex().FindNearestNeighbor(point, bound, reserved);
}

const CNearestNeighborIndex& CDeferredNeighborSearch::getIndex() const
{
    return *m_index.Get(
        [this] { return std::make_unique<const CNearestNeighborIndex>(m_positions); });
}

}  // namespace DataLayer
