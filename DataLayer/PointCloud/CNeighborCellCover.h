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

    /// Rows of cells on x, a bit each, the first of the lowest \p y.
    using Rows = std::uint16_t[NeighborCells::c_blockEdge];

    /// The cells with positions in a plane of blocks: of a row of blocks on y each, before, at and
    /// behind the block on x.
    struct SPlane
    {
        const std::uint16_t* rows[3][3];
    };

    /// Sets the plane number \p z, counted from the first of the margin on. Those that are not set
    /// hold no cells.
    void SetPlane(std::uint32_t z, const SPlane& plane);

    /// Must be called once all planes are set.
    void Spread();

    /// Finds the covered cells of the block's plane \p z.
    void Cover(std::uint32_t z, Rows& covered) const;

private:
    /// Rows of a plane with the margins on y, and room for whole registers.
    struct alignas(16) SRows
    {
        std::uint16_t rows[24];
    };

    std::uint32_t m_isSet = 0;  ///< A bit for each plane.
    /// Of each plane, the cells before, at and behind the block on x.
    SRows m_cells[c_edge][3];
    /// What is up to one and up to two before or behind those on x.
    SRows m_one[c_edge];
    SRows m_two[c_edge];
};

}  // namespace DataLayer
