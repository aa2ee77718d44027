#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

namespace DataLayer
{

/// The numbers of the blocks that exist, from 1 on in the order in which they were added, by their
/// keys. Sparse in space: a region with blocks takes two kilobytes.
class CNeighborBlocks
{
public:
    CNeighborBlocks();

    /// The number of a block, which is added if it is new.
    [[nodiscard]] std::uint32_t Add(std::uint64_t key);

    /// The numbers of the blocks around a block and its own, 0 for those that do not exist: before,
    /// at and behind it on x, then on y, then on z.
    struct SNeighbors
    {
        std::uint32_t numbers[27];
    };
    [[nodiscard]] SNeighbors FindAround(std::uint64_t key) const;

    [[nodiscard]] std::uint32_t GetRegionCount() const { return m_numRegions; }
    [[nodiscard]] std::size_t GetMemorySize() const;

    /// Tells \p lookup where the blocks are, until another one is added.
    void Publish(NeighborCells::SLookup& lookup) const;

private:
    [[nodiscard]] std::size_t placeOf(std::uint32_t region) const;
    [[nodiscard]] std::uint32_t firstBlockOf(std::uint32_t region);
    void growTable();

    std::vector<NeighborCells::SSlot> m_slots;
    std::vector<std::uint32_t> m_firstStates;
    std::uint32_t m_numRegions = 0;
    std::uint32_t m_count = 0;
    NeighborCells::SSlot m_last{NeighborCells::c_noRegion, 0};  ///< The region added to last.
};

/// The keys of the blocks around a block and its own, in the order of SNeighbors.
struct SNeighborKeys
{
    explicit SNeighborKeys(std::uint64_t key);

    std::uint64_t keys[27];
};

/// Whether a block is the first or the last on an axis.
[[nodiscard]] bool IsBlockAtAnEnd(std::uint64_t key);

}  // namespace DataLayer
