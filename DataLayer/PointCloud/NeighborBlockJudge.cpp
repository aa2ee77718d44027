#include "DataLayer/PointCloud/NeighborBlockJudge.h"

#include <cstddef>

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
std::uint64_t spreadBricks(std::uint64_t before, std::uint64_t bricks, std::uint64_t behind,
                           std::uint32_t axis)
{
    const std::uint32_t step = 1U << (2 * axis);
    return bricks | (bricks & ~c_highSideBricks[axis]) << step |
           (bricks & ~c_lowSideBricks[axis]) >> step |
           (before & c_highSideBricks[axis]) >> (3 * step) |
           (behind & c_lowSideBricks[axis]) << (3 * step);
}

/// The bricks of the middle one of 27 blocks that are among or beside those of a kind.
std::uint64_t spreadBricks(const SBlocksAround& around, std::uint64_t SBlockBricks::*kind)
{
    std::uint64_t planes[3];
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        std::uint64_t rows[3];
        for (std::size_t row = 0; row < 3; ++row)
        {
            const SBlockBricks* const blocks = around.bricks + 9 * plane + 3 * row;
            rows[row] = spreadBricks(blocks[0].*kind, blocks[1].*kind, blocks[2].*kind, 0);
        }
        planes[plane] = spreadBricks(rows[0], rows[1], rows[2], 1);
    }
    return spreadBricks(planes[0], planes[1], planes[2], 2);
}

/// The cells of the given bricks in each row of a plane of them.
void fillRows(std::uint64_t bricks, std::uint32_t plane, std::uint16_t (&rows)[c_blockEdge])
{
    constexpr std::uint32_t c_firstOfBricks = 0x1111;
    for (std::uint32_t y = 0; y < c_bricksPerAxis; ++y)
    {
        const auto four = static_cast<std::uint32_t>(bricks >> (16 * plane + 4 * y)) & 15U;
        const std::uint32_t firsts =
            (four | four << 3U | four << 6U | four << 9U) & c_firstOfBricks;
        for (std::uint32_t row = 0; row < c_brickEdge; ++row)
        {
            rows[c_brickEdge * y + row] = static_cast<std::uint16_t>(15U * firsts);
        }
    }
}

void setPlanes(const SBlocksAround& around, CNeighborCellCover& cover)
{
    for (std::uint32_t z = 0; z < CNeighborCellCover::c_edge; ++z)
    {
        // From the last planes of the blocks before to the first ones of those behind.
        constexpr std::uint32_t c_skipped = c_blockEdge - CNeighborCellCover::c_margin;
        const std::uint32_t plane = (z + c_skipped) % c_blockEdge;
        const std::uint64_t bricks = c_lowSideBricks[2] << (16 * (plane / c_brickEdge));
        CNeighborCellCover::SPlane rows{};
        bool isEmpty = true;
        for (std::size_t direction = 0; direction < 9; ++direction)
        {
            const std::size_t block = 9 * ((z + c_skipped) / c_blockEdge) + direction;
            if ((around.bricks[block].first & bricks) != 0)
            {
                rows.rows[direction / 3][direction % 3] = around.rows[block] + plane * c_blockEdge;
                isEmpty = false;
            }
        }
        if (!isEmpty)
        {
            cover.SetPlane(z, rows);
        }
    }
}

}  // namespace

// A brick is more than the bound away from all that is not beside it: without one of the first
// positions there, its points have none for a neighbour. Where one of them covers a cell, and none
// of the other positions is beside the cell's brick, the neighbour is one of the first.
void JudgeNeighborBlock(const SBlocksAround& around, std::uint32_t* states)
{
    const std::uint64_t far = ~spreadBricks(around, &SBlockBricks::first);
    const std::uint64_t open = ~spreadBricks(around, &SBlockBricks::other);
    CNeighborCellCover cover;
    setPlanes(around, cover);
    cover.Spread();
    for (std::uint32_t brickZ = 0; brickZ < c_bricksPerAxis; ++brickZ)
    {
        std::uint16_t farRows[c_blockEdge];
        std::uint16_t openRows[c_blockEdge];
        fillRows(far, brickZ, farRows);
        fillRows(open, brickZ, openRows);
        for (std::uint32_t z = c_brickEdge * brickZ; z < c_brickEdge * (brickZ + 1); ++z)
        {
            CNeighborCellCover::Rows covered;
            cover.Cover(z, covered);
            std::uint32_t* const words = states + c_blockEdge * z;
            for (std::uint32_t y = 0; y < c_blockEdge; ++y)
            {
                const std::uint32_t farCells = farRows[y];
                const std::uint32_t coveredCells = covered[y];
                words[y] = farCells << 16U | (coveredCells & openRows[y]);
            }
        }
    }
}

}  // namespace DataLayer
