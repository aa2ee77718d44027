#include "DataLayer/PointCloud/CNeighborCellsBuilder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <numeric>

#include "Base/Support/LargePages.h"
#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

using NeighborCells::c_stateWords;

namespace
{

/// The places of states have 32 bits. Half of what these reach, since up to 27 blocks are added
/// before it is asked whether there are too many.
constexpr std::uint64_t c_maximumBlocks = 0x7FFFFFFFU / c_stateWords;
/// And so have the places of the blocks of regions.
constexpr std::uint64_t c_maximumRegions = 0x7FFFFFFFU / NeighborCells::c_regionBlocks;

bool IsFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

float CoordinateOf(const LqVector3f& point, std::uint32_t axis)
{
    return axis == 0 ? point.x : axis == 1 ? point.y : point.z;
}

/// Where a cell lies in its block: its numbers there on x, y and z, four bits each.
std::uint16_t PlaceInBlock(const std::uint32_t (&cell)[3])
{
    return static_cast<std::uint16_t>((cell[2] & 15U) << 8U | (cell[1] & 15U) << 4U |
                                      (cell[0] & 15U));
}

/// The bit of the brick that holds a cell at such a place.
std::uint32_t BrickBit(std::uint32_t place)
{
    return (place >> 10U & 3U) << 4U | (place >> 6U & 3U) << 2U | (place >> 2U & 3U);
}

/// The cells of some positions, found in plain loops that become vector code.
class CFoundCells
{
public:
    static constexpr std::uint64_t c_mostPositions = 256;

    /// Finds the cells of the positions \p begin to \p end - 1, and writes where each lies in its
    /// block to \p places.
    CFoundCells(const NeighborCells::SLookup& lookup, const SPositionArray& positions,
                std::uint64_t begin, std::uint64_t end, std::uint16_t* places)
        : m_count(static_cast<std::uint32_t>(end - begin))
    {
        float coordinates[3][c_mostPositions];
        for (std::uint32_t index = 0; index < m_count; ++index)
        {
            const std::byte* const position = positions.first + (begin + index) * positions.stride;
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                std::memcpy(&coordinates[axis][index], position + axis * sizeof(float),
                            sizeof(float));
            }
        }
        for (std::uint32_t index = 0; index < m_count; ++index)
        {
            // What is not finite leaves no zero.
            const float zero = (coordinates[0][index] * 0.0F + coordinates[1][index] * 0.0F) +
                               coordinates[2][index] * 0.0F;
            m_isNone[index] = zero == 0.0F ? 0 : 1;
        }
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            for (std::uint32_t index = 0; index < m_count; ++index)
            {
                m_cells[axis][index] =
                    NeighborCells::CellOf(lookup, coordinates[axis][index], axis);
            }
        }
        for (std::uint32_t index = 0; index < m_count; ++index)
        {
            places[index] = PlaceInBlock({m_cells[0][index], m_cells[1][index], m_cells[2][index]});
        }
        for (std::uint32_t index = 1; index < m_count; ++index)
        {
            const auto differenceOf = [&](std::uint32_t axis) {
                return m_cells[axis][index] ^ m_cells[axis][index - 1];
            };
            const std::uint32_t difference = differenceOf(0) | differenceOf(1) | differenceOf(2);
            m_isOtherBlock[index] = (difference & ~(NeighborCells::c_blockEdge - 1U)) |
                                    m_isNone[index] | m_isNone[index - 1];
        }
    }

    /// Whether a position is finite.
    [[nodiscard]] bool IsFinite(std::uint32_t index) const { return m_isNone[index] == 0; }
    /// The key of a position's block.
    [[nodiscard]] std::uint64_t GetBlock(std::uint32_t index) const
    {
        return NeighborCells::KeyOfCell({m_cells[0][index], m_cells[1][index], m_cells[2][index]});
    }
    /// Behind the position and those following that are in the same block for sure.
    [[nodiscard]] std::uint32_t GetEnd(std::uint32_t index) const
    {
        do
        {
            ++index;
        } while (index < m_count && m_isOtherBlock[index] == 0);
        return index;
    }

private:
    std::uint32_t m_count;
    std::uint32_t m_isNone[c_mostPositions];
    std::uint32_t m_cells[3][c_mostPositions];
    std::uint32_t m_isOtherBlock[c_mostPositions];  ///< Than that of the position before, or 0.
};

/// The bricks of a block that are beside the block in one of 27 directions.
constexpr std::array<std::uint64_t, 27> MakeTouching()
{
    std::array<std::uint64_t, 27> touching{};
    for (std::uint32_t direction = 0; direction < 27; ++direction)
    {
        touching[direction] = ~std::uint64_t{0};
        for (std::uint32_t axis = 0, step = direction; axis < 3; ++axis, step /= 3)
        {
            touching[direction] &= step % 3 == 0   ? c_lowSideBricks[axis]
                                   : step % 3 == 2 ? c_highSideBricks[axis]
                                                   : ~std::uint64_t{0};
        }
    }
    return touching;
}

constexpr std::array<std::uint64_t, 27> c_touching = MakeTouching();

/// Calls \p body for each of \p count blocks on the platform's worker threads.
template <typename Body>
void ForEachShare(std::size_t count, const Body& body)
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

}  // namespace

CNeighborCellsBuilder::CNeighborCellsBuilder(const SPositionArray& positions, std::int32_t last,
                                             float bound, CNeighborCells& cells)
    : m_positions(positions),
      m_firstCount(last < 0 ? 0U : static_cast<std::uint32_t>(last) + 1U),
      m_bound(bound),
      m_cells(cells),
      m_maximumBlocks(std::min(positions.count / 6 + 64, c_maximumBlocks)),
      m_maximumRegions(std::min(positions.count / 24 + 64, c_maximumRegions))
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
    if (!addOccupiedBlocks())
    {
        return false;
    }
    addPositions();
    if (!addNeighbors())
    {
        return false;
    }
    m_cells.m_blocks.Publish(m_cells.m_lookup);
    Base::ResizeInLargePages(m_cells.m_states, m_keys.size() + 1);
    m_cells.m_lonelyBricks.resize(m_keys.size() + 1);
    m_cells.m_lookup.states = m_cells.m_states.front().words;
    // The states of all blocks that do not exist.
    std::fill_n(m_cells.m_states.front().words, c_stateWords, 0xFFFF0000U);
    ForEachShare(m_keys.size(), [this](std::size_t block) { judgeBlock(block); });
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
            if (IsFinite(position))
            {
                sample.push_back(CoordinateOf(position, axis));
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
    Base::ResizeInLargePages(m_places, m_positions.count);
    std::vector<Runs> runs(CountSurfelBlocks(m_positions.count));
    ForEachSurfelBlock(m_positions.count, [&](std::uint64_t begin, std::uint64_t end) {
        runs[begin / c_surfelBlockSize] = findRuns(begin, end);
    });
    for (Runs& some : runs)
    {
        for (SRun& run : some)
        {
            run.block = blockAt(run.block) - 1;
            if (isTooLarge())
            {
                return false;
            }
        }
    }
    sortRuns(runs);
    return true;
}

CNeighborCellsBuilder::Runs CNeighborCellsBuilder::findRuns(std::uint64_t begin, std::uint64_t end)
{
    Runs runs;
    for (std::uint64_t first = begin; first < end; first += CFoundCells::c_mostPositions)
    {
        const std::uint64_t last = std::min(first + CFoundCells::c_mostPositions, end);
        const CFoundCells found(m_cells.m_lookup, m_positions, first, last,
                                m_places.data() + first);
        std::uint32_t next;
        for (std::uint32_t index = 0; index < last - first; index = next)
        {
            next = found.GetEnd(index);
            if (!found.IsFinite(index))
            {
                continue;
            }
            const std::uint64_t block = found.GetBlock(index);
            const auto begun = static_cast<std::uint32_t>(first);
            if (!runs.empty() && runs.back().block == block && runs.back().end == begun + index)
            {
                runs.back().end = begun + next;
            }
            else
            {
                runs.push_back({block, begun + index, begun + next});
            }
        }
    }
    return runs;
}

void CNeighborCellsBuilder::sortRuns(const std::vector<Runs>& runs)
{
    // Counted two places on, so that filling leaves each block's first run at the block's place.
    m_firstRun.resize(m_keys.size() + 2);
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
    Base::ResizeInLargePages(m_cells.m_nextPoint, m_positions.count);
    Base::ResizeInLargePages(m_cells.m_blockPoints, m_keys.size());
    m_bricks.resize(m_keys.size());
    Base::ResizeInLargePages(m_rows, m_keys.size());
    ForEachShare(m_keys.size(), [this](std::size_t block) { addPositionsOf(block); });
}

void CNeighborCellsBuilder::addPositionsOf(std::size_t block)
{
    std::uint32_t* const firsts = m_cells.m_blockPoints[block].first;
    std::fill_n(firsts, std::size(m_cells.m_blockPoints[block].first), CNeighborCells::c_noPoint);
    BlockRows& rows = m_rows[block].rows;
    std::fill(std::begin(rows), std::end(rows), std::uint16_t{0});
    SBlockBricks bricks{};
    for (std::size_t run = m_firstRun[block]; run < m_firstRun[block + 1]; ++run)
    {
        for (std::uint32_t index = m_runs[run].begin; index < m_runs[run].end; ++index)
        {
            const std::uint32_t place = m_places[index];
            const std::uint32_t brick = BrickBit(place);
            m_cells.m_nextPoint[index] = firsts[brick];
            firsts[brick] = index;
            if (index < m_firstCount)
            {
                rows[place >> 4U] |= static_cast<std::uint16_t>(1U << (place & 15U));
                bricks.first |= std::uint64_t{1} << brick;
            }
            else
            {
                bricks.other |= std::uint64_t{1} << brick;
            }
        }
    }
    m_bricks[block] = bricks;
}

/// Adds the blocks that have bricks beside one of the first positions: the points of all others
/// have none of them for a neighbour.
bool CNeighborCellsBuilder::addNeighbors()
{
    for (std::size_t block = 0; block < m_bricks.size(); ++block)
    {
        const std::uint64_t firstBricks = m_bricks[block].first;
        const SNeighborKeys around(m_keys[block]);
        for (std::uint32_t direction = 0; direction < 27; ++direction)
        {
            if ((firstBricks & c_touching[direction]) != 0)
            {
                static_cast<void>(blockAt(around.keys[direction]));
            }
        }
        if (isTooLarge())
        {
            return false;
        }
    }
    return true;
}

/// The number of a block, which is added if it is new.
std::uint32_t CNeighborCellsBuilder::blockAt(std::uint64_t key)
{
    const std::uint32_t block = m_cells.m_blocks.Add(key);
    if (block > m_keys.size())
    {
        m_keys.push_back(key);
    }
    return block;
}

/// Whether what exists takes more memory than it may.
bool CNeighborCellsBuilder::isTooLarge() const
{
    return m_keys.size() > m_maximumBlocks || m_cells.m_blocks.GetRegionCount() > m_maximumRegions;
}

void CNeighborCellsBuilder::judgeBlock(std::size_t block)
{
    CNeighborCells::SBlockStates& states = m_cells.m_states[block + 1];
    // Such blocks hold clamped cells, of which nothing is known.
    if (IsBlockAtAnEnd(m_keys[block]))
    {
        std::fill(std::begin(states.words), std::end(states.words), ~std::uint32_t{0});
    }
    else
    {
        m_cells.m_lonelyBricks[block + 1] = JudgeNeighborBlock(blocksAround(block), states.words);
    }
}

SBlocksAround CNeighborCellsBuilder::blocksAround(std::size_t block) const
{
    const CNeighborBlocks::SNeighbors neighbors = m_cells.m_blocks.FindAround(m_keys[block]);
    SBlocksAround around;
    for (std::size_t direction = 0; direction < 27; ++direction)
    {
        const std::size_t number = neighbors.numbers[direction];
        if (number == 0 || number > m_bricks.size())
        {
            around.bricks[direction] = {};
            around.rows[direction] = c_noRows;
            continue;
        }
        const std::uint64_t touching = c_touching[26 - direction];
        const SBlockBricks& bricks = m_bricks[number - 1];
        around.bricks[direction] = {bricks.first & touching, bricks.other & touching};
        around.rows[direction] = m_rows[number - 1].rows;
    }
    return around;
}

}  // namespace DataLayer
