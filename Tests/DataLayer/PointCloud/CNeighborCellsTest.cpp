// What bricks and cells tell of each cube, which nobody has to ask for again: as much as they can.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"
#include "Tests/DataLayer/PointCloud/CCellGrid.h"
#include "Tests/DataLayer/PointCloud/CNearestNeighborSplitTest.h"

namespace DataLayerTest
{
namespace
{

using Cell = std::array<std::int32_t, 3>;

constexpr std::int32_t c_size = 64;  // of the window, in cells
constexpr std::int32_t c_brickEdge = 4;
constexpr std::int32_t c_blockEdge = 16;

/// A flag for each cell, brick or block of the window.
class CFlags
{
public:
    explicit CFlags(std::int32_t edge)
        : m_count(c_size / edge), m_flags(static_cast<std::size_t>(m_count * m_count * m_count))
    {}

    /// What lies outside is none.
    void Set(const Cell& place)
    {
        if (std::all_of(place.begin(), place.end(),
                        [this](std::int32_t number) { return 0 <= number && number < m_count; }))
        {
            m_flags[indexOf(place)] = true;
        }
    }

    [[nodiscard]] bool Get(const Cell& place) const { return m_flags[indexOf(place)]; }

private:
    [[nodiscard]] std::size_t indexOf(const Cell& place) const
    {
        return static_cast<std::size_t>((place[2] * m_count + place[1]) * m_count + place[0]);
    }

    std::int32_t m_count;
    std::vector<bool> m_flags;
};

Cell Divided(const Cell& cell, std::int32_t edge)
{
    return {cell[0] / edge, cell[1] / edge, cell[2] / edge};
}

/// Calls \p body for all places up to \p reach from \p middle on each axis.
template <typename Body>
void ForAround(const Cell& middle, std::int32_t reach, const Body& body)
{
    for (std::int32_t z = middle[2] - reach; z <= middle[2] + reach; ++z)
    {
        for (std::int32_t y = middle[1] - reach; y <= middle[1] + reach; ++y)
        {
            for (std::int32_t x = middle[0] - reach; x <= middle[0] + reach; ++x)
            {
                body(Cell{x, y, z});
            }
        }
    }
}

/// Restates which cells are covered and which bricks are out of reach.
class CKnown
{
public:
    void AddFirst(const Cell& cell)
    {
        ForAround(cell, 2, [&](const Cell& other) {
            std::int32_t sum = 0;
            for (std::size_t axis = 0; axis < 3; ++axis)
            {
                const std::int32_t edge = std::abs(other[axis] - cell[axis]) + 1;
                sum += edge * edge;
            }
            if (sum <= 14)
            {
                m_covered.Set(other);
            }
        });
        ForAround(Divided(cell, c_brickEdge), 1, [this](const Cell& brick) {
            m_besideFirst.Set(brick);
            if (*std::min_element(brick.begin(), brick.end()) >= 0)
            {
                m_blocks.Set(Divided(brick, c_blockEdge / c_brickEdge));
            }
        });
    }

    void AddOther(const Cell& cell)
    {
        ForAround(Divided(cell, c_brickEdge), 1,
                  [this](const Cell& brick) { m_besideOthers.Set(brick); });
        m_blocks.Set(Divided(cell, c_blockEdge));
    }

    [[nodiscard]] bool IsBlock(const Cell& cell) const
    {
        return m_blocks.Get(Divided(cell, c_blockEdge));
    }

    /// The state of the cube with this lowest cell.
    [[nodiscard]] std::uint16_t StateOf(const Cell& cell) const
    {
        const Cell brick = Divided(cell, c_brickEdge);
        if (!m_besideFirst.Get(brick))
        {
            return DataLayer::NeighborCells::c_notAmong;
        }
        bool isCovered = !m_besideOthers.Get(brick);
        for (std::int32_t corner = 0; corner < 8; ++corner)
        {
            isCovered &= m_covered.Get(
                {cell[0] + corner % 2, cell[1] + corner / 2 % 2, cell[2] + corner / 4});
        }
        return isCovered ? DataLayer::NeighborCells::c_amongFirst
                         : DataLayer::NeighborCells::c_unjudged;
    }

private:
    CFlags m_covered{1};
    CFlags m_besideFirst{c_brickEdge};
    CFlags m_besideOthers{c_brickEdge};
    CFlags m_blocks{c_blockEdge};
};

/// A part of a surface, some scattered cells, and crowds of those.
std::vector<Cell> DrawCells(std::mt19937& random)
{
    const auto number = [&random](std::int32_t count) {
        return static_cast<std::int32_t>(random() % static_cast<std::uint32_t>(count));
    };
    const auto anywhere = [&number] {
        return Cell{number(c_size), number(c_size), number(c_size)};
    };
    std::vector<Cell> cells;
    for (std::int32_t count = number(40); count > 0; --count)
    {
        cells.push_back(anywhere());
    }
    const auto across = static_cast<std::size_t>(number(3));
    const Cell corner = anywhere();
    for (std::int32_t along = number(c_size - 1); along < c_size; along += 2)
    {
        for (std::int32_t beside = number(c_size - 1); beside < c_size; beside += 2)
        {
            Cell cell;
            cell[across] = std::min(corner[across] + along / 8, c_size - 1);
            cell[(across + 1) % 3] = along;
            cell[(across + 2) % 3] = beside;
            cells.push_back(cell);
        }
    }
    for (std::int32_t count = number(200); count > 0; --count)
    {
        Cell cell;
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            cell[axis] = std::min(corner[axis] + number(8), c_size - 1);
        }
        cells.push_back(cell);
    }
    return cells;
}

class CNeighborCellsTest : public CNearestNeighborSplitTest
{
protected:
    /// Compares what is told of all cubes of a window that begins at the cells \p low with the
    /// restatement, where some cells of it hold first and some other positions.
    void expectAllThatIsKnown(const std::array<std::uint32_t, 3>& low,
                              const std::vector<Cell>& firsts, const std::vector<Cell>& others)
    {
        constexpr float c_middle = 0.3F;
        constexpr std::uint32_t c_lastBlock = DataLayer::NeighborCells::c_maximumCell / 16;
        const CCellGrid grid({c_middle, c_middle, c_middle});
        std::vector<float> coordinates[3];
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            for (std::uint32_t cell = 0; cell < c_size; ++cell)
            {
                coordinates[axis].push_back(grid.Middle(axis, low[axis] + cell));
            }
        }
        const auto pointAt = [&coordinates](const Cell& cell) {
            return LqVector3f{coordinates[0][static_cast<std::size_t>(cell[0])],
                              coordinates[1][static_cast<std::size_t>(cell[1])],
                              coordinates[2][static_cast<std::size_t>(cell[2])]};
        };
        CKnown known;
        Points points;
        for (const Cell& cell : firsts)
        {
            points.push_back(pointAt(cell));
            known.AddFirst(cell);
        }
        const auto last = static_cast<std::int32_t>(points.size()) - 1;
        for (const Cell& cell : others)
        {
            points.push_back(pointAt(cell));
            known.AddOther(cell);
        }
        Points queries;
        std::vector<std::uint16_t> expected;
        for (std::int32_t z = 0; z < c_size; z += 2)
        {
            for (std::int32_t y = 0; y < c_size; y += 2)
            {
                for (std::int32_t x = 0; x < c_size; x += 2)
                {
                    const Cell cell{x, y, z};
                    bool isAtAnEnd = false;
                    for (std::size_t axis = 0; axis < 3; ++axis)
                    {
                        const std::uint32_t block =
                            (low[axis] + static_cast<std::uint32_t>(cell[axis])) / 16;
                        isAtAnEnd |= block == 0 || block == c_lastBlock;
                    }
                    queries.push_back(pointAt({x + 1, y, z + 1}));
                    expected.push_back(
                        isAtAnEnd && known.IsBlock(cell)
                            ? static_cast<std::uint16_t>(DataLayer::NeighborCells::c_undecidable)
                            : known.StateOf(cell));
                }
            }
        }
        const Points all = grid.WithMiddle(points);
        const CDeferredNeighborSearch search(PositionsOf(all));
        const auto split = CNearestNeighborSplit::Make(search, last, c_bound, GetParam());
        ASSERT_NE(split, nullptr);
        const std::vector<std::uint16_t> states = LookAt(*split, PositionsOf(queries)).states;
        const auto [found, wanted] = std::mismatch(states.begin(), states.end(), expected.begin());
        ASSERT_EQ(found, states.end())
            << "cube " << found - states.begin() << " has " << *found << " instead of " << *wanted;
    }

    void expectAllThatIsKnown(const std::array<std::uint32_t, 3>& low, std::uint32_t seed)
    {
        std::mt19937 random(seed);
        const std::vector<Cell> firsts = DrawCells(random);
        std::vector<Cell> others = DrawCells(random);
        // Few of them, that some first ones are left alone.
        others.resize(others.size() / 40);
        expectAllThatIsKnown(low, firsts, others);
    }
};

INSTANTIATE_TEST_SUITE_P(Kernels, CNeighborCellsTest, testing::ValuesIn(KernelNames()),
                         [](const auto& kernel) { return kernel.param; });

TEST_P(CNeighborCellsTest, AcrossRegions_AllIsToldThatBricksAndCellsTell)
{
    // Regions begin at every 128th cell.
    for (std::uint32_t seed = 0; seed < 5; ++seed)
    {
        SCOPED_TRACE(seed);
        expectAllThatIsKnown({61952 - 32, 66048 - 16, 128 * 500 - 48}, seed);
    }
}

TEST_P(CNeighborCellsTest, AtTheEndsOfTheCells_NothingIsToldOfClampedOnes)
{
    for (std::uint32_t seed = 0; seed < 3; ++seed)
    {
        SCOPED_TRACE(seed);
        expectAllThatIsKnown({0, 60000 / 16 * 16, 131072 - 64}, seed);
        expectAllThatIsKnown({131072 - 64, 0, 60000 / 16 * 16}, seed);
    }
}

TEST_P(CNeighborCellsTest, CubeCoveredFromTwoBlocksTogether_IsKnown)
{
    // All cells but one of the cube in a corner of a block are covered by one in the block, and
    // that one by another outside.
    constexpr Cell c_inside = {2, 1, 1};
    constexpr std::array<Cell, 4> c_outside = {{{-1, -1, -1}, {-2, 0, 0}, {0, -2, 0}, {0, 0, -2}}};
    for (const Cell& outside : c_outside)
    {
        for (std::size_t corner = 0; corner < 8; ++corner)
        {
            const auto placed = [corner](const Cell& cell) {
                Cell result;
                for (std::size_t axis = 0; axis < 3; ++axis)
                {
                    const bool isLow = (corner >> axis & 1U) == 0;
                    result[axis] =
                        isLow ? c_blockEdge + cell[axis] : 2 * c_blockEdge - 1 - cell[axis];
                }
                return result;
            };
            SCOPED_TRACE(testing::PrintToString(placed(outside)));
            expectAllThatIsKnown({60000, 60000, 60000}, {placed(c_inside), placed(outside)}, {});
        }
    }
}

TEST_P(CNeighborCellsTest, FirstAndOtherAFewCellsApart_AnsweredAsRestated)
{
    // In all places of a block and in all directions, so that one is in the nearest brick that the
    // cells between them have beside theirs.
    constexpr float c_middle = 0.3F;
    constexpr std::uint32_t c_low = 60000;
    const CCellGrid grid({c_middle, c_middle, c_middle});
    const LqVector3f center{grid.Middle(0, c_low + 5), grid.Middle(1, c_low + 5),
                            grid.Middle(2, c_low + 5)};
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const auto at = [&](float coordinate) {
            LqVector3f point = center;
            (axis == 0 ? point.x : axis == 1 ? point.y : point.z) = coordinate;
            return point;
        };
        for (std::uint32_t cell = c_low; cell < c_low + 16; ++cell)
        {
            for (const std::uint32_t other : {cell - 4, cell - 3, cell + 3, cell + 4})
            {
                Points queries;
                for (std::uint32_t asked = cell - 5; asked <= cell + 5; ++asked)
                {
                    queries.push_back(at(grid.Middle(axis, asked)));
                }
                SCOPED_TRACE(cell);
                expectRestated(
                    grid.WithMiddle({at(grid.Middle(axis, cell)), at(grid.Middle(axis, other))}), 0,
                    queries);
            }
        }
    }
}

TEST_P(CNeighborCellsTest, PositionsThatAreNotFinite_HaveNoSayInWhereTheCellsAre)
{
    const CCellGrid grid({0.3F, 40, -70});
    const LqVector3f first{grid.Middle(0, 60000), grid.Middle(1, 60000), grid.Middle(2, 60000)};
    for (const LqVector3f& none : {LqVector3f{c_nan, 1e6F, 1e6F}, LqVector3f{1e6F, c_nan, 1e6F},
                                   LqVector3f{1e6F, 1e6F, c_nan}})
    {
        Points points = grid.WithMiddle({first});
        points.resize(3 * points.size(), none);
        const CDeferredNeighborSearch search(PositionsOf(points));
        const auto split = CNearestNeighborSplit::Make(search, 0, c_bound, GetParam());
        ASSERT_NE(split, nullptr);
        EXPECT_EQ(LookAt(*split, PositionsOf({first})).states[0],
                  DataLayer::NeighborCells::c_amongFirst);
    }
}

TEST_P(CNeighborCellsTest, RegionThatDoesNotExist_HasNoneOfTheFirst)
{
    // The lowest block of its region, which is the first one that exists.
    constexpr std::uint32_t c_low = 60032;
    constexpr std::uint32_t c_other = c_low + 128 * 20;
    const CCellGrid grid({0.3F, 0.3F, 0.3F});
    const auto pointAt = [&grid](std::uint32_t x, std::uint32_t y, std::uint32_t z) {
        return LqVector3f{grid.Middle(0, x + 5), grid.Middle(1, y + 5), grid.Middle(2, z + 5)};
    };
    const Points points = grid.WithMiddle({pointAt(c_low, c_low, c_low)});
    Points queries;
    for (std::uint32_t block = 0; block < 512; ++block)
    {
        queries.push_back(
            pointAt(c_other + block % 8 * 16, c_low + block / 8 % 8 * 16, c_low + block / 64 * 16));
    }
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 0, c_bound, GetParam());
    ASSERT_NE(split, nullptr);
    EXPECT_EQ(LookAt(*split, PositionsOf({points[0]})).states[0],
              DataLayer::NeighborCells::c_amongFirst);
    EXPECT_EQ(LookAt(*split, PositionsOf(queries)).states,
              std::vector<std::uint16_t>(512, DataLayer::NeighborCells::c_notAmong));
}

TEST(CNeighborCellsMemory, GetMemorySize_IsThatOfPositionsBlocksAndRegions)
{
    // Others alone, for which no blocks beside theirs are added, each in a region of its own.
    const CCellGrid grid({0.3F, 0.3F, 0.3F});
    // The slots of the table double beyond an eighth of them.
    constexpr std::array<std::array<std::size_t, 2>, 5> c_slotsOfRegions = {
        {{2, 16}, {3, 32}, {4, 32}, {8, 64}, {9, 128}}};
    for (const auto& [numRegions, numSlots] : c_slotsOfRegions)
    {
        SCOPED_TRACE(numRegions);
        Points points;
        for (std::uint32_t region = 1; region < numRegions; ++region)
        {
            const std::uint32_t cell = 128 * 400 + 128 * region + 72;
            points.push_back({grid.Middle(0, cell), grid.Middle(1, 60001), grid.Middle(2, 60001)});
        }
        const Points all = grid.WithMiddle(points);
        const CDeferredNeighborSearch search(PositionsOf(all));
        const auto split = CNearestNeighborSplit::Make(search, -1, c_bound);
        ASSERT_NE(split, nullptr);
        // Each region has one block here. A block has 32 words of states, 64 bricks, a bit for each
        // of those and the first position of each; what does not exist has states and bits too.
        constexpr std::size_t c_statesAndBits = 32 * sizeof(std::uint32_t) + sizeof(std::uint64_t);
        constexpr std::size_t c_firstPositions = 64 * sizeof(std::uint32_t);
        constexpr std::size_t c_region = 512 * sizeof(std::uint32_t);
        EXPECT_EQ(split->GetMemorySize(),
                  sizeof(CNearestNeighborSplit) + all.size() * sizeof(std::uint32_t) +
                      numRegions * c_firstPositions + (numRegions + 1) * c_statesAndBits +
                      (numRegions + 1) * c_region +
                      numSlots * sizeof(DataLayer::NeighborCells::SSlot));
    }
}

/// Most of a cloud in one place, which is the middle of the cells and a corner of its block.
Points MiddleWith(Points points)
{
    points.resize(points.size() + 20, {1, 2, 3});
    return points;
}

TEST_P(CNeighborCellsTest, PositionsThatAreNotFinite_AreInNoCell)
{
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        for (const float value : {c_nan, c_infinity, -c_infinity})
        {
            SCOPED_TRACE(value);
            const auto at = [axis](float coordinate) {
                LqVector3f point{1, 2, 3};
                (axis == 0 ? point.x : axis == 1 ? point.y : point.z) = coordinate;
                return point;
            };
            const Points points = MiddleWith({at(value)});
            const CDeferredNeighborSearch search(PositionsOf(points));
            const auto split = CNearestNeighborSplit::Make(search, 0, c_bound, GetParam());
            ASSERT_NE(split, nullptr);
            // At the end of the cells, which its coordinate is clamped to.
            EXPECT_EQ(LookAt(*split, PositionsOf({at(value < 0 ? -3e38F : 3e38F)})).states[0],
                      DataLayer::NeighborCells::c_notAmong);
        }
    }
}

TEST_P(CNeighborCellsTest, NotFiniteBetweenTwoOfABlock_IsNotWhereTheyAre)
{
    // Its other coordinates are those of the block.
    const Points points = MiddleWith({{-3, 2, 3}, {c_nan, -6, 3}, {-3, 2, 3}});
    expectRestated(points, 2, {{1, -6, 3}, {-3, -6, 3}, {-3, 2, 3}, {0, -6.5F, 3}});
}

TEST_P(CNeighborCellsTest, FiniteBesideNotFiniteInAClampedCell_IsFound)
{
    const Points points =
        MiddleWith({{3e38F, 2, 3}, {c_nan, 2, 3}, {3e38F, 2, 3}, {c_infinity, 2, 3}});
    for (const std::int32_t last : {-1, 0, 1, 2})
    {
        SCOPED_TRACE(last);
        expectRestated(points, last, {{3e38F, 2, 3}});
    }
    expectRestated(MiddleWith({{c_nan, 2, 3}, {3e38F, 2, 3}}), 1, {{3e38F, 2, 3}});
}

TEST_P(CNeighborCellsTest, HundredsInOneBlock_AreAllFound)
{
    // Each on its own, so that none of them answers for another.
    Points points;
    for (int index = 0; index < 700; ++index)
    {
        points.push_back({static_cast<float>(index % 9), static_cast<float>(index / 9 % 9),
                          static_cast<float>(index / 81)});
    }
    Points queries = points;
    for (LqVector3f& query : queries)
    {
        query.x += 0.125F;
    }
    // The middle of the cells, which is a corner of the block.
    points.resize(1500, {9, 9, 9});
    for (const std::int32_t last : {256, 400})
    {
        SCOPED_TRACE(last);
        expectRestated(points, last, queries, 8.0F);
    }
}

}  // namespace
}  // namespace DataLayerTest
