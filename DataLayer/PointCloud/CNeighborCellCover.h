#pragma once

#include <cstddef>
#include <cstdint>

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

namespace DataLayer
{

/// The cells of a block that cells with positions cover: all points of the one are within the bound
/// of all points of the other.
///
/// Between cells `a`, `b` and `c` apart on the three axes, in any order, no two points are farther
/// apart than the root of `(a + 1)^2 + (b + 1)^2 + (c + 1)^2` cells. A cell covers those with up to
/// 14 there, since the bound is 3.9375 cells.
class CNeighborCellCover
{
public:
    /// Cells so far before and behind the block have a say.
    static constexpr std::uint32_t c_margin = 2;
    static constexpr std::uint32_t c_edge = NeighborCells::c_blockEdge + 2 * c_margin;

    /// The row of cells with positions `y` and `z` from the first of the margin on, of which the
    /// first is bit 0. All must be set.
    [[nodiscard]] std::uint32_t& Row(std::uint32_t y, std::uint32_t z)
    {
        return m_cells[z * c_edge + y];
    }

    /// Finds what the rows cover.
    void Cover();

    /// The covered cells of the block's rows at \p z of the block, of which the first is bit 2.
    [[nodiscard]] const std::uint32_t* GetCovered(std::uint32_t z) const
    {
        return m_covered + z * NeighborCells::c_blockEdge;
    }

private:
    std::uint32_t m_cells[c_edge * c_edge];
    std::uint32_t m_covered[NeighborCells::c_blockEdge * NeighborCells::c_blockEdge];
};

}  // namespace DataLayer
