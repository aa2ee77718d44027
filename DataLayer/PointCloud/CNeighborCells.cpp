#include "DataLayer/PointCloud/CNeighborCells.h"

#include <array>
#include <utility>

#include "DataLayer/PointCloud/CNeighborCellsBuilder.h"
#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

namespace DataLayer
{

namespace
{

using Step = std::array<std::int32_t, 3>;

/// The steps from a brick to itself and to those around it, the nearest first.
constexpr std::array<Step, CNeighborCells::CBricks::c_count> MakeSteps()
{
    std::array<Step, CNeighborCells::CBricks::c_count> steps{};
    std::size_t count = 0;
    for (std::int32_t squaredLength = 0; count < steps.size(); ++squaredLength)
    {
        for (std::int32_t z = -1; z <= 1; ++z)
        {
            for (std::int32_t y = -1; y <= 1; ++y)
            {
                for (std::int32_t x = -1; x <= 1; ++x)
                {
                    if (x * x + y * y + z * z == squaredLength)
                    {
                        steps[count++] = {x, y, z};
                    }
                }
            }
        }
    }
    return steps;
}

constexpr std::array c_steps = MakeSteps();

/// The number in its block of the brick that holds a cell.
std::uint32_t BrickInBlock(const std::uint32_t (&cell)[3])
{
    return (cell[2] >> CNeighborCells::c_brickEdgeBits & 3U) << 4U |
           (cell[1] >> CNeighborCells::c_brickEdgeBits & 3U) << 2U |
           (cell[0] >> CNeighborCells::c_brickEdgeBits & 3U);
}

}  // namespace

std::optional<CNeighborCells> CNeighborCells::Make(const SPositionArray& positions,
                                                   std::int32_t last, float bound)
{
    CNeighborCells cells;
    return CNeighborCellsBuilder(positions, last, bound, cells).Build()
               ? std::optional(std::move(cells))
               : std::nullopt;
}

std::uint32_t CNeighborCells::GetState(const std::uint32_t (&cell)[3]) const
{
    return NeighborCells::StateIn(__atomic_load_n(&wordOf(cell), __ATOMIC_RELAXED), cell);
}

void CNeighborCells::SetState(const std::uint32_t (&cell)[3], std::uint32_t state) const
{
    const std::uint32_t bits = (state & 1U) | (state & 2U) << 15U;
    __atomic_fetch_or(&wordOf(cell), bits << NeighborCells::StateBit(cell), __ATOMIC_RELAXED);
}

std::size_t CNeighborCells::GetMemorySize() const
{
    return m_blocks.GetMemorySize() + m_states.size() * sizeof(SBlockStates) +
           m_lonelyBricks.size() * sizeof(std::uint64_t) +
           m_blockPoints.size() * sizeof(SBlockPoints) + m_nextPoint.size() * sizeof(std::uint32_t);
}

bool CNeighborCells::AreAllFirstAround(const std::uint32_t (&cell)[3]) const
{
    const std::size_t block =
        NeighborCells::FirstStateOf(m_lookup, NeighborCells::KeyOfCell(cell)) /
        NeighborCells::c_stateWords;
    return (m_lonelyBricks[block] >> BrickInBlock(cell) & 1U) != 0;
}

const std::uint32_t* CNeighborCells::FindFirstPoint(const std::uint32_t (&cell)[3]) const
{
    const SBlockPoints* const points = findPoints(NeighborCells::KeyOfCell(cell));
    return points == nullptr ? nullptr : &points->first[BrickInBlock(cell)];
}

std::uint32_t& CNeighborCells::wordOf(const std::uint32_t (&cell)[3]) const
{
    const std::size_t firstState =
        NeighborCells::FirstStateOf(m_lookup, NeighborCells::KeyOfCell(cell));
    return m_states[firstState / NeighborCells::c_stateWords].words[NeighborCells::StateWord(cell)];
}

/// The positions of a block, or null where there are none.
const CNeighborCells::SBlockPoints* CNeighborCells::findPoints(std::uint64_t key) const
{
    const std::size_t block =
        NeighborCells::FirstStateOf(m_lookup, key) / NeighborCells::c_stateWords;
    return block != 0 && block <= m_blockPoints.size() ? &m_blockPoints[block - 1] : nullptr;
}

CNeighborCells::CBricks::CBricks(const CNeighborCells& cells, const std::uint32_t (&cell)[3])
    : m_cells(cells),
      m_low{(cell[0] >> c_brickEdgeBits) - 1, (cell[1] >> c_brickEdgeBits) - 1,
            (cell[2] >> c_brickEdgeBits) - 1}
{}

std::uint32_t CNeighborCells::CBricks::GetFirst(std::size_t place)
{
    constexpr std::uint32_t c_toBlock = NeighborCells::c_blockEdgeBits - c_brickEdgeBits;
    std::uint32_t corner = 0;
    std::uint32_t brick = 0;
    std::uint32_t block[3];
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const std::uint32_t number =
            m_low[axis] + 1 + static_cast<std::uint32_t>(c_steps[place][axis]);
        block[axis] = number >> c_toBlock;
        corner |= (block[axis] != m_low[axis] >> c_toBlock ? 1U : 0U) << axis;
        brick |= (number & 3U) << (2 * axis);
    }
    if ((m_found >> corner & 1U) == 0)
    {
        m_found |= 1U << corner;
        m_blocks[corner] =
            m_cells.findPoints(NeighborCells::KeyOfBlock(block[0], block[1], block[2]));
    }
    return m_blocks[corner] == nullptr ? c_noPoint : m_blocks[corner]->first[brick];
}

}  // namespace DataLayer
