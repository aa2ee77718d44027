#pragma once

#include <memory>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

/// A view that is cut surfel by surfel each time, as every collection is for the first time.
class CViewWithoutRuns : public DataLayer::CSurfelCollectionView
{
public:
    using CSurfelCollectionView::CSurfelCollectionView;

    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override
    {
        return std::make_shared<CSupport>(CSurfelCollectionView::GetPointCloudSupport());
    }

private:
    /// All of a support but its runs.
    class CSupport : public Base::IPointCloudSupport
    {
    public:
        explicit CSupport(std::shared_ptr<const Base::IPointCloudSupport> support)
            : m_support(std::move(support))
        {}

        [[nodiscard]] const INearestNeighborSearch* GetNearestNeighborSearch() const override
        {
            return m_support->GetNearestNeighborSearch();
        }
        [[nodiscard]] const UxBoundingBox3D& GetBoundingBox() const override
        {
            return m_support->GetBoundingBox();
        }

    private:
        std::shared_ptr<const Base::IPointCloudSupport> m_support;
    };
};
