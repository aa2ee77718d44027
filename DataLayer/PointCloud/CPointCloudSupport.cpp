#include "DataLayer/PointCloud/CPointCloudSupport.h"

#include "DataLayer/PointCloud/BoundPositions.h"

namespace DataLayer
{

CPointCloudSupport::CPointCloudSupport(const SPositionArray& positions) : m_positions(positions) {}

CPointCloudSupport::~CPointCloudSupport() = default;

void CPointCloudSupport::BuildAll() const
{
    BuildAllButIndex();
    getSearch().BuildIndex();
}

void CPointCloudSupport::BuildAllButIndex() const
{
    static_cast<void>(getSearch());
    static_cast<void>(GetBoundingBox());
}

const INearestNeighborSearch* CPointCloudSupport::GetNearestNeighborSearch() const
{
    return &getSearch();
}

const CDeferredNeighborSearch& CPointCloudSupport::getSearch() const
{
    return *m_search.Get(
        [this] { return std::make_unique<const CDeferredNeighborSearch>(m_positions); });
}

const UxBoundingBox3D& CPointCloudSupport::GetBoundingBox() const
{
    return m_boundingBox.Get([this] { return UxBoundingBox3D{BoundAllPositions(m_positions)}; });
}

const SSurfelRuns* CPointCloudSupport::FindSurfelRuns() const
{
    return m_runs.Find([this] { return MakeSurfelRuns(m_positions); });
}

}  // namespace DataLayer
