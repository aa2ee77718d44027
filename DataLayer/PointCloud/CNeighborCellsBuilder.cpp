#include "DataLayer/PointCloud/CNeighborCellsBuilder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <numeric>

#include "DataLayer/PointCloud/CNeighborCellCover.h"
#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

using NeighborCells::c_blockBits;
using NeighborCells::c_blockEdge;
using NeighborCells::c_stateWords;

namespace
{

/// States are numbered by signed 32-bit numbers.
constexpr std::uint64_t c_maximumBlocks = 0x7FFFFFFFU / c_stateWords;

constexpr std::uint64_t c_lastBlock = (1U << c_blockBits) - 1U;

/// A brick's bit: 16 z + 4 y + x. The bricks of a block on its low and high side of each axis.
constexpr std::uint64_t c_lowSide[3] = {0x1111111111111111U, 0x000F000F000F000FU,
                                        0x000000000000FFFFU};
constexpr std::uint64_t c_highSide[3] = {0x8888888888888888U, 0xF000F000F000F000U,
                                         0xFFFF000000000000U};

bool isFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

float coordinateOf(const LqVector3f& point, std::uint32_t axis)
{
    return axis == 0 ? point.x : axis == 1 ? point.y : point.z;
}

/// What NeighborCells::cellOf() gives for each axis, by the same operations side by side.
void findCell(const NeighborCells::SLookup& lookup, const LqVector3f& point,
              std::uint32_t (&cell)[3])
{
    using SFloats = float __attribute__((vector_size(16)));
    using SNumbers = std::int32_t __attribute__((vector_size(16)));
    constexpr auto c_highest = static_cast<float>(NeighborCells::c_maximumCell);
    const SFloats highest = {c_highest, c_highest, c_highest, c_highest};
    const SFloats low = {lookup.low[0], lookup.low[1], lookup.low[2], 0.0F};
    const SFloats scaled = (SFloats{point.x, point.y, point.z, 0.0F} - low) * lookup.scale;
    const SFloats atMost = scaled < highest ? scaled : highest;
    const SFloats clamped = atMost > SFloats{} ? atMost : SFloats{};
    const SNumbers numbers = __builtin_convertvector(clamped, SNumbers);
    std::memcpy(cell, &numbers, sizeof cell);
}

/// Whether a block is the first or the last on an axis. Such blocks hold clamped cells, of which
/// nothing is known, and have no blocks around.
bool isAtAnEnd(std::uint64_t key)
{
    bool isAtEnd = false;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const std::uint64_t number = key >> (axis * c_blockBits) & c_lastBlock;
        isAtEnd |= number == 0 || number == c_lastBlock;
    }
    return isAtEnd;
}

/// The key of the block in one of 27 directions: before, at and behind the given one on x, then on
/// y, then on z.
std::uint64_t keyBeside(std::uint64_t key, std::uint32_t direction)
{
    constexpr std::uint64_t c_before =
        1 | std::uint64_t{1} << c_blockBits | std::uint64_t{1} << (2 * c_blockBits);
    return key - c_before + direction % 3 + (std::uint64_t{direction / 3 % 3} << c_blockBits) +
           (std::uint64_t{direction / 9} << (2 * c_blockBits));
}

/// Calls \p body for each of \p count blocks on the platform's worker threads.
template <typename Body>
void forEachShare(std::size_t count, const Body& body)
{
    constexpr std::size_t c_share = 64;
    const auto shares = static_cast<std::uint32_t>((count + c_share - 1) / c_share);
    Base::ParallelFor(shares, [&](std::uint32_t share) {
        const std::size_t end = std::min((share + 1) * c_share, count);
        for (std::size_t block = share * c_share; block < end; ++block)
        {
            body(block);
        }
    });
}

/// Where a cell lies in its block: its numbers there on x, y and z, four bits each.
std::uint16_t placeInBlock(const std::uint32_t (&cell)[3])
{
    return static_cast<std::uint16_t>((cell[2] & 15U) << 8U | (cell[1] & 15U) << 4U |
                                      (cell[0] & 15U));
}

/// The bit of the brick that holds a cell at such a place.
std::uint32_t brickBit(std::uint32_t place)
{
    return (place >> 10U & 3U) << 4U | (place >> 6U & 3U) << 2U | (place >> 2U & 3U);
}

/// A block's bricks and, beyond its sides, those of the blocks before and behind it on one axis,
/// spread by one brick on that axis. Bricks are \p step bits apart there.
std::uint64_t spreadBricks(std::uint64_t before, std::uint64_t bricks, std::uint64_t behind,
                           std::uint32_t axis)
{
    const std::uint32_t step = 1U << (2 * axis);
    return bricks | (bricks & ~c_highSide[axis]) << step | (bricks & ~c_lowSide[axis]) >> step |
           (before & c_highSide[axis]) >> (3 * step) | (behind & c_lowSide[axis]) << (3 * step);
}

/// The bricks of the middle one of 27 blocks that are among or beside the given ones.
std::uint64_t spreadBricks(const std::array<std::uint64_t, 27>& blocks)
{
    std::array<std::uint64_t, 9> rows{};
    for (std::size_t row = 0; row < 9; ++row)
    {
        rows[row] = spreadBricks(blocks[3 * row], blocks[3 * row + 1], blocks[3 * row + 2], 0);
    }
    std::array<std::uint64_t, 3> planes{};
    for (std::size_t plane = 0; plane < 3; ++plane)
    {
        planes[plane] = spreadBricks(rows[3 * plane], rows[3 * plane + 1], rows[3 * plane + 2], 1);
    }
    return spreadBricks(planes[0], planes[1], planes[2], 2);
}

/// Four rows of sixteen bits, one behind the other, as four squares of 4 x 4 bits.
std::uint64_t rowsToSquares(std::uint64_t rows)
{
    const std::uint64_t single = (rows ^ rows >> 12U) & 0x0000F0F00000F0F0U;
    rows ^= single ^ single << 12U;
    const std::uint64_t pairs = (rows ^ rows >> 24U) & 0x00000000FF00FF00U;
    return rows ^ pairs ^ pairs << 24U;
}

}  // namespace

CNeighborCellsBuilder::CNeighborCellsBuilder(const SPositionArray& positions, std::int32_t last,
                                             float bound, CNeighborCells& cells)
    : m_positions(positions),
      m_firstCount(last < 0 ? 0U : static_cast<std::uint32_t>(last) + 1U),
      m_bound(bound),
      m_cells(cells),
      m_maximumBlocks(std::min(positions.count / 6 + 64, c_maximumBlocks))
{}

bool CNeighborCellsBuilder::Build()
{
    // Where neither squares nor places overflow or underflow.
    constexpr float c_leastBound = 1e-6F;
    constexpr float c_greatestBound = 1e6F;
    if (!(m_bound >= c_leastBound && m_bound <= c_greatestBound))
    {
        return false;
    }
    chooseFrame();
    growTable();
    if (!addOccupiedBlocks())
    {
        return false;
    }
    addPositions();
    if (!addNeighbors())
    {
        return false;
    }
    m_cells.m_states.resize((m_keys.size() + 1) * c_stateWords);
    forEachShare(m_keys.size(), [this](std::size_t block) { judgeBlock(block); });
    makeSlots();
    return true;
}

/// The middle of the cells becomes the middle of the cloud, as a sample of its positions has it, so
/// that a few positions far away do not matter.
void CNeighborCellsBuilder::chooseFrame()
{
    NeighborCells::SLookup& lookup = m_cells.m_lookup;
    lookup.scale = CNeighborCells::c_cellsPerBound / m_bound;
    constexpr std::uint64_t c_sampleSize = 255;
    const std::uint64_t step = m_positions.count / c_sampleSize + 1;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        std::vector<float> sample;
        for (std::uint64_t index = 0; index < m_positions.count; index += step)
        {
            const LqVector3f position = m_positions[index];
            if (isFinite(position))
            {
                sample.push_back(coordinateOf(position, axis));
            }
        }
        const auto middle = sample.begin() + static_cast<std::ptrdiff_t>(sample.size() / 2);
        std::nth_element(sample.begin(), middle, sample.end());
        constexpr float c_half = static_cast<float>(NeighborCells::c_maximumCell) / 2.0F;
        const float low = (sample.empty() ? 0.0F : *middle) - c_half / lookup.scale;
        lookup.low[axis] = std::isfinite(low) ? low : 0.0F;
    }
}

/// Makes a block of each that has positions, and sorts the positions' runs by block.
bool CNeighborCellsBuilder::addOccupiedBlocks()
{
    m_places.resize(m_positions.count);
    std::vector<Runs> runs(CountSurfelBlocks(m_positions.count));
    ForEachSurfelBlock(m_positions.count, [&](std::uint64_t begin, std::uint64_t end) {
        runs[begin / c_surfelBlockSize] = findRuns(begin, end);
    });
    for (Runs& some : runs)
    {
        for (SRun& run : some)
        {
            run.block = blockAt(run.block);
        }
        if (m_keys.size() > m_maximumBlocks)
        {
            return false;
        }
    }
    sortRuns(runs);
    return true;
}

CNeighborCellsBuilder::Runs CNeighborCellsBuilder::findRuns(std::uint64_t begin, std::uint64_t end)
{
    Runs runs;
    for (auto index = static_cast<std::uint32_t>(begin); index < end; ++index)
    {
        const LqVector3f position = m_positions[index];
        if (!isFinite(position))
        {
            continue;
        }
        std::uint32_t cell[3];
        findCell(m_cells.m_lookup, position, cell);
        m_places[index] = placeInBlock(cell);
        const std::uint64_t key = NeighborCells::keyOfCell(cell);
        if (!runs.empty() && runs.back().block == key && runs.back().end == index)
        {
            ++runs.back().end;
        }
        else
        {
            runs.push_back({key, index, index + 1});
        }
    }
    return runs;
}

void CNeighborCellsBuilder::sortRuns(const std::vector<Runs>& runs)
{
    // Counted two places on, so that filling leaves each block's first run at the block's place.
    m_firstRun.assign(m_keys.size() + 2, 0);
    for (const Runs& some : runs)
    {
        for (const SRun& run : some)
        {
            ++m_firstRun[run.block + 2];
        }
    }
    std::partial_sum(m_firstRun.begin(), m_firstRun.end(), m_firstRun.begin());
    m_runs.resize(m_firstRun.back());
    for (const Runs& some : runs)
    {
        for (const SRun& run : some)
        {
            m_runs[m_firstRun[run.block + 1]++] = run;
        }
    }
}

void CNeighborCellsBuilder::addPositions()
{
    m_cells.m_nextPoint.resize(m_positions.count);
    m_cells.m_blockPoints.resize(m_keys.size());
    m_occupancy.resize(m_keys.size());
    forEachShare(m_keys.size(), [this](std::size_t block) { addPositionsOf(block); });
}

void CNeighborCellsBuilder::addPositionsOf(std::size_t block)
{
    std::uint32_t* const firsts = m_cells.m_blockPoints[block].first;
    std::fill_n(firsts, std::size(m_cells.m_blockPoints[block].first), CNeighborCells::c_noPoint);
    SOccupancy& occupancy = m_occupancy[block];
    occupancy = {};
    for (std::size_t run = m_firstRun[block]; run < m_firstRun[block + 1]; ++run)
    {
        for (std::uint32_t index = m_runs[run].begin; index < m_runs[run].end; ++index)
        {
            const std::uint32_t place = m_places[index];
            const std::uint32_t brick = brickBit(place);
            m_cells.m_nextPoint[index] = firsts[brick];
            firsts[brick] = index;
            if (index < m_firstCount)
            {
                occupancy.first[place >> 4U] |= static_cast<std::uint16_t>(1U << (place & 15U));
                occupancy.firstBricks |= std::uint64_t{1} << brick;
            }
            else
            {
                occupancy.otherBricks |= std::uint64_t{1} << brick;
            }
        }
    }
}

/// Adds the blocks that have bricks beside one of the first positions: the points of all others
/// have none of them for a neighbour.
bool CNeighborCellsBuilder::addNeighbors()
{
    for (std::size_t block = 0; block < m_occupancy.size(); ++block)
    {
        const std::uint64_t key = m_keys[block];
        for (std::uint32_t direction = 0; direction < 27; ++direction)
        {
            std::uint64_t touching = m_occupancy[block].firstBricks;
            for (std::uint32_t axis = 0, step = direction; axis < 3; ++axis, step /= 3)
            {
                const std::uint64_t number = key >> (axis * c_blockBits) & c_lastBlock;
                const std::uint64_t before = number == 0 ? 0 : c_lowSide[axis];
                const std::uint64_t behind = number == c_lastBlock ? 0 : c_highSide[axis];
                touching &= step % 3 == 0 ? before : step % 3 == 2 ? behind : ~std::uint64_t{0};
            }
            if (touching != 0)
            {
                static_cast<void>(blockAt(keyBeside(key, direction)));
            }
        }
        if (m_keys.size() > m_maximumBlocks)
        {
            return false;
        }
    }
    return true;
}

/// Where a block is in the table, or the free place for it.
std::size_t CNeighborCellsBuilder::placeOf(std::uint64_t key) const
{
    const NeighborCells::SLookup& lookup = m_cells.m_lookup;
    std::size_t place = (key * NeighborCells::c_hashFactor) >> lookup.hashShift;
    while (m_table[place] != 0 && m_keys[m_table[place] - 1] != key)
    {
        place = (place + 1) & lookup.slotMask;
    }
    return place;
}

/// The number of a block, which is added if it is new.
std::uint32_t CNeighborCellsBuilder::blockAt(std::uint64_t key)
{
    const std::size_t place = placeOf(key);
    if (m_table[place] == 0)
    {
        m_keys.push_back(key);
        m_table[place] = static_cast<std::uint32_t>(m_keys.size());
        if (2 * m_keys.size() > m_table.size())
        {
            growTable();
        }
        return static_cast<std::uint32_t>(m_keys.size() - 1);
    }
    return m_table[place] - 1;
}

/// Doubles the table, or makes the first one.
void CNeighborCellsBuilder::growTable()
{
    NeighborCells::SLookup& lookup = m_cells.m_lookup;
    const std::size_t size = std::max<std::size_t>(64, 2 * m_table.size());
    m_table.assign(size, 0);
    lookup.slotMask = size - 1;
    lookup.hashShift = 64U - static_cast<std::uint32_t>(std::countr_zero(size));
    for (std::uint32_t block = 0; block < m_keys.size(); ++block)
    {
        m_table[placeOf(m_keys[block])] = block + 1;
    }
}

CNeighborCellsBuilder::SNeighborhood CNeighborCellsBuilder::neighborhoodOf(std::size_t block) const
{
    static constexpr SOccupancy c_nothing{};
    SNeighborhood neighborhood{};
    for (std::uint32_t direction = 0; direction < 27; ++direction)
    {
        const std::uint32_t neighbor = m_table[placeOf(keyBeside(m_keys[block], direction))];
        neighborhood.blocks[direction] = neighbor == 0 || neighbor > m_occupancy.size()
                                             ? &c_nothing
                                             : &m_occupancy[neighbor - 1];
    }
    return neighborhood;
}

/// Joins \p count rows, from \p row on, of a block with the ends of those of the blocks before and
/// behind it on x.
void CNeighborCellsBuilder::copyRows(const SOccupancy* const* blocks, std::uint32_t row,
                                     std::uint32_t count, std::uint32_t* joined)
{
    if (blocks[0]->firstBricks == 0 && blocks[1]->firstBricks == 0 && blocks[2]->firstBricks == 0)
    {
        std::fill_n(joined, count, 0U);
        return;
    }
    const std::uint16_t* const before = blocks[0]->first + row;
    const std::uint16_t* const at = blocks[1]->first + row;
    const std::uint16_t* const behind = blocks[2]->first + row;
    for (std::uint32_t index = 0; index < count; ++index)
    {
        joined[index] = std::uint32_t{before[index]} >> 14U | std::uint32_t{at[index]} << 2U |
                        (std::uint32_t{behind[index]} & 3U) << 18U;
    }
}

/// What bricks and cells tell by themselves. A brick is more than the bound away from all that is
/// not beside it: without one of the first positions there, its points have none for a neighbour.
/// Where one of them covers a cell, and none of the other positions is beside the cell's brick, the
/// neighbour is one of the first.
void CNeighborCellsBuilder::judgeBlock(std::size_t block)
{
    std::uint32_t* const states = m_cells.m_states.data() + block * c_stateWords;
    if (isAtAnEnd(m_keys[block]))
    {
        std::fill_n(states, c_stateWords, ~std::uint32_t{0});
        return;
    }
    const SNeighborhood neighborhood = neighborhoodOf(block);
    std::array<std::uint64_t, 27> firstBricks{};
    std::array<std::uint64_t, 27> otherBricks{};
    for (std::size_t direction = 0; direction < 27; ++direction)
    {
        firstBricks[direction] = neighborhood.blocks[direction]->firstBricks;
        otherBricks[direction] = neighborhood.blocks[direction]->otherBricks;
    }
    const std::uint64_t besideFirst = spreadBricks(firstBricks);
    const std::uint64_t besideOther = spreadBricks(otherBricks);

    CNeighborCellCover cover;
    for (std::uint32_t z = 0; z < CNeighborCellCover::c_edge; ++z)
    {
        // From the last rows of the block before to the first ones of the one behind, on z and y.
        constexpr std::uint32_t c_skipped = c_blockEdge - CNeighborCellCover::c_margin;
        const SOccupancy* const* const blocks =
            neighborhood.blocks + 9 * ((z + c_skipped) / c_blockEdge);
        const std::uint32_t plane = (z + c_skipped) % c_blockEdge * c_blockEdge;
        copyRows(blocks, plane + c_skipped, CNeighborCellCover::c_margin, &cover.Row(0, z));
        copyRows(blocks + 3, plane, c_blockEdge, &cover.Row(CNeighborCellCover::c_margin, z));
        copyRows(blocks + 6, plane, CNeighborCellCover::c_margin,
                 &cover.Row(CNeighborCellCover::c_margin + c_blockEdge, z));
    }
    cover.Cover();
    for (std::uint32_t z = 0; z < c_blockEdge; ++z)
    {
        for (std::uint32_t y = 0; y < c_blockEdge; y += 4)
        {
            const std::uint32_t* const covered = cover.GetCovered(z) + y;
            std::uint64_t rows = 0;
            for (std::uint32_t row = 0; row < 4; ++row)
            {
                rows |= std::uint64_t{covered[row] >> CNeighborCellCover::c_margin & 0xFFFFU}
                        << (16 * row);
            }
            const std::uint64_t squares = rowsToSquares(rows);
            for (std::uint32_t x = 0; x < c_blockEdge; x += 4)
            {
                const std::uint32_t cell[3] = {x, y, z};
                const std::uint32_t brick = brickBit(placeInBlock(cell));
                const auto square = static_cast<std::uint32_t>(squares >> (4 * x)) & 0xFFFFU;
                const std::uint32_t far = (besideFirst >> brick & 1U) == 0 ? 0xFFFF0000U : 0U;
                const std::uint32_t open = (besideOther >> brick & 1U) == 0 ? 0xFFFFU : 0U;
                states[NeighborCells::stateWord(cell)] = (square & open) | far;
            }
        }
    }
}

void CNeighborCellsBuilder::makeSlots()
{
    // The states of all blocks that do not exist.
    std::fill_n(m_cells.m_states.data() + m_keys.size() * c_stateWords, c_stateWords, 0xFFFF0000U);
    const auto firstState = [](std::size_t block) {
        return static_cast<std::uint32_t>(block * c_stateWords);
    };
    m_cells.m_slots.assign(m_table.size(), {NeighborCells::c_noKey, firstState(m_keys.size())});
    for (std::size_t place = 0; place < m_table.size(); ++place)
    {
        if (m_table[place] != 0)
        {
            const std::size_t block = m_table[place] - 1;
            m_cells.m_slots[place] = {m_keys[block], firstState(block)};
        }
    }
    m_cells.m_lookup.slots = m_cells.m_slots.data();
    m_cells.m_lookup.states = m_cells.m_states.data();
}

}  // namespace DataLayer
