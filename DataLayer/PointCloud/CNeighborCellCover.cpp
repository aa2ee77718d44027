#include "DataLayer/PointCloud/CNeighborCellCover.h"

#include <algorithm>
#include <iterator>

namespace DataLayer
{

using NeighborCells::c_blockEdge;

void CNeighborCellCover::Cover()
{
    std::fill(std::begin(m_covered), std::end(m_covered), 0U);
    for (std::uint32_t z = 0; z < c_edge; ++z)
    {
        const std::uint32_t* const cells = m_cells + z * c_edge;
        if (std::all_of(cells, cells + c_edge, [](std::uint32_t row) { return row == 0; }))
        {
            continue;
        }
        // The cells of each row, and what is up to one and up to two before or behind them.
        std::uint32_t one[c_edge];
        std::uint32_t two[c_edge];
        for (std::uint32_t y = 0; y < c_edge; ++y)
        {
            one[y] = cells[y] | cells[y] << 1U | cells[y] >> 1U;
            two[y] = one[y] | cells[y] << 2U | cells[y] >> 2U;
        }
        // What this plane covers in itself, in the next one and in the one behind that.
        std::uint32_t covered[3][c_blockEdge];
        for (std::uint32_t y = 0; y < c_blockEdge; ++y)
        {
            const std::uint32_t beside = cells[y] | cells[y + 4];
            const std::uint32_t besideOne = one[y] | one[y + 4];
            covered[0][y] = two[y + 1] | two[y + 2] | two[y + 3] | besideOne;
            covered[1][y] = two[y + 2] | one[y + 1] | one[y + 3] | beside;
            covered[2][y] = one[y + 2] | cells[y + 1] | cells[y + 3];
        }
        const std::uint32_t from = z < 2 * c_margin ? 0 : z - 2 * c_margin;
        const std::uint32_t to = std::min(z, c_blockEdge - 1);
        for (std::uint32_t target = from; target <= to; ++target)
        {
            const std::uint32_t place = target + c_margin;
            const std::uint32_t* const source = covered[place < z ? z - place : place - z];
            for (std::uint32_t y = 0; y < c_blockEdge; ++y)
            {
                m_covered[target * c_blockEdge + y] |= source[y];
            }
        }
    }
}

}  // namespace DataLayer
