#pragma once

#include <cstdint>

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

namespace DataLayer
{

/// The cells of a block with one of the first positions: a bit for each x in row `16 z + y`.
using BlockRows = std::uint16_t[NeighborCells::c_blockEdge * NeighborCells::c_blockEdge];

/// The bricks of a block with one of the first positions and with one of the others: bit
/// 16 z + 4 y + x.
struct SBlockBricks
{
    std::uint64_t first;
    std::uint64_t other;
};

/// The rows of a block without any of the first positions.
inline constexpr BlockRows c_noRows{};

/// Where the blocks around a block and itself have positions, in the order of
/// CNeighborBlocks::SNeighbors. Only the bricks beside the block count.
struct SBlocksAround
{
    SBlockBricks bricks[27];
    const std::uint16_t* rows[27];
};

/// Writes the states of the middle one of some blocks that bricks and cells tell by themselves. See
/// Docs/NeighborCells.md.
/// \returns its bricks that have none but first positions beside them.
std::uint64_t JudgeNeighborBlock(const SBlocksAround& around, std::uint32_t* states);

/// The bricks of a block on its low and its high side of each axis.
inline constexpr std::uint64_t c_lowSideBricks[3] = {0x1111111111111111U, 0x000F000F000F000FU,
                                                     0x000000000000FFFFU};
inline constexpr std::uint64_t c_highSideBricks[3] = {0x8888888888888888U, 0xF000F000F000F000U,
                                                      0xFFFF000000000000U};

}  // namespace DataLayer
