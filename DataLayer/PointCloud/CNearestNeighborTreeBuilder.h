#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "DataLayer/PointCloud/Kernels/NearestNeighborTree.h"

namespace DataLayer
{

/// Arranges points into the tree of a nearest-neighbour index.
///
/// Points are halved again and again, at the median along the longest side of their box, into
/// groups that fill whole leaves and whole nodes. A group of points that all coincide is halved by
/// index, so that a search that has found the lowest of them can skip the others unseen.
class CNearestNeighborTreeBuilder
{
public:
    /// Works in \p leaves, whose slots hold \p count records, at least one, from the first slot on;
    /// there are as many leaves as those need. The nodes are made in \p nodes. Both must live.
    CNearestNeighborTreeBuilder(std::span<NearestNeighbor::ULeaf> leaves, std::uint64_t count,
                                std::vector<NearestNeighbor::SNode>& nodes);

    /// Arranges the leaves, fills the nodes and returns the tree that they make. Large parts are
    /// built on the platform's worker threads; the result is the same for any number of them.
    [[nodiscard]] NearestNeighbor::STree Build();

private:
    /// The children first to end - 1 of one node.
    struct SChildren
    {
        std::uint32_t level;  ///< The children's own.
        std::uint32_t first;
        std::uint32_t end;
    };

    void makeLevels();
    [[nodiscard]] std::uint64_t firstRecord(std::uint32_t level, std::uint32_t number) const;
    void buildChildren(const SChildren& children);
    void buildChild(std::uint32_t level, std::uint32_t number);
    void finishLeaf(std::uint32_t number);
    void describeToParent(std::uint32_t level, std::uint32_t number, const float (&low)[3],
                          const float (&high)[3], std::uint32_t lowestIndex);

    std::span<NearestNeighbor::ULeaf> m_leaves;
    std::vector<NearestNeighbor::SNode>& m_nodes;
    std::uint64_t m_count;
    NearestNeighbor::SNode* m_levels[NearestNeighbor::c_maximumLevels] = {};
    std::uint32_t m_sizes[NearestNeighbor::c_maximumLevels] = {};  ///< Leaves or nodes per level.
    std::uint32_t m_topLevel = 0;
};

}  // namespace DataLayer
