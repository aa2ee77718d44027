#include "DataLayer/PointCloud/CNearestNeighborTreeBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>
#include <vector>

namespace
{

using DataLayer::NearestNeighbor::c_fanOut;
using DataLayer::NearestNeighbor::c_noIndex;
using DataLayer::NearestNeighbor::SLanes;
using DataLayer::NearestNeighbor::SNode;
using DataLayer::NearestNeighbor::SRecord;
using DataLayer::NearestNeighbor::STree;
using DataLayer::NearestNeighbor::ULeaf;

using Records = std::vector<SRecord>;
using Indices = std::vector<std::uint32_t>;

/// A tree and the memory that it lies in.
class CTree
{
public:
    explicit CTree(const Records& records) : m_leaves((records.size() + c_fanOut - 1) / c_fanOut)
    {
        std::copy(records.begin(), records.end(), m_leaves.data()->records);
        m_tree = DataLayer::CNearestNeighborTreeBuilder(m_leaves, records.size(), m_nodes).Build();
    }

    [[nodiscard]] const STree& Get() const { return m_tree; }
    [[nodiscard]] std::size_t CountLeaves() const { return m_leaves.size(); }
    [[nodiscard]] std::size_t CountNodes() const { return m_nodes.size(); }

    /// The indices of a leaf's points, in ascending order.
    [[nodiscard]] Indices IndicesOf(std::size_t leaf) const
    {
        const SLanes& lanes = m_leaves[leaf].lanes;
        Indices indices;
        for (std::size_t slot = 0; slot < c_fanOut; ++slot)
        {
            if (!std::isnan(lanes.position[0][slot]))
            {
                indices.push_back(lanes.index[slot]);
            }
        }
        std::sort(indices.begin(), indices.end());
        return indices;
    }

    /// Expects leaf j to hold the points 16 j to 16 j + 15.
    void ExpectLeavesInOrder(std::size_t count) const
    {
        for (std::size_t leaf = 0; leaf < m_leaves.size(); ++leaf)
        {
            Indices expected(std::min<std::size_t>(c_fanOut, count - leaf * c_fanOut));
            std::iota(expected.begin(), expected.end(), static_cast<std::uint32_t>(leaf * 16));
            ASSERT_EQ(IndicesOf(leaf), expected) << leaf;
        }
    }

private:
    std::vector<ULeaf> m_leaves;
    std::vector<SNode> m_nodes;
    STree m_tree;
};

/// \p count records at the origin, numbered in their order.
Records MakeRecords(std::uint32_t count)
{
    Records records(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        records[index] = {{0.0F, 0.0F, 0.0F}, index};
    }
    return records;
}

Records Shuffled(Records records)
{
    std::shuffle(records.begin(), records.end(), std::mt19937(1));
    return records;
}

TEST(CNearestNeighborTreeBuilder, PointsOnALine_FillLeavesInTheirOrder)
{
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        for (const std::uint32_t count : {1U, 16U, 17U, 256U, 257U, 1000U, 5000U})
        {
            Records records = MakeRecords(count);
            for (SRecord& record : records)
            {
                record.position[axis] = static_cast<float>(record.index) - 300.0F;
            }
            CTree(Shuffled(records)).ExpectLeavesInOrder(count);
        }
    }
}

TEST(CNearestNeighborTreeBuilder, LongestSide_IsHalvedWhereverItLies)
{
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        for (const std::uint32_t other : {(axis + 1) % 3, (axis + 2) % 3})
        {
            for (const float place : {-100.0F, -4.5F, 100.0F})
            {
                Records records = MakeRecords(32);
                for (SRecord& record : records)
                {
                    record.position[axis] = record.index < 16 ? -5.0F : 5.0F;
                    record.position[other] = place + (record.index % 2 == 0 ? 0.0F : 9.0F);
                }
                CTree(Shuffled(records)).ExpectLeavesInOrder(32);
            }
        }
    }
}

TEST(CNearestNeighborTreeBuilder, SideShorterThanOne_IsHalved)
{
    Records records = MakeRecords(32);
    for (SRecord& record : records)
    {
        record.position[1] = 1e-3F * static_cast<float>(31 - record.index);
    }
    const CTree tree(records);
    EXPECT_EQ(tree.IndicesOf(0).front(), 16U);
    EXPECT_EQ(tree.IndicesOf(1).back(), 15U);
}

TEST(CNearestNeighborTreeBuilder, PointsInOnePlace_AreHalvedByIndex)
{
    for (const std::uint32_t count : {40U, 1000U})
    {
        CTree(Shuffled(MakeRecords(count))).ExpectLeavesInOrder(count);
    }
}

TEST(CNearestNeighborTreeBuilder, PointThatTheSampleMisses_IsSeparatedByItsPlace)
{
    for (const std::uint32_t number : {1U, 1023U})
    {
        Records records = MakeRecords(1024);
        records[number].position[2] = number == 1 ? 5.0F : -5.0F;
        const CTree tree(records);
        const Indices indices = tree.IndicesOf(number == 1 ? tree.CountLeaves() - 1 : 0);
        EXPECT_EQ(std::count(indices.begin(), indices.end(), number), 1) << number;
    }
}

TEST(CNearestNeighborTreeBuilder, Levels_HaveAsManyNodesAsTheirChildrenNeed)
{
    const CTree smallest(MakeRecords(1));
    EXPECT_EQ(smallest.Get().topLevel, 1U);
    EXPECT_EQ(smallest.CountNodes(), 1U);
    const CTree oneNode(MakeRecords(256));
    EXPECT_EQ(oneNode.Get().topLevel, 1U);
    EXPECT_EQ(oneNode.CountNodes(), 1U);
    EXPECT_EQ(oneNode.Get().numRoots, 1U);
    for (const std::uint32_t count : {257U, 512U})
    {
        const CTree twoNodes(MakeRecords(count));
        EXPECT_EQ(twoNodes.Get().topLevel, 1U) << count;
        EXPECT_EQ(twoNodes.CountNodes(), 2U) << count;
        EXPECT_EQ(twoNodes.Get().numRoots, 2U) << count;
    }
    const CTree threeNodes(MakeRecords(513));
    EXPECT_EQ(threeNodes.Get().topLevel, 2U);
    EXPECT_EQ(threeNodes.CountNodes(), 4U);
    EXPECT_EQ(threeNodes.Get().numRoots, 1U);
    EXPECT_EQ(threeNodes.Get().levels[1], threeNodes.Get().levels[2] - 3);
    EXPECT_EQ(threeNodes.Get().levels[0], nullptr);
}

TEST(CNearestNeighborTreeBuilder, Nodes_TellTheBoxesAndTheLowestIndices)
{
    Records records = MakeRecords(2 * 16 * 16 + 3);
    for (SRecord& record : records)
    {
        const auto number = static_cast<float>(record.index);
        record.position[0] = number;
        record.position[1] = 7.0F - 0.5F * number;
        record.position[2] = -0.25F * number;
    }
    const CTree tree(Shuffled(records));
    const SNode& root = tree.Get().levels[2][0];
    for (const std::uint32_t child : {0U, 1U, 2U})
    {
        const float first = 256.0F * static_cast<float>(child);
        const float last = child == 2 ? 514.0F : first + 255.0F;
        EXPECT_EQ(root.low[0][child], first);
        EXPECT_EQ(root.high[0][child], last);
        EXPECT_EQ(root.low[1][child], 7.0F - 0.5F * last);
        EXPECT_EQ(root.high[1][child], 7.0F - 0.5F * first);
        EXPECT_EQ(root.low[2][child], -0.25F * last);
        EXPECT_EQ(root.high[2][child], -0.25F * first);
        EXPECT_EQ(root.lowestIndex[child], child * 256);
    }
    const SNode& lastNode = tree.Get().levels[1][2];
    EXPECT_EQ(lastNode.low[0][0], 512.0F);
    EXPECT_EQ(lastNode.high[0][0], 514.0F);
    for (std::uint32_t child = 1; child < c_fanOut; ++child)
    {
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            EXPECT_TRUE(std::isnan(lastNode.low[axis][child]));
            EXPECT_TRUE(std::isnan(lastNode.high[axis][child]));
        }
        EXPECT_EQ(lastNode.lowestIndex[child], c_noIndex);
    }
}

TEST(CNearestNeighborTreeBuilder, SlotsWithoutAPoint_HaveNoPlace)
{
    const CTree tree(MakeRecords(5));
    const SLanes& lanes = tree.Get().leaves[0].lanes;
    for (std::uint32_t slot = 0; slot < c_fanOut; ++slot)
    {
        for (const auto& coordinates : lanes.position)
        {
            EXPECT_EQ(std::isnan(coordinates[slot]), slot >= 5);
        }
        EXPECT_EQ(lanes.index[slot], slot < 5 ? slot : c_noIndex);
    }
}

}  // namespace
