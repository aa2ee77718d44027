#pragma once

#include <cstddef>
#include <cstdint>

/// The memory of a nearest-neighbour index, as the search kernels read it.
///
/// A bounding-volume hierarchy of sixteen children per node, without pointers: child c of node j is
/// number 16 j + c of the level below. Leaves are level 0, and leaf j holds the sixteen points from
/// 16 j on in the order of the tree; only the last node of each level may have fewer than sixteen
/// children. The files of this folder are compiled for several instruction sets, so nothing here
/// may be a function that a linker could take from one of them for all the others.
namespace DataLayer::NearestNeighbor
{

inline constexpr std::uint32_t c_fanOut = 16;
/// Leaves and the levels of nodes that 2^31 - 1 points need above them.
inline constexpr std::uint32_t c_maximumLevels = 8;
/// Greater than the index of any point.
inline constexpr std::uint32_t c_noIndex = 0x7FFFFFFFU;

/// A point while the tree is being built.
struct SRecord
{
    float position[3];
    std::uint32_t index;
};

/// The points of a leaf by coordinate. A slot without a point holds NaN coordinates, which no
/// comparison selects.
struct SLanes
{
    float position[3][c_fanOut];
    std::uint32_t index[c_fanOut];
};

/// A leaf holds its points as records until the tree has been arranged, and as lanes from then on.
union alignas(64) ULeaf {
    SRecord records[c_fanOut];
    SLanes lanes;
};

/// The children of a node by bound: the tight box of each child's points and the lowest of their
/// indices. A slot without a child holds NaN bounds.
struct alignas(64) SNode
{
    float low[3][c_fanOut];
    float high[3][c_fanOut];
    std::uint32_t lowestIndex[c_fanOut];
};

static_assert(sizeof(ULeaf) == std::size_t{16} * c_fanOut, "sixteen bytes a point");
static_assert(sizeof(SNode) == std::size_t{28} * c_fanOut, "28 bytes a child");

/// A level of at most so many nodes gets none above it: a query looks at a second root in less time
/// than at one more level.
inline constexpr std::uint32_t c_mostRoots = 2;

/// A whole tree. There is at least one point; the roots are all nodes of level \p topLevel, which
/// is at least 1.
struct STree
{
    const ULeaf* leaves;
    const SNode* levels[c_maximumLevels];  ///< The nodes of each level; none for level 0.
    std::uint32_t topLevel;
    std::uint32_t numRoots;
};

/// A squared distance and the point that is that far away. Neighbours are ordered by distance,
/// equally near ones by index.
struct SNeighbor
{
    float squaredDistance;
    std::uint32_t index;
};

/// Finds the first of \p tree's points in the order of SNeighbor that stands before \p limit, or
/// \p limit when there is none. The three coordinates of \p query are finite.
using FindFunction = SNeighbor (*)(const STree& tree, const float* query, SNeighbor limit);

}  // namespace DataLayer::NearestNeighbor
