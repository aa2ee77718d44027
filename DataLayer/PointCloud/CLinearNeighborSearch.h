#pragma once

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/SPositionArray.h"

namespace DataLayer
{

/// The nearest-neighbour search that looks at every position, the plainest there is.
class CLinearNeighborSearch : public INearestNeighborSearch
{
public:
    /// \p positions, 2^31 - 1 at most, must live and stay unchanged while the search is used.
    explicit CLinearNeighborSearch(const SPositionArray& positions);
    ~CLinearNeighborSearch() override;

    [[nodiscard]] std::int32_t FindNearestNeighbor(const LqVector3f& point, float bound,
                                                   const void* reserved) const override;

private:
    SPositionArray m_positions;
};

}  // namespace DataLayer
