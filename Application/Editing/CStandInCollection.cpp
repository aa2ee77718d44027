#include "Application/Editing/CStandInCollection.h"

#include "Base/Interfaces/IPointCloudSupport.h"

namespace Application
{

namespace
{

class CBoxSupport : public Base::IPointCloudSupport
{
public:
    explicit CBoxSupport(const Geometry::CBox3D& box) { m_box.box = box; }

    const INearestNeighborSearch* GetNearestNeighborSearch() const override { return nullptr; }
    const UxBoundingBox3D& GetBoundingBox() const override { return m_box; }

private:
    UxBoundingBox3D m_box;
};

}  // namespace

CStandInCollection::CStandInCollection(
    const std::shared_ptr<const Base::ISurfelCollection>& collection, const Geometry::CBox3D& box)
    : CSurfelCollectionView(
          collection, collection->GetCount(),
          collection->GetReadAccessor<Base::CSCElementDefinitionPosition>().GetFirstElement(),
          collection->GetReadAccessor<Base::CSCElementDefinitionPosition>().GetStrideInBytes()),
      m_support(std::make_shared<CBoxSupport>(box))
{}

std::shared_ptr<const Base::IPointCloudSupport> CStandInCollection::GetPointCloudSupport() const
{
    return m_support;
}

}  // namespace Application
