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

/// The cells around a cloud, sparse in space, with what is known of cubes of two cells an axis, and
/// the positions by brick, of four cells an axis.
///
/// A cell is so large that all positions within the bound of any of its points lie in the bricks
/// from one below to one above its own on every axis; see Docs/NeighborCells.md.
class CNeighborCells
{
public:
    /// Cells per bound: a little less than the four cells of a brick, so that points in bricks that
    /// are not neighbours are more than the bound apart, however their places were rounded.
    static constexpr float c_cellsPerBound = 3.9375F;
    /// How far a query's place, in cells, is from its true place at most, however it was computed.
    static constexpr double c_queryError = 0.042;
    static constexpr std::uint32_t c_brickEdgeBits = 2;
    static constexpr std::uint32_t c_noPoint = 0xFFFFFFFFU;

    /// Sorts \p positions in and judges what bricks and cells tell by themselves.
    /// \returns nothing when that takes more than some 160 bytes for each position.
    [[nodiscard]] static std::optional<CNeighborCells> Make(const SPositionArray& positions,
                                                            std::int32_t last, float bound);

    /// What the kernels read.
    [[nodiscard]] const NeighborCells::SLookup& GetLookup() const { return m_lookup; }

    /// The state of a cell's cube, and one that becomes known of a cube that was c_unjudged. Both
    /// are safe for concurrent use.
    [[nodiscard]] std::uint32_t GetState(const std::uint32_t (&cell)[3]) const;
    void SetState(const std::uint32_t (&cell)[3], std::uint32_t state) const;

    /// Whether the bricks around a cell hold none but first positions.
    [[nodiscard]] bool AreAllFirstAround(const std::uint32_t (&cell)[3]) const;

    class CBricks;

    /// Where the first position of a cell's brick stands, or null where the block has none.
    [[nodiscard]] const std::uint32_t* FindFirstPoint(const std::uint32_t (&cell)[3]) const;

    /// The position of the same brick with the next lower index, or c_noPoint.
    [[nodiscard]] std::uint32_t GetNext(std::uint32_t index) const { return m_nextPoint[index]; }
    /// Has it fetched.
    void FetchNext(std::uint32_t index) const { __builtin_prefetch(&m_nextPoint[index]); }

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

    /// What is known of a block's cubes.
    struct alignas(64) SBlockStates
    {
        std::uint32_t words[NeighborCells::c_stateWords];
    };
    using States = std::vector<SBlockStates, TUninitializedAllocator<SBlockStates>>;

    CNeighborCells() = default;
    [[nodiscard]] std::uint32_t& wordOf(const std::uint32_t (&cell)[3]) const;
    [[nodiscard]] const SBlockPoints* findPoints(std::uint64_t key) const;

    NeighborCells::SLookup m_lookup{};
    CNeighborBlocks m_blocks;
    /// Of the blocks that do not exist, then of each.
    mutable States m_states;
    /// Of the same, the bricks that have none but first positions beside them.
    std::vector<std::uint64_t> m_lonelyBricks;
    /// Of the blocks that have positions, which have the lowest numbers, from 1 on.
    std::vector<SBlockPoints, TUninitializedAllocator<SBlockPoints>> m_blockPoints;
    std::vector<std::uint32_t, TUninitializedAllocator<std::uint32_t>> m_nextPoint;
};

/// The bricks around a cell: its own and the nearest ones first. Their blocks are found as they are
/// asked for.
class CNeighborCells::CBricks
{
public:
    static constexpr std::size_t c_count = 27;

    CBricks(const CNeighborCells& cells, const std::uint32_t (&cell)[3]);

    /// The first position of a brick, or c_noPoint. Its others follow by GetNext() down to the
    /// lowest.
    [[nodiscard]] std::uint32_t GetFirst(std::size_t place);

private:
    const CNeighborCells& m_cells;
    std::uint32_t m_low[3];  ///< The lowest of the bricks on each axis.
    /// The bricks lie in up to two blocks an axis; a bit for each of those that is found.
    std::uint32_t m_found = 0;
    const SBlockPoints* m_blocks[8]{};
};

}  // namespace DataLayer
