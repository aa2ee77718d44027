#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "DataLayer/PointCloud/CNeighborBlocks.h"
#include "DataLayer/PointCloud/Kernels/NeighborCells.h"
#include "DataLayer/PointCloud/SPositionArray.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace DataLayer
{

/// The cells around a cloud, sparse in space, with what is known of them, and the positions by
/// brick: a cube of four cells an axis.
///
/// A cell is so large that all positions within the bound of any of its points lie in the bricks
/// from one below to one above its own on every axis; see Docs/NeighborCells.md.
class CNeighborCells
{
public:
    /// Cells per bound. Odd quarters: two bricks that are not neighbours are more than the bound
    /// apart, and rounding has its room.
    static constexpr float c_cellsPerBound = 3.9375F;
    /// How far the computed place of a coordinate, in cells, is from its true place at most.
    static constexpr double c_placeError = 0.016;
    static constexpr std::uint32_t c_brickEdgeBits = 2;
    static constexpr std::uint32_t c_noPoint = 0xFFFFFFFFU;

    /// Sorts \p positions in and judges what bricks and cells tell by themselves.
    /// \returns nothing when that takes more than some 300 bytes for each position.
    [[nodiscard]] static std::optional<CNeighborCells> Make(const SPositionArray& positions,
                                                            std::int32_t last, float bound);

    [[nodiscard]] const NeighborCells::SLookup& GetLookup() const { return m_lookup; }

    /// Makes a state that was c_unjudged known. Safe for concurrent use, also with Look().
    void SetState(const std::uint32_t (&cell)[3], std::uint32_t state) const;

    /// The first position of each of the bricks around a cell, its own brick's and the nearest
    /// ones' first, or c_noPoint. The positions of a brick follow by GetNext() down to the lowest.
    struct SBricks
    {
        std::uint32_t first[27];
    };
    [[nodiscard]] SBricks GetBricksAround(const std::uint32_t (&cell)[3]) const;

    /// The position of the same brick with the next lower index, or c_noPoint.
    [[nodiscard]] std::uint32_t GetNext(std::uint32_t index) const { return m_nextPoint[index]; }

    [[nodiscard]] std::size_t GetMemorySize() const;

    CNeighborCells(CNeighborCells&&) = default;
    CNeighborCells& operator=(CNeighborCells&&) = default;

private:
    friend class CNeighborCellsBuilder;

    /// The first position of each brick of a block, at 16 z + 4 y + x.
    struct SBlockPoints
    {
        std::uint32_t first[64];
    };

    CNeighborCells() = default;
    [[nodiscard]] const SBlockPoints* findPoints(std::uint64_t key) const;

    NeighborCells::SLookup m_lookup{};
    CNeighborBlocks m_blocks;
    std::vector<std::uint32_t, TUninitializedAllocator<std::uint32_t>> m_states;
    /// Of the blocks that have positions, which have the lowest numbers, from 1 on.
    std::vector<SBlockPoints, TUninitializedAllocator<SBlockPoints>> m_blockPoints;
    std::vector<std::uint32_t, TUninitializedAllocator<std::uint32_t>> m_nextPoint;
};

}  // namespace DataLayer
