#pragma once

#include <memory>

#include "Base/Math/CBox3D.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace Application
{

/// Another collection's positions under a bounding box that the maker chooses.
class CStandInCollection : public DataLayer::CSurfelCollectionView
{
public:
    /// \p collection must not be null.
    /// @throw VekoException when it has no positions.
    CStandInCollection(const std::shared_ptr<const Base::ISurfelCollection>& collection,
                       const Geometry::CBox3D& box);

    /// A support that knows the chosen box, and has no search.
    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override;

private:
    std::shared_ptr<const Base::IPointCloudSupport> m_support;
};

}  // namespace Application
