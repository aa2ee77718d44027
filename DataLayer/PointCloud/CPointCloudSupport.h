#pragma once

#include <memory>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/SPositionArray.h"
#include "DataLayer/PointCloud/TLazyValue.h"

namespace DataLayer
{

/// The support of a collection whose positions lie in memory. Box and search are each built when
/// they are first asked for, so that a copy does not pay for what nobody asks of it.
class CPointCloudSupport : public Base::IPointCloudSupport
{
public:
    /// \p positions must live and stay unchanged while the support is used.
    explicit CPointCloudSupport(const SPositionArray& positions);
    ~CPointCloudSupport() override;

    /// Builds all that is not yet there.
    /// @throw std::length_error when there are more than 2^31 - 1 positions.
    void BuildAll() const;

    /// @throw std::length_error when there are more than 2^31 - 1 positions.
    [[nodiscard]] const INearestNeighborSearch* GetNearestNeighborSearch() const override;
    [[nodiscard]] const UxBoundingBox3D& GetBoundingBox() const override;

private:
    SPositionArray m_positions;
    TLazyValue<UxBoundingBox3D> m_boundingBox;
    TLazyValue<std::unique_ptr<const INearestNeighborSearch>> m_search;
};

}  // namespace DataLayer
