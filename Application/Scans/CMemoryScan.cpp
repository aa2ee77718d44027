#include "Application/Scans/CMemoryScan.h"

#include <utility>

#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace Application
{

namespace
{

/// Keeps alive what the surfel collection reads.
struct SSharedArrays
{
    std::shared_ptr<const Geometry::CTriangulation> triangulation;
    std::vector<LqVector3f> normals;
};

}  // namespace

void CMemoryScan::setPoints(Coordinates coordinates, Triangles triangles,
                            std::vector<LqVector3f> normals)
{
    for (const auto& [x, y, z] : coordinates)
    {
        m_shift.Extend(x, y, z);
    }
    m_shift.Choose(CCoordinateShift::Precision::Text);
    auto triangulation = std::make_shared<Geometry::CTriangulation>();
    triangulation->triangles = std::move(triangles);
    triangulation->vertices.reserve(coordinates.size());
    for (const auto& [x, y, z] : coordinates)
    {
        triangulation->vertices.push_back(m_shift.Apply(x, y, z));
    }
    m_triangulation = std::move(triangulation);
    const auto owner =
        std::make_shared<const SSharedArrays>(SSharedArrays{m_triangulation, std::move(normals)});
    m_collection = std::make_shared<const DataLayer::CSurfelCollectionView>(
        owner, m_triangulation->vertices.size(), m_triangulation->vertices.data(),
        sizeof(LqVector3f), owner->normals.empty() ? nullptr : owner->normals.data(),
        sizeof(LqVector3f));
}

}  // namespace Application
