#include "DataLayer/PointCloud/NeighborBlockJudge.h"

#include <cstddef>
#include <cstring>

#include "DataLayer/PointCloud/CNeighborCellCover.h"

namespace DataLayer
{

using NeighborCells::c_blockEdge;

namespace
{

constexpr std::uint32_t c_bricksPerAxis = 4;
constexpr std::uint32_t c_brickEdge = c_blockEdge / c_bricksPerAxis;

/// The bricks of a block that are among or beside the given ones of it and of the blocks before and
/// behind it on an axis.
std::uint64_t SpreadBricks(std::uint64_t before, std::uint64_t bricks, std::uint64_t behind,
                           std::uint32_t axis)
{
    const std::uint32_t step = 1U << (2 * axis);
    return bricks | (bricks & ~c_highSideBricks[axis]) << step |
           (bricks & ~c_lowSideBricks[axis]) >> step |
           (before & c_highSideBricks[axis]) >> (3 * step) |
           (behind & c_lowSideBricks[axis]) << (3 * step);
}

/// The bricks of the middle one of 27 blocks that are among or beside those of a kind.
std::uint64_t SpreadBricks(const SBlocksAround& around, std::uint64_t SBlockBricks::*kind)
{
    std::uint64_t planes[3];
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        std::uint64_t rows[3];
        for (std::size_t row = 0; row < 3; ++row)
        {
            const SBlockBricks* const blocks = around.bricks + 9 * plane + 3 * row;
            rows[row] = SpreadBricks(blocks[0].*kind, blocks[1].*kind, blocks[2].*kind, 0);
        }
        planes[plane] = SpreadBricks(rows[0], rows[1], rows[2], 1);
    }
    return SpreadBricks(planes[0], planes[1], planes[2], 2);
}

/// The cubes of a row of four bricks, for both rows of them as the words of states have them.
std::uint32_t CubesOf(std::uint64_t bricks, std::uint32_t brickY, std::uint32_t brickZ)
{
    const auto four = static_cast<std::uint32_t>(bricks >> (16 * brickZ + 4 * brickY)) & 15U;
    // The bricks' bits two apart, then each twice and all in two rows.
    const std::uint32_t spread = (four | four << 2U) & 0x33U;
    return ((spread | spread << 1U) & 0x55U) * 0x303U;
}

/// The cubes whose cells are all among the given ones: of four rows of those in each of two planes,
/// as the words of states have them.
std::uint32_t WholeCubes(const std::uint16_t* lower, const std::uint16_t* upper)
{
    std::uint64_t rows;
    std::uint64_t upperRows;
    std::memcpy(&rows, lower, sizeof rows);
    std::memcpy(&upperRows, upper, sizeof upperRows);
    rows &= upperRows;
    // A row of cubes is left in the first and in the third row, at every second bit of these.
    rows &= rows >> 16U;
    rows &= rows >> 1U;
    // Which bits are then moved together.
    rows &= 0x0000555500005555U;
    rows = (rows | rows >> 1U) & 0x0000333300003333U;
    rows = (rows | rows >> 2U) & 0x00000F0F00000F0FU;
    rows = (rows | rows >> 4U) & 0x000000FF000000FFU;
    return static_cast<std::uint32_t>(rows | rows >> 24U) & 0xFFFFU;
}

void SetPlanes(const SBlocksAround& around, CNeighborCellCover& cover)
{
    std::uint64_t bricks[3]{};
    for (std::size_t block = 0; block < 27; ++block)
    {
        bricks[block / 9] |= around.bricks[block].first;
    }
    for (std::uint32_t z = 0; z < CNeighborCellCover::c_edge; ++z)
    {
        // From the last planes of the blocks before to the first ones of those behind.
        constexpr std::uint32_t c_skipped = c_blockEdge - CNeighborCellCover::c_margin;
        const std::uint32_t plane = (z + c_skipped) % c_blockEdge;
        const std::uint32_t place = (z + c_skipped) / c_blockEdge;
        if ((bricks[place] & c_lowSideBricks[2] << (16 * (plane / c_brickEdge))) == 0)
        {
            continue;
        }
        CNeighborCellCover::SPlane rows;
        for (std::size_t direction = 0; direction < 9; ++direction)
        {
            rows.rows[direction / 3][direction % 3] =
                around.rows[9 * place + direction] + plane * c_blockEdge;
        }
        cover.SetPlane(z, rows);
    }
}

}  // namespace

// A brick is more than the bound away from all that is not beside it: without one of the first
// positions there, its points have none for a neighbour. Where one of them covers a cell, and none
// of the other positions is beside the cell's brick, the neighbour is one of the first.
std::uint64_t JudgeNeighborBlock(const SBlocksAround& around, std::uint32_t* states)
{
    const std::uint64_t far = ~SpreadBricks(around, &SBlockBricks::first);
    const std::uint64_t lonely = ~SpreadBricks(around, &SBlockBricks::other);
    CNeighborCellCover cover;
    SetPlanes(around, cover);
    cover.Spread();
    for (std::uint32_t z = 0; z < c_blockEdge; z += 2)
    {
        CNeighborCellCover::Rows lower;
        CNeighborCellCover::Rows upper;
        cover.Cover(z, lower);
        cover.Cover(z + 1, upper);
        for (std::uint32_t brickY = 0; brickY < c_bricksPerAxis; ++brickY)
        {
            const std::uint32_t brickZ = z / c_brickEdge;
            const std::uint32_t y = brickY * c_brickEdge;
            *states++ = CubesOf(far, brickY, brickZ) << 16U |
                        (CubesOf(lonely, brickY, brickZ) & WholeCubes(lower + y, upper + y));
        }
    }
    return lonely;
}

}  // namespace DataLayer
