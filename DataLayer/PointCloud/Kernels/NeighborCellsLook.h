#pragma once

#include <cstring>
#include <type_traits>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

// Included by the sources of the vector kernels, once each.
namespace DataLayer::NeighborCells
{
namespace
{

/// Looks up surfels in batches: finds out where the cubes of some hundred are, as many at a time as
/// one register of \p Vector holds, then reads the words of their states, then picks the states out
/// of these. `Min(a, b)` is b where a is NaN. A Vector that c_readsBlocks reads the words itself,
/// of surfels in the same block together, and lists the surfels of a register.
template <typename Vector>
class TLook
{
public:
    TLook(const SLookup& lookup, const SSurfels& surfels)
        : m_lookup(lookup), m_surfels(surfels), m_nearness(Vector::Set(surfels.placement.nearness))
    {
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            for (std::uint32_t index = 0; index < 4; ++index)
            {
                m_steps[axis][index] = Vector::Set(surfels.placement.steps[axis][index]);
            }
        }
    }

    std::size_t Run(std::uint16_t* states, std::uint32_t* open)
    {
        std::uint32_t* openEnd = open;
        SBatch batch;
        for (std::size_t first = 0; first < m_surfels.count; first += c_batch)
        {
            locate(batch, first);
            readWords(m_lookup, batch);
            openEnd = pickStates(batch, first, states, openEnd);
        }
        return static_cast<std::size_t>(openEnd - open);
    }

private:
    using Floats = typename Vector::Floats;
    using Numbers = typename Vector::Numbers;
    static constexpr std::size_t c_width = Vector::c_width;
    static constexpr std::size_t c_batch = 32 * c_width;
    static constexpr std::uint32_t c_all = (1U << c_width) - 1U;

    /// A bit for each surfel of a register.
    using Lanes = std::conditional_t<c_width == 16, std::uint16_t, std::uint8_t>;

    struct SPoints
    {
        Floats x;
        Floats y;
        Floats z;
    };

    /// The places of some surfels, in steps. What is above the bits of these does not matter.
    struct SPlaces
    {
        Numbers x;
        Numbers y;
        Numbers z;
    };

    /// A region and where its blocks are named, in every lane.
    struct SRegion
    {
        Numbers region;
        Numbers firstBlock;
    };

    /// Some surfels in a row.
    struct SBatch
    {
        static constexpr std::size_t c_size = c_batch;
        std::size_t count;
        /// Of each: its region and the place of its block there, or where its block is named and no
        /// region; the place of the word of its cube's state in that block, the state's place in
        /// the word, and the word.
        alignas(64) std::uint32_t regions[c_batch];
        alignas(64) std::uint32_t blocks[c_batch];
        alignas(64) std::uint32_t places[c_batch];
        alignas(64) std::uint32_t bits[c_batch];
        alignas(64) std::uint32_t words[c_batch];
    };

    /// The positions of as many surfels as a register holds, one by one, and of none beyond \p
    /// left.
    SPoints collect(std::size_t first, std::size_t left) const
    {
        alignas(64) float coordinates[3][c_width] = {};
        for (std::size_t index = 0; index < c_width && index < left; ++index)
        {
            float position[3];
            std::memcpy(position, m_surfels.first + (first + index) * m_surfels.stride,
                        sizeof position);
            coordinates[0][index] = position[0];
            coordinates[1][index] = position[1];
            coordinates[2][index] = position[2];
        }
        return {Vector::Load(coordinates[0]), Vector::Load(coordinates[1]),
                Vector::Load(coordinates[2])};
    }

    bool isNear(std::size_t index) const
    {
        float p[3];
        std::memcpy(p, m_surfels.first + index * m_surfels.stride, sizeof p);
        return (p[0] * p[0] + p[1] * p[1]) + p[2] * p[2] <= m_surfels.placement.nearness;
    }

    bool areNear(const SPoints& points) const
    {
        const Floats squares = Vector::MultiplyAdd(
            points.x, points.x,
            Vector::MultiplyAdd(points.y, points.y, Vector::Multiply(points.z, points.z)));
        return Vector::AreAtMost(squares, m_nearness);
    }

    Numbers stepsOf(const SPoints& points, std::uint32_t axis) const
    {
        const Floats* const steps = m_steps[axis];
        return Vector::BitsOf(Vector::MultiplyAdd(
            points.x, steps[0],
            Vector::MultiplyAdd(points.y, steps[1],
                                Vector::MultiplyAdd(points.z, steps[2], steps[3]))));
    }

    Floats transformed(const SPoints& points, std::uint32_t column) const
    {
        const float* const m = m_surfels.placement.matrix;
        const Floats sum = Vector::Add(Vector::Multiply(points.x, Vector::Set(m[column])),
                                       Vector::Multiply(points.y, Vector::Set(m[4 + column])));
        return Vector::Add(Vector::Add(sum, Vector::Multiply(points.z, Vector::Set(m[8 + column]))),
                           Vector::Set(m[12 + column]));
    }

    Numbers cellsOf(Floats coordinates, std::uint32_t axis) const
    {
        constexpr auto c_highest = static_cast<float>(c_maximumCell);
        const Floats scaled =
            Vector::Multiply(Vector::Subtract(coordinates, Vector::Set(m_lookup.low[axis])),
                             Vector::Set(m_lookup.scale));
        return Vector::Truncate(
            Vector::Max(Vector::Min(scaled, Vector::Set(c_highest)), Vector::Set(0.0F)));
    }

    /// The positions of a register's surfels from \p index on.
    SPoints load(std::size_t index) const
    {
        SPoints points;
        Vector::LoadPositions(m_surfels.first + index * m_surfels.stride, m_surfels.stride,
                              points.x, points.y, points.z);
        return points;
    }

    /// Fetches surfels of the next batch, as many as a register holds, while those from \p index on
    /// are placed: the processor by itself would have them too late. Not into the nearest cache,
    /// which a batch and the states of the blocks around it fill.
    void fetchAhead(std::size_t index) const
    {
        constexpr std::size_t c_lineSize = 64;
        // There may be none.
        const auto ahead = reinterpret_cast<std::uintptr_t>(m_surfels.first) +
                           (index + c_batch) * m_surfels.stride;
        for (std::size_t line = 0; line < c_width * m_surfels.stride; line += c_lineSize)
        {
            __builtin_prefetch(reinterpret_cast<const void*>(ahead + line), 0, 2);
        }
    }

    /// Finds out where the cubes of a batch are, the first of which is surfel number \p first.
    void locate(SBatch& batch, std::size_t first)
    {
        const std::size_t left = m_surfels.count - first;
        batch.count = left < c_batch ? left : c_batch;
        const std::size_t inRegisters =
            m_surfels.stride < sizeof(float) ? 0 : batch.count / c_width * c_width;
        // A bit for each register with surfels that are not near. Such surfels come one by one or
        // all together, which the first one tells.
        std::uint32_t far = ~0U >> (c_batch - batch.count) / c_width;
        if (isNear(first))
        {
            far = 0;
            const auto placeAllAsNear = [&](const SPoints& points, std::size_t index) {
                far |= (areNear(points) ? 0U : 1U) << index / c_width;
                place({stepsOf(points, 0), stepsOf(points, 1), stepsOf(points, 2)}, batch, index);
            };
            for (std::size_t index = 0; index < inRegisters; index += c_width)
            {
                fetchAhead(first + index);
                placeAllAsNear(load(first + index), index);
            }
            for (std::size_t index = inRegisters; index < batch.count; index += c_width)
            {
                placeAllAsNear(collect(first + index, batch.count - index), index);
            }
        }
        if (far != 0)
        {
            placeFar(batch, first, inRegisters, far);
        }
    }

    /// Places the registers of a batch of which \p far has a bit. Apart, so that it takes no
    /// registers from the loops.
    [[gnu::noinline]] void placeFar(SBatch& batch, std::size_t first, std::size_t inRegisters,
                                    std::uint32_t far)
    {
        for (; far != 0; far &= far - 1U)
        {
            const std::size_t index = static_cast<std::size_t>(__builtin_ctz(far)) * c_width;
            if (index < inRegisters)
            {
                fetchAhead(first + index);
                place(placesOfFar(load(first + index)), batch, index);
            }
            else
            {
                place(placesOfFar(collect(first + index, batch.count - index)), batch, index);
            }
        }
    }

    SPlaces placesOfFar(const SPoints& points) const
    {
        Floats moved[3] = {transformed(points, 0), transformed(points, 1), transformed(points, 2)};
        if (!m_surfels.placement.isAffine)
        {
            const Floats w = transformed(points, 3);
            for (Floats& coordinates : moved)
            {
                coordinates = Vector::Divide(coordinates, w);
            }
        }
        const auto stepsOfCell = [&](std::uint32_t axis) {
            return Vector::template ShiftLeft<c_stepBits>(cellsOf(moved[axis], axis));
        };
        return {stepsOfCell(0), stepsOfCell(1), stepsOfCell(2)};
    }

    /// Finds out in which cubes the surfels at some places are, which are number \p index and the
    /// following of the batch.
    void place(const SPlaces& places, SBatch& batch, std::size_t index)
    {
        if constexpr (Vector::c_readsBlocks)
        {
            Vector::StoreNumbers(regionsOf(places), batch.regions + index);
            Vector::StoreNumbers(blocksOf(places), batch.blocks + index);
        }
        else
        {
            Vector::StoreNumbers(Vector::Add(firstBlocksOf(regionsOf(places)), blocksOf(places)),
                                 batch.blocks + index);
        }
        // What StateWord() gives, and what StateBit() gives.
        constexpr std::uint32_t c_cube = c_stepBits + 1;
        Vector::StoreNumbers(join<2, 5>(move<c_cube + 1, 0>(places.y), move<c_cube, 2>(places.z)),
                             batch.places + index);
        Vector::StoreNumbers(join<3, 4>(move<c_cube, 0>(places.x), move<c_cube, 3>(places.y)),
                             batch.bits + index);
    }

    static Numbers regionsOf(const SPlaces& places)
    {
        constexpr std::uint32_t c_region = c_stepBits + c_blockEdgeBits + c_regionEdgeBits;
        return join<c_regionBits>(move<c_region, 0>(places.x),
                                  move<c_region, c_regionBits>(places.y),
                                  move<c_region, 2 * c_regionBits>(places.z));
    }

    /// The places of some surfels' blocks in their regions.
    static Numbers blocksOf(const SPlaces& places)
    {
        constexpr std::uint32_t c_block = c_stepBits + c_blockEdgeBits;
        return join<c_regionEdgeBits>(move<c_block, 0>(places.x),
                                      move<c_block, c_regionEdgeBits>(places.y),
                                      move<c_block, 2 * c_regionEdgeBits>(places.z));
    }

    /// Moves bit number \p From, and what is above it, to bit number \p To.
    template <std::uint32_t From, std::uint32_t To>
    static Numbers move(Numbers numbers)
    {
        if constexpr (From < To)
        {
            return Vector::template ShiftLeft<To - From>(numbers);
        }
        else
        {
            return Vector::template ShiftRight<From - To>(numbers);
        }
    }

    static Numbers lowBits(std::uint32_t count) { return Vector::SetNumber((1U << count) - 1U); }

    /// The bits of \p low below bit \p Middle, those of \p high from there on and below \p End.
    template <std::uint32_t Middle, std::uint32_t End>
    static Numbers join(Numbers low, Numbers high)
    {
        return Vector::And(lowBits(End), Vector::Select(lowBits(Middle), low, high));
    }

    /// The lowest bits of \p x, the next ones of \p y, the next ones of \p z, \p Count of each.
    template <std::uint32_t Count>
    static Numbers join(Numbers x, Numbers y, Numbers z)
    {
        return join<2 * Count, 3 * Count>(Vector::Select(lowBits(Count), x, y), z);
    }

    /// Where the blocks of each of \p regions begin. Most surfels lie in one of two regions that
    /// those before them lie in.
    Numbers firstBlocksOf(Numbers regions)
    {
        const std::uint32_t inLast = Vector::Equal(regions, m_last.region);
        const std::uint32_t inOther = Vector::Equal(regions, m_other.region);
        Numbers firsts = Vector::Replace(m_last.firstBlock, inOther, m_other.firstBlock);
        std::uint32_t open = c_all & ~(inLast | inOther);
        if (open != 0)
        {
            alignas(64) std::uint32_t numbers[c_width];
            Vector::StoreNumbers(regions, numbers);
            do
            {
                const std::uint32_t region = numbers[__builtin_ctz(open)];
                m_other = m_last;
                m_last = {Vector::SetNumber(region),
                          Vector::SetNumber(FindSlot(m_lookup, region).firstBlock)};
                const std::uint32_t lanes = Vector::Equal(regions, m_last.region);
                firsts = Vector::Replace(firsts, lanes, m_last.firstBlock);
                open &= ~lanes;
            } while (open != 0);
        }
        return firsts;
    }

    /// Reads the words of the states of a batch. Apart from the loops over registers, whose
    /// constants would leave none for its addresses.
    [[gnu::noinline]] static void readWords(const SLookup& lookup, SBatch& batch)
    {
        if constexpr (Vector::c_readsBlocks)
        {
            Vector::ReadWords(lookup, batch);
        }
        else
        {
            const std::uint32_t* const firstStates = lookup.blocks;
            const std::size_t count = batch.count;
#pragma GCC unroll 8
            for (std::size_t index = 0; index < count; ++index)
            {
                batch.words[index] =
                    LatestWord(lookup, firstStates[batch.blocks[index]] + batch.places[index]);
            }
        }
    }

    /// Writes the states of a batch, and the numbers of those that are unknown to \p open. Returns
    /// the end of these.
    static std::uint32_t* pickStates(const SBatch& batch, std::size_t first, std::uint16_t* states,
                                     std::uint32_t* open)
    {
        const Numbers zero = Vector::SetNumber(0);
        const Numbers one = Vector::SetNumber(1);
        const Numbers two = Vector::SetNumber(2);
        Lanes unknown[c_batch / c_width]{};
        for (std::size_t index = 0; index < batch.count; index += c_width)
        {
            const Numbers found = Vector::ShiftRightEach(Vector::LoadNumbers(batch.words + index),
                                                         Vector::LoadNumbers(batch.bits + index));
            const Numbers those = Vector::Or(
                Vector::And(found, one), Vector::And(Vector::template ShiftRight<15>(found), two));
            std::uint32_t lanes = Vector::Equal(Vector::And(Vector::Add(those, one), two), zero);
            if (index + c_width <= batch.count)
            {
                Vector::Store(those, states + first + index);
                if constexpr (Vector::c_readsBlocks)
                {
                    if (lanes != 0) [[unlikely]]
                    {
                        open = Vector::List(lanes, static_cast<std::uint32_t>(first + index), open);
                    }
                    continue;
                }
            }
            else
            {
                const std::size_t left = batch.count - index;
                std::uint16_t rest[c_width];
                Vector::Store(those, rest);
                std::memcpy(states + first + index, rest, left * sizeof *states);
                lanes &= (1U << left) - 1U;
            }
            unknown[index / c_width] = static_cast<Lanes>(lanes);
        }
        return listUnknown(unknown, first, open);
    }

    /// Writes the numbers of the surfels of a batch that are unknown. Returns the end of these.
    static std::uint32_t* listUnknown(const Lanes (&unknown)[c_batch / c_width], std::size_t first,
                                      std::uint32_t* open)
    {
        // One or two in a hundred: how many there are next is foreseen badly, so many registers
        // are looked through at once.
        std::uint64_t lanes;
        for (std::size_t begin = 0; begin < c_batch; begin += 8 * sizeof lanes)
        {
            std::memcpy(&lanes, unknown + begin / c_width, sizeof lanes);
            for (; lanes != 0; lanes &= lanes - 1U)
            {
                const auto index = static_cast<std::size_t>(__builtin_ctzll(lanes));
                *open++ = static_cast<std::uint32_t>(first + begin + index);
            }
        }
        return open;
    }

    const SLookup& m_lookup;
    const SSurfels& m_surfels;
    Floats m_nearness;
    Floats m_steps[3][4];
    /// The regions that were looked up last; the first ones are none that exists.
    SRegion m_last{Vector::SetNumber(c_noRegion), Vector::SetNumber(0)};
    SRegion m_other = m_last;
};

}  // namespace
}  // namespace DataLayer::NeighborCells
