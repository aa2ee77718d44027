#include "Benchmarks/Peers/NanoflannPeer.h"

#include <cmath>
#include <limits>
#include <nanoflann.hpp>
#include <optional>
#include <utility>

namespace
{

/// The points as nanoflann reads them.
struct SPoints
{
    const std::vector<LqVector3f>& points;

    [[nodiscard]] std::size_t kdtree_get_point_count() const { return points.size(); }
    [[nodiscard]] float kdtree_get_pt(std::size_t index, std::size_t axis) const
    {
        return axis == 0 ? points[index].x : axis == 1 ? points[index].y : points[index].z;
    }
    template <typename Box>
    bool kdtree_get_bbox(Box& /*box*/) const
    {
        return false;
    }
};

using CTree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, SPoints>,
                                                  SPoints, 3, std::uint32_t>;

/// Keeps the nearest point within the bound, so that nanoflann leaves out what is farther.
class CNearestWithinBound
{
public:
    using DistanceType = float;
    using IndexType = std::uint32_t;

    explicit CNearestWithinBound(float bound)
        : m_squaredDistance(std::nextafter(bound * bound, std::numeric_limits<float>::infinity()))
    {}

    [[nodiscard]] std::int32_t GetIndex() const { return m_index; }
    [[nodiscard]] bool full() const { return true; }
    [[nodiscard]] std::size_t size() const { return m_index < 0 ? 0 : 1; }
    [[nodiscard]] float worstDist() const { return m_squaredDistance; }
    bool addPoint(float squaredDistance, std::uint32_t index)
    {
        if (squaredDistance < m_squaredDistance)
        {
            m_squaredDistance = squaredDistance;
            m_index = static_cast<std::int32_t>(index);
        }
        return true;
    }

private:
    float m_squaredDistance;
    std::int32_t m_index = -1;
};

class CSearcher : public Peers::INearestNeighborSearcher
{
public:
    explicit CSearcher(const std::vector<LqVector3f>& points) : m_points{points} {}

    /// The tree's constructor builds it.
    void Build() override { m_tree.emplace(3, m_points); }
    std::int32_t Find(const LqVector3f& query, float bound) override
    {
        CNearestWithinBound result(bound);
        const float coordinates[3] = {query.x, query.y, query.z};
        m_tree->findNeighbors(result, coordinates, nanoflann::SearchParams());
        return result.GetIndex();
    }
    [[nodiscard]] std::size_t GetMemorySize() override
    {
        return m_tree->usedMemory(*m_tree) + m_points.points.size() * sizeof(LqVector3f);
    }

private:
    SPoints m_points;
    std::optional<CTree> m_tree;
};

}  // namespace

namespace Peers
{

std::unique_ptr<INearestNeighborSearcher> MakeNanoflannSearcher(
    const std::vector<LqVector3f>& points)
{
    return std::make_unique<CSearcher>(points);
}

std::uint64_t CountSmallClustersWithNanoflann(const std::vector<LqVector3f>& points,
                                              float tolerance, std::size_t minimumPoints)
{
    const SPoints adaptor{points};
    const CTree tree(3, adaptor);
    std::vector<bool> isReached(points.size());
    std::vector<std::pair<std::uint32_t, float>> found;
    std::vector<std::uint32_t> cluster;
    std::uint64_t numSmall = 0;
    for (std::uint32_t seed = 0; seed < points.size(); ++seed)
    {
        if (isReached[seed])
        {
            continue;
        }
        isReached[seed] = true;
        cluster.assign(1, seed);
        for (std::size_t next = 0; next < cluster.size(); ++next)
        {
            const LqVector3f& point = points[cluster[next]];
            const float coordinates[3] = {point.x, point.y, point.z};
            tree.radiusSearch(coordinates, tolerance * tolerance, found,
                              nanoflann::SearchParams(32, 0.0F, false));
            for (const auto& [index, squaredDistance] : found)
            {
                if (!isReached[index])
                {
                    isReached[index] = true;
                    cluster.push_back(index);
                }
            }
        }
        numSmall += cluster.size() < minimumPoints ? cluster.size() : 0;
    }
    return numSmall;
}

}  // namespace Peers
