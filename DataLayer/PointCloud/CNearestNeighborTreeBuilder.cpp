#include "DataLayer/PointCloud/CNearestNeighborTreeBuilder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/PointCloud/RecordSelection.h"

namespace DataLayer
{

using NearestNeighbor::c_fanOut;
using NearestNeighbor::SLanes;
using NearestNeighbor::SNode;
using NearestNeighbor::SRecord;
using NearestNeighbor::STree;
using NearestNeighbor::ULeaf;

namespace
{

constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float c_infinity = std::numeric_limits<float>::infinity();

/// Stands for the index where an axis is expected.
constexpr std::uint32_t c_byIndex = 3;

SNode EmptyNode()
{
    SNode node;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        std::fill_n(node.low[axis], c_fanOut, c_nan);
        std::fill_n(node.high[axis], c_fanOut, c_nan);
    }
    std::fill_n(node.lowestIndex, c_fanOut, NearestNeighbor::c_noIndex);
    return node;
}

/// The axis along which every record number \p step spreads farthest, or c_byIndex when all of them
/// are in one place.
std::uint32_t LongestSide(const SRecord* first, std::size_t count, std::size_t step)
{
    // A record at a time; what the index is as a float does not matter.
    using SFloats = float __attribute__((vector_size(sizeof(SRecord))));
    SFloats low = {c_infinity, c_infinity, c_infinity, 0.0F};
    SFloats high = -low;
    for (std::size_t index = 0; index < count; index += step)
    {
        SFloats values;
        std::memcpy(&values, first + index, sizeof values);
        low = values < low ? values : low;
        high = values > high ? values : high;
    }
    std::uint32_t longest = c_byIndex;
    double length = 0.0;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const double side = static_cast<double>(high[axis]) - static_cast<double>(low[axis]);
        if (side > length)
        {
            longest = axis;
            length = side;
        }
    }
    return longest;
}

/// The axis along which the records spread farthest, as a sample of them tells, or c_byIndex when
/// all positions are equal.
std::uint32_t LongestSide(const SRecord* first, const SRecord* last)
{
    constexpr std::size_t c_sampleSize = 512;
    const auto count = static_cast<std::size_t>(last - first);
    const std::uint32_t longest = LongestSide(first, count, count / c_sampleSize + 1);
    return longest == c_byIndex ? LongestSide(first, count, 1) : longest;
}

}  // namespace

CNearestNeighborTreeBuilder::CNearestNeighborTreeBuilder(std::span<ULeaf> leaves,
                                                         std::uint64_t count,
                                                         std::vector<SNode>& nodes)
    : m_leaves(leaves), m_nodes(nodes), m_count(count)
{}

STree CNearestNeighborTreeBuilder::Build()
{
    makeLevels();
    buildChildren({m_topLevel, 0, m_sizes[m_topLevel]});
    STree tree{m_leaves.data(), {}, m_topLevel, m_sizes[m_topLevel]};
    std::copy(std::begin(m_levels), std::end(m_levels), std::begin(tree.levels));
    return tree;
}

void CNearestNeighborTreeBuilder::makeLevels()
{
    m_sizes[0] = static_cast<std::uint32_t>(m_leaves.size());
    std::size_t nodeCount = 0;
    do
    {
        ++m_topLevel;
        m_sizes[m_topLevel] = (m_sizes[m_topLevel - 1] + c_fanOut - 1) / c_fanOut;
        nodeCount += m_sizes[m_topLevel];
    } while (m_sizes[m_topLevel] > NearestNeighbor::c_mostRoots);

    Base::ReserveInLargePages(m_nodes, nodeCount);
    m_nodes.assign(nodeCount, EmptyNode());
    SNode* next = m_nodes.data();
    for (std::uint32_t level = 1; level <= m_topLevel; ++level)
    {
        m_levels[level] = next;
        next += m_sizes[level];
    }
}

std::uint64_t CNearestNeighborTreeBuilder::firstRecord(std::uint32_t level,
                                                       std::uint32_t number) const
{
    const std::uint64_t recordsPerChild = std::uint64_t{c_fanOut} << (4U * level);
    return std::min(number * recordsPerChild, m_count);
}

void CNearestNeighborTreeBuilder::buildChildren(const SChildren& children)
{
    if (children.end - children.first == 1)
    {
        buildChild(children.level, children.first);
        return;
    }
    constexpr std::uint64_t c_worthSharing = 1U << 14U;
    const std::uint32_t middle = children.first + (children.end - children.first + 1) / 2;
    SRecord* const records = m_leaves.data()->records;
    SRecord* const first = records + firstRecord(children.level, children.first);
    SRecord* const last = records + firstRecord(children.level, children.end);
    SRecord* const split = records + firstRecord(children.level, middle);
    const std::uint32_t key = LongestSide(first, last);
    if (key == c_byIndex)
    {
        NearestNeighbor::SelectByIndex(first, split, last);
    }
    else
    {
        NearestNeighbor::SelectByCoordinate(first, split, last, key);
    }
    const std::array<SChildren, 2> halves = {
        {{children.level, children.first, middle}, {children.level, middle, children.end}}};
    if (static_cast<std::uint64_t>(last - first) < c_worthSharing)
    {
        buildChildren(halves[0]);
        buildChildren(halves[1]);
        return;
    }
    Base::ParallelFor(2, [&](std::uint32_t half) { buildChildren(halves[half]); });
}

void CNearestNeighborTreeBuilder::buildChild(std::uint32_t level, std::uint32_t number)
{
    if (level == 0)
    {
        finishLeaf(number);
        return;
    }
    const std::uint32_t firstChild = number * c_fanOut;
    const std::uint32_t childCount = std::min(c_fanOut, m_sizes[level - 1] - firstChild);
    buildChildren({level - 1, firstChild, firstChild + childCount});
    if (level == m_topLevel)
    {
        return;
    }
    const SNode& node = m_levels[level][number];
    float low[3];
    float high[3];
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        low[axis] = *std::min_element(node.low[axis], node.low[axis] + childCount);
        high[axis] = *std::max_element(node.high[axis], node.high[axis] + childCount);
    }
    describeToParent(level, number, low, high,
                     *std::min_element(node.lowestIndex, node.lowestIndex + childCount));
}

void CNearestNeighborTreeBuilder::finishLeaf(std::uint32_t number)
{
    ULeaf& leaf = m_leaves[number];
    const auto count =
        static_cast<std::uint32_t>(firstRecord(0, number + 1) - firstRecord(0, number));
    std::array<SRecord, c_fanOut> records;
    std::copy_n(leaf.records, c_fanOut, records.begin());
    std::fill(records.begin() + count, records.end(),
              SRecord{{c_nan, c_nan, c_nan}, NearestNeighbor::c_noIndex});

    SLanes lanes;
    float low[3];
    float high[3];
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        for (std::uint32_t slot = 0; slot < c_fanOut; ++slot)
        {
            lanes.position[axis][slot] = records[slot].position[axis];
        }
        low[axis] = *std::min_element(lanes.position[axis], lanes.position[axis] + count);
        high[axis] = *std::max_element(lanes.position[axis], lanes.position[axis] + count);
    }
    for (std::uint32_t slot = 0; slot < c_fanOut; ++slot)
    {
        lanes.index[slot] = records[slot].index;
    }
    leaf.lanes = lanes;
    describeToParent(0, number, low, high, *std::min_element(lanes.index, lanes.index + c_fanOut));
}

void CNearestNeighborTreeBuilder::describeToParent(std::uint32_t level, std::uint32_t number,
                                                   const float (&low)[3], const float (&high)[3],
                                                   std::uint32_t lowestIndex)
{
    SNode& parent = m_levels[level + 1][number / c_fanOut];
    const std::uint32_t slot = number % c_fanOut;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        parent.low[axis][slot] = low[axis];
        parent.high[axis][slot] = high[axis];
    }
    parent.lowestIndex[slot] = lowestIndex;
}

}  // namespace DataLayer
