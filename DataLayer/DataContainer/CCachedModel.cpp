#include "DataLayer/DataContainer/CCachedModel.h"

#include <utility>

namespace DataLayer
{

CCachedModel::CCachedModel(LqMatrix4Rd matrix,
                           std::shared_ptr<const Geometry::CTriangulation> triangulation,
                           UniqueId uniqueId)
    : m_uniqueId(std::move(uniqueId)), m_matrix(matrix), m_triangulation(std::move(triangulation))
{}

CCachedModel::CCachedModel(LqMatrix4Rd matrix,
                           std::shared_ptr<const Base::ISurfelCollection> surfelCollection,
                           UniqueId uniqueId)
    : m_uniqueId(std::move(uniqueId)),
      m_matrix(matrix),
      m_surfelCollection(std::move(surfelCollection))
{}

CCachedModel::~CCachedModel() = default;

void CCachedModel::SetTriangulation(std::shared_ptr<const Geometry::CTriangulation> triangulation)
{
    m_triangulation = std::move(triangulation);
}

std::shared_ptr<const Geometry::CTriangulation> CCachedModel::BuildCTriangulation()
{
    return {};
}

}  // namespace DataLayer
