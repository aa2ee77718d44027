#pragma once

#include <cstring>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

// Included by the sources of the vector kernels, once each.
namespace DataLayer::NeighborCells
{
namespace
{

/// Looks up as many surfels at a time as one register of \p Vector holds. `Min(a, b)` is b where a
/// is NaN.
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

    void Run(std::uint16_t* states)
    {
        std::size_t index = 0;
        // A record of four words is read whole, so the last one may end beyond the caller's memory.
        if (m_surfels.stride == 4 * sizeof(float))
        {
            for (; index + c_width < m_surfels.count; index += c_width)
            {
                SPoints points;
                Vector::LoadRecords(m_surfels.first + index * m_surfels.stride, points.x, points.y,
                                    points.z);
                Vector::Store(statesOf(points), states + index);
            }
        }
        for (; index + c_width <= m_surfels.count; index += c_width)
        {
            Vector::Store(statesOf(collect(index, c_width)), states + index);
        }
        if (index < m_surfels.count)
        {
            std::uint16_t rest[c_width];
            Vector::Store(statesOf(collect(index, m_surfels.count - index)), rest);
            std::memcpy(states + index, rest, (m_surfels.count - index) * sizeof *states);
        }
    }

private:
    using Floats = typename Vector::Floats;
    using Numbers = typename Vector::Numbers;
    static constexpr std::size_t c_width = Vector::c_width;
    static constexpr std::uint32_t c_all = (1U << c_width) - 1U;

    struct SPoints
    {
        Floats x;
        Floats y;
        Floats z;
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

    Numbers statesOf(const SPoints& points)
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
        return statesOf(cellsOf(places[0], 0), cellsOf(places[1], 1), cellsOf(places[2], 2));
    }

    Numbers statesOf(Numbers x, Numbers y, Numbers z)
    {
        // A block's key in two parts: x and y in the lower one.
        const Numbers blockX = Vector::template ShiftRight<c_blockEdgeBits>(x);
        const Numbers blockY = Vector::template ShiftRight<c_blockEdgeBits>(y);
        const Numbers lower = Vector::Or(blockX, Vector::template ShiftLeft<c_blockBits>(blockY));
        const Numbers upper = Vector::template ShiftRight<c_blockEdgeBits>(z);
        // What stateWord() and stateBit() give.
        const Numbers lowest = Vector::SetNumber(3);
        const Numbers brick = Vector::SetNumber(12);
        const Numbers highest = Vector::SetNumber(8);
        const Numbers xBricks = Vector::Add(Vector::And(x, brick), Vector::And(x, highest));
        const Numbers yBricks = Vector::Add(Vector::And(y, brick), Vector::And(y, highest));
        const Numbers words =
            Vector::Or(Vector::Or(Vector::And(z, lowest),
                                  Vector::template ShiftLeft<4>(Vector::And(z, brick))),
                       Vector::Or(xBricks, Vector::template ShiftLeft<1>(yBricks)));
        const Numbers bits = Vector::Or(Vector::And(x, lowest),
                                        Vector::template ShiftLeft<2>(Vector::And(y, lowest)));

        Numbers firsts = Vector::SetNumber(m_firstState);
        const std::uint32_t known = lanesOf(lower, upper);
        if (known != c_all)
        {
            alignas(64) std::uint32_t lowers[c_width];
            alignas(64) std::uint32_t uppers[c_width];
            Vector::StoreNumbers(lower, lowers);
            Vector::StoreNumbers(upper, uppers);
            for (std::uint32_t open = c_all & ~known; open != 0;)
            {
                const auto lane = static_cast<std::uint32_t>(__builtin_ctz(open));
                m_lower = lowers[lane];
                m_upper = uppers[lane];
                m_firstState =
                    findSlot(m_lookup, m_lower | std::uint64_t{m_upper} << (2 * c_blockBits))
                        .firstState;
                const std::uint32_t lanes = lanesOf(lower, upper);
                firsts = Vector::Replace(firsts, lanes, m_firstState);
                open &= ~lanes;
            }
        }
        const Numbers found = Vector::ShiftRightEach(read(Vector::Add(firsts, words)), bits);
        return Vector::Or(
            Vector::And(found, Vector::SetNumber(1)),
            Vector::And(Vector::template ShiftRight<15>(found), Vector::SetNumber(2)));
    }

    /// The words of states at \p places.
    ///
    /// Another thread may make a state in them known meanwhile, so each read is atomic. A gathering
    /// instruction, which the language knows nothing of, promises no such thing, and takes as long.
    Numbers read(Numbers places) const
    {
        alignas(64) std::uint32_t words[c_width];
        Vector::StoreNumbers(places, words);
        for (std::uint32_t& word : words)
        {
            word = __atomic_load_n(m_lookup.states + word, __ATOMIC_RELAXED);
        }
        return Vector::LoadNumbers(words);
    }

    /// The surfels in the block that was looked up last, one bit each.
    std::uint32_t lanesOf(Numbers lower, Numbers upper) const
    {
        return Vector::Equal(lower, Vector::SetNumber(m_lower)) &
               Vector::Equal(upper, Vector::SetNumber(m_upper));
    }

    const SLookup& m_lookup;
    const SSurfels& m_surfels;
    Floats m_matrix[16];
    Floats m_low[3];
    Floats m_scale;
    /// The block that was looked up last; the first one is none that exists.
    std::uint32_t m_lower = ~0U;
    std::uint32_t m_upper = ~0U;
    std::uint32_t m_firstState = 0;
};

}  // namespace
}  // namespace DataLayer::NeighborCells
