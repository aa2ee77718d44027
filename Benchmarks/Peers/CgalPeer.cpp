#include "Benchmarks/Peers/CgalPeer.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Orthogonal_k_neighbor_search.h>
#include <CGAL/Polygon_2_algorithms.h>
#include <CGAL/Search_traits_3.h>
#include <CGAL/Search_traits_adapter.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/property_map.h>

#include <cstdint>
#include <optional>

#include "Benchmarks/Peers/ProjectToPixels.h"

namespace
{

class CClassifier : public Peers::IClassifier
{
public:
    CClassifier(const std::vector<LqVector3f>& points, const Peers::SLasso& lasso)
        : m_points(points), m_lasso(lasso)
    {
        for (const std::array<double, 2>& corner : lasso.corners)
        {
            m_polygon.emplace_back(corner[0], corner[1]);
        }
    }

    std::size_t CountSelected() override
    {
        std::vector<std::size_t> selected;
        for (std::size_t index = 0; index < m_points.size(); ++index)
        {
            const std::array<double, 2> pixel = Peers::ProjectToPixels(m_lasso, m_points[index]);
            if (CGAL::bounded_side_2(m_polygon.begin(), m_polygon.end(),
                                     CKernel::Point_2(pixel[0], pixel[1]),
                                     CKernel()) == CGAL::ON_BOUNDED_SIDE)
            {
                selected.push_back(index);
            }
        }
        return selected.size();
    }

private:
    using CKernel = CGAL::Exact_predicates_inexact_constructions_kernel;

    std::vector<LqVector3f> m_points;
    Peers::SLasso m_lasso;
    std::vector<CKernel::Point_2> m_polygon;
};

/// Indices as keys, so that a neighbour tells which point it is.
class CSearcher : public Peers::INearestNeighborSearcher
{
public:
    explicit CSearcher(const std::vector<LqVector3f>& points)
    {
        m_points.reserve(points.size());
        for (const LqVector3f& point : points)
        {
            m_points.emplace_back(point.x, point.y, point.z);
        }
    }

    void Build() override
    {
        m_tree.emplace(
            boost::counting_iterator<std::uint32_t>(0),
            boost::counting_iterator<std::uint32_t>(static_cast<std::uint32_t>(m_points.size())),
            CSearch::Splitter(), CTraits(CPointMap(m_points.data())));
        m_tree->build();
    }
    std::int32_t Find(const LqVector3f& query, float bound) override
    {
        CSearch search(*m_tree, CPoint(query.x, query.y, query.z), 1, 0, true,
                       CDistance(CPointMap(m_points.data())));
        return search.begin()->second <= double{bound} * bound
                   ? static_cast<std::int32_t>(search.begin()->first)
                   : -1;
    }
    std::size_t GetMemorySize() override { return 0; }

private:
    using CKernel = CGAL::Simple_cartesian<double>;
    using CPoint = CKernel::Point_3;
    using CPointMap = CGAL::Pointer_property_map<CPoint>::const_type;
    using CTraits =
        CGAL::Search_traits_adapter<std::uint32_t, CPointMap, CGAL::Search_traits_3<CKernel>>;
    using CDistance =
        CGAL::Distance_adapter<std::uint32_t, CPointMap,
                               CGAL::Euclidean_distance<CGAL::Search_traits_3<CKernel>>>;
    using CSearch = CGAL::Orthogonal_k_neighbor_search<CTraits, CDistance>;

    std::vector<CPoint> m_points;
    std::optional<CSearch::Tree> m_tree;
};

}  // namespace

namespace Peers
{

std::unique_ptr<IClassifier> MakeCgalClassifier(const std::vector<LqVector3f>& points,
                                                const SLasso& lasso)
{
    return std::make_unique<CClassifier>(points, lasso);
}

std::unique_ptr<INearestNeighborSearcher> MakeCgalSearcher(const std::vector<LqVector3f>& points)
{
    return std::make_unique<CSearcher>(points);
}

}  // namespace Peers
