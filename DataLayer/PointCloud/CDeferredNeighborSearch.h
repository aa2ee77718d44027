#pragma once

#include <cstdint>
#include <memory>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Export.h"
#include "DataLayer/PointCloud/CNearestNeighborIndex.h"
#include "DataLayer/PointCloud/SPositionArray.h"
#include "DataLayer/PointCloud/TLazyValue.h"

namespace DataLayer
{

/// The search over a collection whose positions lie in memory. Its index is built by BuildIndex(),
/// or else by the first query that needs one, since whoever knows more of his queries, as
/// CNearestNeighborSplit does, may need none.
///
/// Not installed; exported for the library above and the tests.
class VEKO2_DATALAYER_EXPORT CDeferredNeighborSearch final : public INearestNeighborSearch
{
public:
    /// \p positions must live and stay unchanged while the search is used.
    /// @throw std::length_error when there are more than 2^31 - 1 positions.
    explicit CDeferredNeighborSearch(const SPositionArray& positions);
    ~CDeferredNeighborSearch() override;
    CDeferredNeighborSearch(const CDeferredNeighborSearch&) = delete;
    CDeferredNeighborSearch& operator=(const CDeferredNeighborSearch&) = delete;

    /// Builds the index unless it is there. No later query allocates anything or fails.
    /// @throw std::bad_alloc when there is no memory for the index.
    void BuildIndex() const { static_cast<void>(getIndex()); }

    /// See CNearestNeighborIndex.
    /// @throw std::bad_alloc when there is no memory for the index; the next query tries again.
    [[nodiscard]] std::int32_t FindNearestNeighbor(const LqVector3f& point, float bound,
                                                   const void* reserved) const override;

    [[nodiscard]] const SPositionArray& GetPositions() const { return m_positions; }

private:
    [[nodiscard]] const CNearestNeighborIndex& getIndex() const;

    SPositionArray m_positions;
    TLazyValue<std::unique_ptr<const CNearestNeighborIndex>> m_index;
};

}  // namespace DataLayer
