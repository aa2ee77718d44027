#pragma once

#include <cstdint>
#include <vector>

#include "DataLayer/PointCloud/CNeighborCells.h"
#include "DataLayer/PointCloud/NeighborBlockJudge.h"

namespace DataLayer
{

/// Fills the cells around a cloud. Large clouds are worked through on the platform's worker
/// threads; the result is the same for any number of them.
class CNeighborCellsBuilder
{
public:
    /// The parameters of CNeighborCells::Make(), and what it makes, which is empty so far.
    CNeighborCellsBuilder(const SPositionArray& positions, std::int32_t last, float bound,
                          CNeighborCells& cells);

    /// Whether the cells are worth their memory; they are of no use if not.
    [[nodiscard]] bool Build();

private:
    /// Consecutive positions in the same block. First it is known by its key, then by its place in
    /// `m_keys`, which is its number less 1.
    struct SRun
    {
        std::uint64_t block;
        std::uint32_t begin;
        std::uint32_t end;
    };
    using Runs = std::vector<SRun>;

    struct SRows
    {
        BlockRows rows;
    };

    void chooseFrame();
    [[nodiscard]] bool addOccupiedBlocks();
    [[nodiscard]] Runs findRuns(std::uint64_t begin, std::uint64_t end);
    void sortRuns(const std::vector<Runs>& runs);
    void addPositions();
    void addPositionsOf(std::size_t block);
    [[nodiscard]] bool addNeighbors();
    [[nodiscard]] std::uint32_t blockAt(std::uint64_t key);
    [[nodiscard]] bool isTooLarge() const;
    void judgeBlock(std::size_t block);
    [[nodiscard]] SBlocksAround blocksAround(std::size_t block) const;

    const SPositionArray& m_positions;
    std::uint32_t m_firstCount;  ///< Positions of a lower index are the first.
    float m_bound;
    CNeighborCells& m_cells;
    std::uint64_t m_maximumBlocks;
    std::uint64_t m_maximumRegions;

    /// Of each finite position: its cell's numbers in its block.
    std::vector<std::uint16_t, TUninitializedAllocator<std::uint16_t>> m_places;
    std::vector<std::uint64_t> m_keys;  ///< Of each block; those with positions come first.
    /// Of each block with positions.
    std::vector<SBlockBricks> m_bricks;
    std::vector<SRows, TUninitializedAllocator<SRows>> m_rows;
    Runs m_runs;  ///< Sorted by block, those of one block in the order of their positions.
    std::vector<std::size_t> m_firstRun;  ///< Of each block with positions, and behind the last.
};

}  // namespace DataLayer
