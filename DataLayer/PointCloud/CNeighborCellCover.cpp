#include "DataLayer/PointCloud/CNeighborCellCover.h"

#include <cstring>

namespace DataLayer
{

using NeighborCells::c_blockEdge;

namespace
{

/// Eight rows in a register of any processor.
using Lanes = std::uint16_t __attribute__((vector_size(16)));
constexpr std::uint32_t c_lanes = 8;

Lanes Load(const std::uint16_t* rows)
{
    Lanes lanes;
    std::memcpy(&lanes, rows, sizeof lanes);
    return lanes;
}

}  // namespace

void CNeighborCellCover::SetPlane(std::uint32_t z, const SPlane& plane)
{
    m_isSet |= 1U << z;
    for (std::uint32_t side = 0; side < 3; ++side)
    {
        // The last rows of what lies before on y, all rows there and the first ones behind.
        std::uint16_t* const rows = m_cells[z][side].rows;
        const auto copy = [&](std::size_t place, std::size_t first, std::size_t count,
                              std::size_t target) {
            std::memcpy(rows + target, plane.rows[place][side] + first, count * sizeof *rows);
        };
        copy(0, c_blockEdge - c_margin, c_margin, 0);
        copy(1, 0, c_blockEdge, c_margin);
        copy(2, 0, c_margin, c_margin + c_blockEdge);
        std::memset(rows + c_edge, 0, sizeof(SRows) - c_edge * sizeof *rows);
    }
}

void CNeighborCellCover::Spread()
{
    for (std::uint32_t z = 0; z < c_edge; ++z)
    {
        if ((m_isSet >> z & 1U) == 0)
        {
            continue;
        }
        for (std::uint32_t y = 0; y < c_edge; y += c_lanes)
        {
            const Lanes before = Load(m_cells[z][0].rows + y);
            const Lanes cells = Load(m_cells[z][1].rows + y);
            const Lanes behind = Load(m_cells[z][2].rows + y);
            const Lanes one = cells | cells << 1 | before >> 15 | cells >> 1 | behind << 15;
            const Lanes two = one | cells << 2 | before >> 14 | cells >> 2 | behind << 14;
            std::memcpy(m_one[z].rows + y, &one, sizeof one);
            std::memcpy(m_two[z].rows + y, &two, sizeof two);
        }
    }
}

void CNeighborCellCover::Cover(std::uint32_t z, Rows& covered) const
{
    Lanes sums[c_blockEdge / c_lanes]{};
    for (std::uint32_t plane = z; plane <= z + 2 * c_margin; ++plane)
    {
        if ((m_isSet >> plane & 1U) == 0)
        {
            continue;
        }
        for (std::uint32_t part = 0; part < c_blockEdge / c_lanes; ++part)
        {
            const std::uint16_t* const cells = m_cells[plane][1].rows + c_lanes * part;
            const std::uint16_t* const one = m_one[plane].rows + c_lanes * part;
            const std::uint16_t* const two = m_two[plane].rows + c_lanes * part;
            switch (plane - z)
            {
                case c_margin:
                    sums[part] |=
                        Load(two + 1) | Load(two + 2) | Load(two + 3) | Load(one) | Load(one + 4);
                    break;
                case c_margin - 1:
                case c_margin + 1:
                    sums[part] |= Load(two + 2) | Load(one + 1) | Load(one + 3) | Load(cells) |
                                  Load(cells + 4);
                    break;
                default:
                    sums[part] |= Load(one + 2) | Load(cells + 1) | Load(cells + 3);
                    break;
            }
        }
    }
    std::memcpy(covered, sums, sizeof sums);
}

}  // namespace DataLayer
