#pragma once

#include <cstring>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

// Included by the sources of the vector kernels, once each.
namespace DataLayer::NeighborCells
{
namespace
{

/// Looks up surfels in batches: places as many at a time as one register of \p Vector holds, then
/// reads their states one by one, many of which so are on their way from memory at once.
/// `Min(a, b)` is b where a is NaN.
template <typename Vector>
class TLook
{
public:
    TLook(const SLookup& lookup, const SSurfels& surfels) : m_lookup(lookup), m_surfels(surfels)
    {
        for (std::uint32_t index = 0; index < 16; ++index)
        {
            m_matrix[index] = Vector::Set(surfels.matrix[index]);
        }
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            m_low[axis] = Vector::Set(lookup.low[axis]);
        }
        m_scale = Vector::Set(lookup.scale);
    }

    bool Run(std::uint16_t* states)
    {
        std::uint32_t unknown = 0;
        SBatch batches[2];
        locate(batches[0], 0);
        for (std::size_t first = 0; first < m_surfels.count; first += c_batch)
        {
            SBatch& batch = batches[first / c_batch % 2];
            if (first + c_batch < m_surfels.count)
            {
                locate(batches[1 - first / c_batch % 2], first + c_batch);
            }
            unknown |= readStates(batch, states + first);
        }
        return unknown == 0;
    }

private:
    using Floats = typename Vector::Floats;
    using Numbers = typename Vector::Numbers;
    static constexpr std::size_t c_width = Vector::c_width;
    static constexpr std::size_t c_batch = 256;
    static constexpr std::uint32_t c_all = (1U << c_width) - 1U;

    struct SPoints
    {
        Floats x;
        Floats y;
        Floats z;
    };

    /// Some surfels in a row.
    struct SBatch
    {
        std::size_t count;
        /// Of each: where its block is named; where the word of its state is, in the block at
        /// first, then that word itself; the state's place in the word.
        alignas(64) std::uint32_t blocks[c_batch];
        alignas(64) std::uint32_t words[c_batch];
        alignas(64) std::uint32_t bits[c_batch];
    };

    /// The positions of \p count surfels, one by one, and of none beyond those.
    SPoints collect(std::size_t first, std::size_t count) const
    {
        alignas(64) float coordinates[3][c_width] = {};
        for (std::size_t index = 0; index < count; ++index)
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

    Floats transformed(const SPoints& points, std::uint32_t column) const
    {
        const Floats sum = Vector::Add(Vector::Multiply(points.x, m_matrix[column]),
                                       Vector::Multiply(points.y, m_matrix[4 + column]));
        return Vector::Add(Vector::Add(sum, Vector::Multiply(points.z, m_matrix[8 + column])),
                           m_matrix[12 + column]);
    }

    Numbers cellsOf(Floats coordinates, std::uint32_t axis) const
    {
        constexpr auto c_highest = static_cast<float>(c_maximumCell);
        const Floats scaled = Vector::Multiply(Vector::Subtract(coordinates, m_low[axis]), m_scale);
        return Vector::Truncate(
            Vector::Max(Vector::Min(scaled, Vector::Set(c_highest)), Vector::Set(0.0F)));
    }

    /// The positions from \p index on; beyond the last surfel, any.
    SPoints load(std::size_t index) const
    {
        const std::size_t left = m_surfels.count - index;
        // A record of four words is read whole, so the last one may end beyond the caller's memory.
        if (m_surfels.stride == 4 * sizeof(float) && left > c_width)
        {
            constexpr std::size_t c_lineSize = 64;
            constexpr std::size_t c_ahead = 4096;
            const std::byte* const records = m_surfels.first + index * m_surfels.stride;
            for (std::size_t line = 0; line < c_width * 4 * sizeof(float); line += c_lineSize)
            {
                __builtin_prefetch(records + c_ahead + line);
            }
            SPoints points;
            Vector::LoadRecords(records, points.x, points.y, points.z);
            return points;
        }
        return collect(index, left < c_width ? left : c_width);
    }

    /// Finds out where the states of a batch are, the first of which is surfel number \p first, and
    /// sends for them.
    void locate(SBatch& batch, std::size_t first)
    {
        const std::size_t left = m_surfels.count - first;
        batch.count = left < c_batch ? left : c_batch;
        for (std::size_t index = 0; index < batch.count; index += c_width)
        {
            place(load(first + index), batch, index);
        }
        const std::uint32_t* const blocks = m_lookup.blocks;
        const std::uint32_t* const states = m_lookup.states;
        for (std::size_t index = 0; index < batch.count; ++index)
        {
            batch.words[index] += blocks[batch.blocks[index]];
            __builtin_prefetch(states + batch.words[index]);
        }
    }

    /// Finds out in which cells some surfels are, which are number \p index and the following of
    /// the batch.
    void place(const SPoints& points, SBatch& batch, std::size_t index)
    {
        Floats places[3] = {transformed(points, 0), transformed(points, 1), transformed(points, 2)};
        if (!m_surfels.isAffine)
        {
            const Floats w = transformed(points, 3);
            for (Floats& place : places)
            {
                place = Vector::Divide(place, w);
            }
        }
        const Numbers x = cellsOf(places[0], 0);
        const Numbers y = cellsOf(places[1], 1);
        const Numbers z = cellsOf(places[2], 2);

        constexpr std::uint32_t c_edge = c_blockEdgeBits;
        constexpr std::uint32_t c_region = c_edge + c_regionEdgeBits;
        const Numbers regions = Vector::Or(
            Vector::template ShiftRight<c_region>(x),
            Vector::Or(
                Vector::template ShiftLeft<c_regionBits>(Vector::template ShiftRight<c_region>(y)),
                Vector::template ShiftLeft<2 * c_regionBits>(
                    Vector::template ShiftRight<c_region>(z))));
        const Numbers inRegion = Vector::SetNumber((1U << c_region) - c_blockEdge);
        const Numbers blocks = Vector::Or(
            Vector::template ShiftRight<c_edge>(Vector::And(x, inRegion)),
            Vector::Or(
                Vector::template ShiftRight<c_edge - c_regionEdgeBits>(Vector::And(y, inRegion)),
                Vector::template ShiftLeft<2 * c_regionEdgeBits - c_edge>(
                    Vector::And(z, inRegion))));
        Vector::StoreNumbers(Vector::Add(firstBlocksOf(regions), blocks), batch.blocks + index);
        // What stateWord() and stateBit() give.
        const Numbers inBlock = Vector::SetNumber(c_blockEdge - 1U);
        Vector::StoreNumbers(Vector::Or(Vector::template ShiftLeft<c_edge>(Vector::And(z, inBlock)),
                                        Vector::And(y, inBlock)),
                             batch.words + index);
        Vector::StoreNumbers(Vector::And(x, inBlock), batch.bits + index);
    }

    /// Writes the states of a batch. Returns whether any is unknown.
    ///
    /// Another thread may make a state known meanwhile, so each read is atomic. A gathering
    /// instruction, which the language knows nothing of, promises no such thing, and takes longer.
    std::uint32_t readStates(SBatch& batch, std::uint16_t* states) const
    {
        const std::uint32_t* const words = m_lookup.states;
        for (std::size_t index = 0; index < batch.count; ++index)
        {
            batch.words[index] = __atomic_load_n(words + batch.words[index], __ATOMIC_RELAXED);
        }
        const Numbers zero = Vector::SetNumber(0);
        const Numbers one = Vector::SetNumber(1);
        const Numbers two = Vector::SetNumber(2);
        std::uint32_t unknown = 0;
        for (std::size_t index = 0; index < batch.count; index += c_width)
        {
            const Numbers found = Vector::ShiftRightEach(Vector::LoadNumbers(batch.words + index),
                                                         Vector::LoadNumbers(batch.bits + index));
            const Numbers those = Vector::Or(
                Vector::And(found, one), Vector::And(Vector::template ShiftRight<15>(found), two));
            const std::uint32_t unknownOfThose =
                Vector::Equal(Vector::And(Vector::Add(those, one), two), zero);
            const std::size_t left = batch.count - index;
            if (left >= c_width)
            {
                Vector::Store(those, states + index);
                unknown |= unknownOfThose;
                continue;
            }
            std::uint16_t rest[c_width];
            Vector::Store(those, rest);
            std::memcpy(states + index, rest, left * sizeof *states);
            unknown |= unknownOfThose & ((1U << left) - 1U);
        }
        return unknown;
    }

    /// Where the blocks of each of \p regions begin. Most surfels lie in the region of those before
    /// them.
    Numbers firstBlocksOf(Numbers regions)
    {
        Numbers firsts = Vector::SetNumber(m_slot.firstBlock);
        std::uint32_t open = c_all & ~Vector::Equal(regions, Vector::SetNumber(m_slot.region));
        if (open != 0)
        {
            alignas(64) std::uint32_t numbers[c_width];
            Vector::StoreNumbers(regions, numbers);
            while (open != 0)
            {
                const std::uint32_t region = numbers[__builtin_ctz(open)];
                m_slot = {region, findSlot(m_lookup, region).firstBlock};
                const std::uint32_t lanes = Vector::Equal(regions, Vector::SetNumber(region));
                firsts = Vector::Replace(firsts, lanes, m_slot.firstBlock);
                open &= ~lanes;
            }
        }
        return firsts;
    }

    const SLookup& m_lookup;
    const SSurfels& m_surfels;
    Floats m_matrix[16];
    Floats m_low[3];
    Floats m_scale;
    /// The region that was looked up last; the first one is none that exists.
    SSlot m_slot{c_noRegion, 0};
};

}  // namespace
}  // namespace DataLayer::NeighborCells
