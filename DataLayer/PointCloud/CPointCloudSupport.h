#pragma once

#include <memory>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/CDeferredNeighborSearch.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "DataLayer/PointCloud/SPositionArray.h"
#include "DataLayer/PointCloud/TLazyValue.h"
#include "DataLayer/PointCloud/TSecondUseValue.h"

namespace DataLayer
{

/// The support of a collection whose positions lie in memory. Box and search are each built when
/// they are first asked for, so that a copy does not pay for what nobody asks of it, and the runs
/// when they are asked for the second time, since a single pass would not be worth them.
class CPointCloudSupport : public Base::IPointCloudSupport, public ISurfelRuns
{
public:
    /// \p positions must live and stay unchanged while the support is used.
    explicit CPointCloudSupport(const SPositionArray& positions);
    ~CPointCloudSupport() override;

    /// Builds the box, the search and its index unless they are there.
    /// @throw std::length_error when there are more than 2^31 - 1 positions.
    void BuildAll() const;

    /// The same but for the index, which the first query that needs it builds.
    /// @throw std::length_error when there are more than 2^31 - 1 positions.
    void BuildAllButIndex() const;

    /// @throw std::length_error when there are more than 2^31 - 1 positions.
    [[nodiscard]] const INearestNeighborSearch* GetNearestNeighborSearch() const override;
    [[nodiscard]] const UxBoundingBox3D& GetBoundingBox() const override;
    [[nodiscard]] const SSurfelRuns* FindSurfelRuns() const override;

private:
    [[nodiscard]] const CDeferredNeighborSearch& getSearch() const;

    SPositionArray m_positions;
    TLazyValue<UxBoundingBox3D> m_boundingBox;
    TLazyValue<std::unique_ptr<const CDeferredNeighborSearch>> m_search;
    TSecondUseValue<SSurfelRuns> m_runs;
};

}  // namespace DataLayer
