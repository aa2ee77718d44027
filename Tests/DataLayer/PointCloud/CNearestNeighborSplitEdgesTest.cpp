// Positions and queries on the edges of cells, bricks and the whole of the cells, at the bound and
// as near as others: where a proof that forgets a rounding or an equality goes wrong.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <random>
#include <utility>
#include <vector>

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"
#include "Tests/DataLayer/PointCloud/CCellGrid.h"
#include "Tests/DataLayer/PointCloud/CNearestNeighborSplitTest.h"
#include "Tests/Support/TestRounds.h"

namespace DataLayerTest
{
namespace
{

class CNearestNeighborSplitEdgesTest : public CNearestNeighborSplitTest
{};

INSTANTIATE_TEST_SUITE_P(Kernels, CNearestNeighborSplitEdgesTest, testing::ValuesIn(KernelNames()),
                         [](const auto& kernel) { return kernel.param; });

/// Where the middle of the cells lies and what its coordinates round to; all near the first have
/// fractions far below a cell, which rounds at the other end of the cells as coarsely as can be.
constexpr std::array<float, 5> c_middles = {37000, -37000, 0.3F, 1e6F, 3e7F};

TEST_P(CNearestNeighborSplitEdgesTest, Cells_AreThoseOfTheGrid)
{
    // The other tests of this file mean what they say only if this one passes.
    using namespace DataLayer::NeighborCells;
    for (const float place : {c_middles[0], c_middles[1], c_middles[2]})
    {
        SCOPED_TRACE(place);
        const CCellGrid grid({place, place + 400, place - 401.3F});
        for (const std::uint32_t cell : {60000U, 60001U})
        {
            SCOPED_TRACE(cell);
            LqVector3f first;
            first.x = grid.First(0, cell);
            first.y = grid.First(1, cell);
            first.z = grid.First(2, cell);
            const Points points = grid.WithMiddle({first});
            const CDeferredNeighborSearch search(PositionsOf(points));
            const auto split = CNearestNeighborSplit::Make(search, 0, c_bound, GetParam());
            ASSERT_NE(split, nullptr);
            // The cube of the cell is covered, and of the others beside it nothing is told at once.
            Points queries;
            std::vector<std::uint16_t> expected;
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                const auto add = [&](float coordinate, EState state) {
                    LqVector3f query = first;
                    (axis == 0 ? query.x : axis == 1 ? query.y : query.z) = coordinate;
                    queries.push_back(query);
                    expected.push_back(static_cast<std::uint16_t>(state));
                };
                add(grid.First(axis, 60000), c_amongFirst);
                add(grid.Last(axis, 60001), c_amongFirst);
                add(grid.Last(axis, 59999), c_unjudged);
                add(grid.First(axis, 60002), c_unjudged);
            }
            EXPECT_EQ(LookAt(*split, PositionsOf(queries), MakeIdentityWithPerspective()).states,
                      expected);
        }
    }
}

TEST_P(CNearestNeighborSplitEdgesTest, CornersOfCells_AnsweredAsRestated)
{
    // A position in each corner of its cell, and queries in the nearest and the farthest corner of
    // each cell around, which is where covering and not reaching are decided.
    constexpr std::uint32_t c_reach = 7;
    for (const float place : {c_middles[0], c_middles[1]})
    {
        SCOPED_TRACE(place);
        const CCellGrid grid({place, place, place});
        for (std::uint32_t corner = 0; corner < 8; ++corner)
        {
            SCOPED_TRACE(corner);
            float position[3];
            std::vector<float> nearest[3];
            std::vector<float> farthest[3];
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                // All places in a brick, by and by.
                const std::uint32_t cell =
                    (place > 0 ? 100U : 130000U) + corner * (axis == 1 ? 1U : axis + 1U);
                const bool isLast = (corner >> axis & 1U) != 0;
                position[axis] = isLast ? grid.Last(axis, cell) : grid.First(axis, cell);
                for (std::uint32_t other = cell - c_reach; other <= cell + c_reach; ++other)
                {
                    const bool isAbove = other > cell || (other == cell && !isLast);
                    const float first = grid.First(axis, other);
                    const float last = grid.Last(axis, other);
                    nearest[axis].push_back(isAbove ? first : last);
                    farthest[axis].push_back(isAbove ? last : first);
                }
            }
            Points queries;
            for (const std::vector<float>* coordinates : {nearest, farthest})
            {
                for (const float x : coordinates[0])
                {
                    for (const float y : coordinates[1])
                    {
                        for (const float z : coordinates[2])
                        {
                            queries.push_back({x, y, z});
                        }
                    }
                }
            }
            expectRestated(grid.WithMiddle({{position[0], position[1], position[2]}}), 0, queries);
        }
    }
}

/// The squares of the least and of the greatest distance, in cells, between the nearest one of some
/// cells' middles and the points of a cube, with more room than the roundings of places need.
std::pair<double, double> ReachOf(const std::vector<std::array<std::uint32_t, 3>>& cells,
                                  const std::array<std::uint32_t, 3>& cube)
{
    constexpr double c_halfEdge = 1.02;
    std::pair<double, double> reach(c_infinity, c_infinity);
    for (const auto& cell : cells)
    {
        double least = 0.0;
        double greatest = 0.0;
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            const double fromMiddle = std::abs(cell[axis] + 0.5 - (cube[axis] | 1U));
            least += std::pow(std::max(fromMiddle - c_halfEdge, 0.0), 2);
            greatest += std::pow(fromMiddle + c_halfEdge, 2);
        }
        reach = {std::min(reach.first, least), std::min(reach.second, greatest)};
    }
    return reach;
}

TEST(CNearestNeighborSplitJudging, CubesThatDistancesDecide_AreDecidedOnceTheyAreAskedFor)
{
    using DataLayer::CNeighborCells;
    const double squaredBound = std::pow(CNeighborCells::c_cellsPerBound, 2);
    const CCellGrid grid({0.3F, 0.3F, 0.3F});
    std::mt19937 random(42);
    const auto drawCells = [&random](std::size_t count) {
        std::vector<std::array<std::uint32_t, 3>> cells(count);
        for (auto& cell : cells)
        {
            for (std::uint32_t& number : cell)
            {
                number = 60000U + static_cast<std::uint32_t>(random() % 10);
            }
        }
        return cells;
    };
    const auto pointAt = [&grid](const std::array<std::uint32_t, 3>& cell) {
        return LqVector3f{grid.Middle(0, cell[0]), grid.Middle(1, cell[1]),
                          grid.Middle(2, cell[2])};
    };
    std::size_t numDecided[3]{};
    for (int round = 0; round < 60; ++round)
    {
        const auto firsts = drawCells(1 + random() % 3);
        const auto others = drawCells(1 + random() % 3);
        Points points;
        std::transform(firsts.begin(), firsts.end(), std::back_inserter(points), pointAt);
        std::transform(others.begin(), others.end(), std::back_inserter(points), pointAt);
        const auto last = static_cast<std::int32_t>(firsts.size()) - 1;
        const Points all = grid.WithMiddle(points);
        const CDeferredNeighborSearch search(PositionsOf(all));
        const auto split = CNearestNeighborSplit::Make(search, last, c_bound);
        ASSERT_NE(split, nullptr);
        for (const auto& cube : drawCells(60))
        {
            const auto [firstLeast, firstGreatest] = ReachOf(firsts, cube);
            const auto [otherLeast, otherGreatest] = ReachOf(others, cube);
            const std::uint32_t decided =
                firstGreatest < std::min(squaredBound, otherLeast) * 0.9999
                    ? DataLayer::NeighborCells::c_amongFirst
                : firstLeast > std::min(squaredBound, otherGreatest) * 1.0001
                    ? DataLayer::NeighborCells::c_notAmong
                    : DataLayer::NeighborCells::c_unjudged;
            ++numDecided[decided];
            if (decided != DataLayer::NeighborCells::c_unjudged)
            {
                const LqVector3f query = pointAt(cube);
                EXPECT_EQ(split->IsAmongFirst(query),
                          decided == DataLayer::NeighborCells::c_amongFirst);
                EXPECT_EQ(LookAt(*split, PositionsOf({query})).states[0], decided);
            }
        }
    }
    EXPECT_GT(*std::min_element(std::begin(numDecided), std::end(numDecided)), 100U);
}

/// Draws positions and queries that a proof may get wrong, in some region of the cells.
class CGenerator
{
public:
    explicit CGenerator(std::uint32_t seed) : m_random(seed)
    {
        // Over the first and the last block of an axis, which are clamped, and far from both.
        constexpr std::uint32_t c_regions[] = {20, 62000, 131050};
        for (std::uint32_t& cell : m_cell)
        {
            cell = c_regions[number(3)];
        }
    }

    Points MakePoints()
    {
        Points points;
        for (std::uint32_t count = 1 + number(number(4) == 0 ? 250 : 30); points.size() < count;)
        {
            const std::uint32_t kind = points.empty() ? 0 : number(6);
            const auto& other = points.empty() ? LqVector3f{} : points[number(points.size())];
            // Twice the bound from another one, so that a query at both bounds may be between them.
            points.push_back(kind == 0   ? other
                             : kind == 1 ? atTheBoundOf(atTheBoundOf(other))
                             : kind == 2 ? moved(other)
                                         : anywhere());
            if (points.size() == 1)
            {
                points[0] = anywhere();
            }
        }
        return points;
    }

    Points MakeQueries(const Points& points, std::size_t count)
    {
        Points queries(count);
        for (LqVector3f& query : queries)
        {
            const LqVector3f& a = points[number(points.size())];
            const LqVector3f& b = points[number(points.size())];
            const std::uint32_t kind = number(4);
            query = kind == 0   ? atTheBoundOf(a)
                    : kind == 1 ? LqVector3f{a.x + (b.x - a.x) / 2, a.y + (b.y - a.y) / 2,
                                             a.z + (b.z - a.z) / 2}
                                : anywhere();
            query = number(3) == 0 ? moved(query) : query;
        }
        return queries;
    }

    [[nodiscard]] const CCellGrid& GetGrid() const { return m_grid; }

    std::uint32_t number(std::size_t count)
    {
        return static_cast<std::uint32_t>(m_random() % count);
    }

private:
    float coordinate(std::uint32_t axis)
    {
        constexpr std::uint32_t c_reach = 9;
        const std::uint32_t cell = m_cell[axis] + number(2 * c_reach + 1) - c_reach;
        switch (number(3))
        {
            case 0:
                return m_grid.First(axis, cell);
            case 1:
                return m_grid.Last(axis, cell);
            default:
                return std::round(m_grid.First(axis, cell) / 0.75F) * 0.75F;
        }
    }

    LqVector3f anywhere() { return {coordinate(0), coordinate(1), coordinate(2)}; }

    /// One float farther or nearer on each axis, or the same.
    LqVector3f moved(const LqVector3f& point)
    {
        const auto step = [this](float value) {
            const std::uint32_t direction = number(3);
            return direction == 0
                       ? value
                       : std::nextafter(value, direction == 1 ? c_infinity : -c_infinity);
        };
        return {step(point.x), step(point.y), step(point.z)};
    }

    /// At a distance whose square is that of the bound exactly, where no coordinate is rounded.
    LqVector3f atTheBoundOf(const LqVector3f& point)
    {
        constexpr float c_steps[][3] = {{c_bound, 0, 0},     {0, c_bound, 0},
                                        {0, 0, c_bound},     {0.75F, 1.5F, 1.5F},
                                        {1.5F, 0.75F, 1.5F}, {1.5F, 1.5F, 0.75F}};
        static_assert(0.75F * 0.75F + 1.5F * 1.5F + 1.5F * 1.5F == c_bound * c_bound);
        const auto& step = c_steps[number(6)];
        const auto sign = [this] { return number(2) == 0 ? 1.0F : -1.0F; };
        return {point.x + sign() * step[0], point.y + sign() * step[1], point.z + sign() * step[2]};
    }

    std::mt19937 m_random;
    CCellGrid m_grid{{c_middles[number(5)], c_middles[number(5)], c_middles[number(5)]}};
    std::uint32_t m_cell[3];
};

TEST_P(CNearestNeighborSplitEdgesTest, EdgesBoundsAndTies_AnsweredAsRestated)
{
    std::size_t numKnown = 0;
    std::size_t numQueries = 0;
    const unsigned rounds = TestSupport::GetTestRounds(120);
    for (unsigned round = 0; round < rounds && !HasFailure(); ++round)
    {
        SCOPED_TRACE(round);
        CGenerator generator(round);
        const Points points = generator.MakePoints();
        const Points queries = generator.MakeQueries(points, 250);
        const auto last = static_cast<std::int32_t>(generator.number(points.size() + 1)) - 1;
        numKnown += expectRestated(generator.GetGrid().WithMiddle(points), last, queries);
        numQueries += queries.size();
    }
    // Both ways are taken.
    EXPECT_GT(numKnown, numQueries / 10);
    EXPECT_LT(numKnown, numQueries);
}

}  // namespace
}  // namespace DataLayerTest
