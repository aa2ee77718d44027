#include "DataLayer/PointCloud/CNeighborCells.h"

#include <array>
#include <utility>

#include "DataLayer/PointCloud/CNeighborCellsBuilder.h"
#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

namespace DataLayer
{

std::optional<CNeighborCells> CNeighborCells::Make(const SPositionArray& positions,
                                                   std::int32_t last, float bound)
{
    CNeighborCells cells;
    return CNeighborCellsBuilder(positions, last, bound, cells).Build()
               ? std::optional(std::move(cells))
               : std::nullopt;
}

void CNeighborCells::SetState(const std::uint32_t (&cell)[3], std::uint32_t state) const
{
    const std::uint32_t firstState =
        NeighborCells::firstStateOf(m_lookup, NeighborCells::keyOfCell(cell));
    auto* const word =
        const_cast<std::uint32_t*>(m_lookup.states + firstState + NeighborCells::stateWord(cell));
    const std::uint32_t bits = (state & 1U) | (state & 2U) << 15U;
    __atomic_fetch_or(word, bits << NeighborCells::stateBit(cell), __ATOMIC_RELAXED);
}

std::size_t CNeighborCells::GetMemorySize() const
{
    return m_blocks.GetMemorySize() + m_states.size() * sizeof(std::uint32_t) +
           m_blockPoints.size() * sizeof(SBlockPoints) + m_nextPoint.size() * sizeof(std::uint32_t);
}

CNeighborCells::SBricks CNeighborCells::GetBricksAround(const std::uint32_t (&cell)[3]) const
{
    // The steps to the bricks around one, sorted by their number.
    static constexpr std::array<std::array<std::int8_t, 3>, 27> c_steps = {{
        {0, 0, 0},   {-1, 0, 0},  {1, 0, 0},   {0, -1, 0}, {0, 1, 0},   {0, 0, -1},   {0, 0, 1},
        {-1, -1, 0}, {1, -1, 0},  {-1, 1, 0},  {1, 1, 0},  {-1, 0, -1}, {1, 0, -1},   {-1, 0, 1},
        {1, 0, 1},   {0, -1, -1}, {0, 1, -1},  {0, -1, 1}, {0, 1, 1},   {-1, -1, -1}, {1, -1, -1},
        {-1, 1, -1}, {1, 1, -1},  {-1, -1, 1}, {1, -1, 1}, {-1, 1, 1},  {1, 1, 1},
    }};
    constexpr std::uint32_t c_toBlock = NeighborCells::c_blockEdgeBits - c_brickEdgeBits;
    std::uint32_t low[3];  // The lowest of the bricks on each axis.
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        low[axis] = (cell[axis] >> c_brickEdgeBits) - 1;
    }
    // The bricks lie in up to two blocks an axis.
    const SBlockPoints* blocks[8];
    for (std::uint32_t corner = 0; corner < 8; ++corner)
    {
        std::uint32_t block[3];
        std::uint32_t original = 0;
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            const std::uint32_t lowest = low[axis] >> c_toBlock;
            const std::uint32_t highest = (low[axis] + 2) >> c_toBlock;
            block[axis] = (corner >> axis & 1U) != 0 ? highest : lowest;
            original |= highest != lowest ? corner & 1U << axis : 0;
        }
        blocks[corner] = original != corner
                             ? blocks[original]
                             : findPoints(NeighborCells::keyOfBlock(block[0], block[1], block[2]));
    }
    SBricks bricks{};
    for (std::size_t place = 0; place < 27; ++place)
    {
        std::uint32_t corner = 0;
        std::uint32_t brick = 0;
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            const std::uint32_t number =
                low[axis] + 1 + static_cast<std::uint32_t>(c_steps[place][axis]);
            corner |= (number >> c_toBlock != low[axis] >> c_toBlock ? 1U : 0U) << axis;
            brick |= (number & 3U) << (2 * axis);
        }
        bricks.first[place] = blocks[corner] == nullptr ? c_noPoint : blocks[corner]->first[brick];
    }
    return bricks;
}

/// The positions of a block, or null where there are none.
const CNeighborCells::SBlockPoints* CNeighborCells::findPoints(std::uint64_t key) const
{
    const std::size_t block =
        NeighborCells::firstStateOf(m_lookup, key) / NeighborCells::c_stateWords;
    return block != 0 && block <= m_blockPoints.size() ? &m_blockPoints[block - 1] : nullptr;
}

}  // namespace DataLayer
