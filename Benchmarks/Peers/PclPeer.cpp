#include "Benchmarks/Peers/PclPeer.h"

#include <pcl/filters/crop_hull.h>
#include <pcl/kdtree/kdtree_flann.h>
#include <pcl/point_cloud.h>
#include <pcl/point_types.h>
#include <pcl/search/kdtree.h>
#include <pcl/segmentation/extract_clusters.h>

#include "Benchmarks/Peers/ProjectToPixels.h"

namespace
{

using Cloud = pcl::PointCloud<pcl::PointXYZ>;

std::shared_ptr<Cloud> MakeCloud(const std::vector<LqVector3f>& points)
{
    auto cloud = std::make_shared<Cloud>();
    cloud->reserve(points.size());
    for (const LqVector3f& point : points)
    {
        cloud->push_back(pcl::PointXYZ(point.x, point.y, point.z));
    }
    return cloud;
}

/// Projects the cloud, since no filter does, and crops it to the lasso as a hull in the plane.
class CClassifier : public Peers::IClassifier
{
public:
    CClassifier(const std::vector<LqVector3f>& points, const Peers::SLasso& lasso)
        : m_cloud(MakeCloud(points)), m_lasso(lasso)
    {
        const auto hull = std::make_shared<Cloud>();
        pcl::Vertices polygon;
        for (const std::array<double, 2>& corner : lasso.corners)
        {
            polygon.vertices.push_back(static_cast<pcl::index_t>(hull->size()));
            hull->push_back(
                pcl::PointXYZ(static_cast<float>(corner[0]), static_cast<float>(corner[1]), 0.0F));
        }
        m_filter.setDim(2);
        m_filter.setHullCloud(hull);
        m_filter.setHullIndices({polygon});
    }

    std::size_t CountSelected() override
    {
        const auto projected = std::make_shared<Cloud>();
        projected->reserve(m_cloud->size());
        for (const pcl::PointXYZ& point : *m_cloud)
        {
            const std::array<double, 2> pixel =
                Peers::ProjectToPixels(m_lasso, {point.x, point.y, point.z});
            projected->push_back(
                pcl::PointXYZ(static_cast<float>(pixel[0]), static_cast<float>(pixel[1]), 0.0F));
        }
        pcl::Indices selected;
        m_filter.setInputCloud(projected);
        m_filter.filter(selected);
        return selected.size();
    }

private:
    std::shared_ptr<Cloud> m_cloud;
    Peers::SLasso m_lasso;
    pcl::CropHull<pcl::PointXYZ> m_filter;
};

class CSearcher : public Peers::INearestNeighborSearcher
{
public:
    explicit CSearcher(const std::vector<LqVector3f>& points) : m_cloud(MakeCloud(points)) {}

    void Build() override { m_tree.setInputCloud(m_cloud); }
    std::int32_t Find(const LqVector3f& query, float bound) override
    {
        m_tree.nearestKSearch(pcl::PointXYZ(query.x, query.y, query.z), 1, m_indices,
                              m_squaredDistances);
        return m_squaredDistances[0] <= bound * bound ? m_indices[0] : -1;
    }
    std::size_t GetMemorySize() override { return 0; }

private:
    std::shared_ptr<Cloud> m_cloud;
    pcl::KdTreeFLANN<pcl::PointXYZ> m_tree;
    pcl::Indices m_indices = pcl::Indices(1);
    std::vector<float> m_squaredDistances = std::vector<float>(1);
};

}  // namespace

namespace Peers
{

std::unique_ptr<IClassifier> MakePclClassifier(const std::vector<LqVector3f>& points,
                                               const SLasso& lasso)
{
    return std::make_unique<CClassifier>(points, lasso);
}

std::unique_ptr<INearestNeighborSearcher> MakePclSearcher(const std::vector<LqVector3f>& points)
{
    return std::make_unique<CSearcher>(points);
}

std::uint64_t CountSmallClustersWithPcl(const std::vector<LqVector3f>& points, float tolerance,
                                        std::size_t minimumPoints)
{
    pcl::EuclideanClusterExtraction<pcl::PointXYZ> extraction;
    extraction.setClusterTolerance(tolerance);
    extraction.setSearchMethod(std::make_shared<pcl::search::KdTree<pcl::PointXYZ>>());
    extraction.setInputCloud(MakeCloud(points));
    std::vector<pcl::PointIndices> clusters;
    extraction.extract(clusters);
    std::uint64_t numSmall = 0;
    for (const pcl::PointIndices& cluster : clusters)
    {
        numSmall += cluster.indices.size() < minimumPoints ? cluster.indices.size() : 0;
    }
    return numSmall;
}

}  // namespace Peers
