#include "Benchmarks/Peers/Open3dPeer.h"

#include <open3d/geometry/KDTreeFlann.h>
#include <open3d/geometry/PointCloud.h>
#include <open3d/geometry/TriangleMesh.h>
#include <open3d/visualization/utility/SelectionPolygonVolume.h>

#include <algorithm>
#include <string>

namespace
{

open3d::geometry::PointCloud MakeCloud(const std::vector<LqVector3f>& points)
{
    std::vector<Eigen::Vector3d> converted;
    converted.reserve(points.size());
    for (const LqVector3f& point : points)
    {
        converted.emplace_back(point.x, point.y, point.z);
    }
    return open3d::geometry::PointCloud(converted);
}

/// Brings a copy of the cloud into the view, which Open3D's transformation does with the division
/// of perspective, and takes the points in the lasso's prism.
class CClassifier : public Peers::IClassifier
{
public:
    CClassifier(const std::vector<LqVector3f>& points, const Peers::SLasso& lasso)
        : m_cloud(MakeCloud(points))
    {
        for (int row = 0; row < 4; ++row)
        {
            for (int column = 0; column < 4; ++column)
            {
                m_matrix(column, row) = lasso.matrix(row, column);
            }
        }
        m_volume.orthogonal_axis_ = std::string(1, 'Z');
        m_volume.axis_min_ = -1.0;
        m_volume.axis_max_ = 1.0;
        for (const std::array<double, 2>& corner : lasso.corners)
        {
            m_volume.bounding_polygon_.emplace_back(2.0 * corner[0] / lasso.width - 1.0,
                                                    1.0 - 2.0 * corner[1] / lasso.height, 0.0);
        }
    }

    std::size_t CountSelected() override
    {
        open3d::geometry::PointCloud projected = m_cloud;
        projected.Transform(m_matrix);
        return m_volume.CropInPolygon(projected).size();
    }

private:
    open3d::geometry::PointCloud m_cloud;
    Eigen::Matrix4d m_matrix;
    open3d::visualization::SelectionPolygonVolume m_volume;
};

class CSearcher : public Peers::INearestNeighborSearcher
{
public:
    explicit CSearcher(const std::vector<LqVector3f>& points) : m_cloud(MakeCloud(points)) {}

    void Build() override { m_tree.SetGeometry(m_cloud); }
    std::int32_t Find(const LqVector3f& query, float bound) override
    {
        const int numFound = m_tree.SearchHybrid(Eigen::Vector3d(query.x, query.y, query.z), bound,
                                                 1, m_indices, m_squaredDistances);
        return numFound > 0 ? m_indices[0] : -1;
    }
    std::size_t GetMemorySize() override { return 0; }

private:
    open3d::geometry::PointCloud m_cloud;
    open3d::geometry::KDTreeFlann m_tree;
    std::vector<int> m_indices;
    std::vector<double> m_squaredDistances;
};

class CVertexRemover : public Peers::IVertexRemover
{
public:
    explicit CVertexRemover(const Geometry::CTriangulation& mesh)
    {
        m_whole.vertices_.reserve(mesh.vertices.size());
        for (const LqVector3f& vertex : mesh.vertices)
        {
            m_whole.vertices_.emplace_back(vertex.x, vertex.y, vertex.z);
        }
        m_whole.triangles_.reserve(mesh.triangles.size());
        for (const auto& [first, second, third] : mesh.triangles)
        {
            m_whole.triangles_.emplace_back(static_cast<int>(first), static_cast<int>(second),
                                            static_cast<int>(third));
        }
    }

    void Restore() override { m_mesh = m_whole; }
    void Remove(const std::vector<bool>& isRemoved) override
    {
        m_mesh.RemoveVerticesByMask(isRemoved);
    }
    [[nodiscard]] std::array<std::size_t, 2> GetCounts() const override
    {
        return {m_mesh.vertices_.size(), m_mesh.triangles_.size()};
    }

private:
    open3d::geometry::TriangleMesh m_whole;
    open3d::geometry::TriangleMesh m_mesh;
};

}  // namespace

namespace Peers
{

std::unique_ptr<IClassifier> MakeOpen3dClassifier(const std::vector<LqVector3f>& points,
                                                  const SLasso& lasso)
{
    return std::make_unique<CClassifier>(points, lasso);
}

std::unique_ptr<INearestNeighborSearcher> MakeOpen3dSearcher(const std::vector<LqVector3f>& points)
{
    return std::make_unique<CSearcher>(points);
}

std::uint64_t CountSmallClustersWithOpen3d(const std::vector<LqVector3f>& points, float tolerance,
                                           std::size_t minimumPoints)
{
    const std::vector<int> labels = MakeCloud(points).ClusterDBSCAN(tolerance, 1);
    std::vector<std::size_t> sizes;
    for (const int label : labels)
    {
        const auto cluster = static_cast<std::size_t>(label);
        sizes.resize(std::max(sizes.size(), cluster + 1));
        ++sizes[cluster];
    }
    std::uint64_t numSmall = 0;
    for (const std::size_t size : sizes)
    {
        numSmall += size < minimumPoints ? size : 0;
    }
    return numSmall;
}

std::unique_ptr<IVertexRemover> MakeOpen3dVertexRemover(const Geometry::CTriangulation& mesh)
{
    return std::make_unique<CVertexRemover>(mesh);
}

}  // namespace Peers
