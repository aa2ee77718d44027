#pragma once

#include "Application/Pictures/Kernels/TSampleRow.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace Application
{
namespace
{

/// Finds the radii of the dots of a row's samples.
///
/// \tparam Vector see TDots.
template <typename Vector>
class TRadii
{
public:
    TRadii(const SDotsTask& task, std::uint32_t row)
        : m_task(task), m_offsets(task.offsets), m_row(task.depths, row)
    {}

    void Find(std::uint8_t* radii) const
    {
        const std::uint32_t width = m_task.depths.width;
        for (std::uint32_t column = 0; column < width; column += c_width)
        {
            const Floats depths = Row::Load(m_row.At(column));
            std::uint8_t found[c_width] = {};
            if (Vector::Bits(depths == depths) != 0)
            {
                Vector::StoreBytes(__builtin_convertvector(
                                       find(column, depths) * SSampleRows::c_radiusUnits, Integers),
                                   found);
            }
            if (width - column >= c_width)
            {
                std::memcpy(radii + column, found, c_width);
            }
            else
            {
                std::memcpy(radii + column, found, width - column);
            }
        }
    }

private:
    using Row = TSampleRow<Vector>;
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static constexpr std::size_t c_step = SSampleRows::c_offsetsPerDistance;

    /// Discs around randomly strewn surfels that reach the sixth neighbour leave next to no gap.
    static constexpr int c_numNeighbors = 6;

    /// Of a group.
    [[nodiscard]] Floats find(std::uint32_t column, Floats depths) const
    {
        const float* const first = m_row.At(column);
        const Floats tolerances = m_row.Tolerances(depths);
        const Integers isThere = depths == depths;
        Integers numLeft = isThere & c_numNeighbors;
        Floats radii = isThere ? Floats() + m_task.singleRadius : Floats();
        for (std::size_t index = 0; index < m_offsets.count; index += c_step)
        {
            const float distance = m_offsets.distances[index];
            const std::uint32_t lanes = Vector::Bits(numLeft > 0);
            if (Row::AreFew(lanes, distance))
            {
                return lanes == 0 ? radii : findRest(first, index, lanes, numLeft, radii);
            }
            const Floats bounds = tolerances * distance;
            const Integers numBefore = numLeft;
            for (std::size_t each = index; each < index + c_step; ++each)
            {
                const Floats others = Row::Load(first + m_offsets.steps[each]);
                // True is -1. Further neighbours count below 0.
                numLeft += Row::Magnitude(others - depths) <= bounds;
            }
            radii = ((numBefore > 0) & (numLeft <= 0)) ? Floats() + distance : radii;
        }
        return radii;
    }

    /// \p radii with those of the samples from \p first on that \p lanes has, one by one.
    /// \param offset the first offset that is still to be looked at.
    [[nodiscard, gnu::noinline]] Floats findRest(const float* first, std::size_t offset,
                                                 std::uint32_t lanes, Integers numLeft,
                                                 Floats radii) const
    {
        for (; lanes != 0; lanes &= lanes - 1)
        {
            const int lane = __builtin_ctz(lanes);
            const std::size_t last = findNeighbor(first + lane, offset, numLeft[lane]);
            if (last < m_offsets.count)
            {
                radii[lane] = m_offsets.distances[last];
            }
        }
        return radii;
    }

    /// The offset of the neighbour at which \p numLeft have been found from \p offset on; if there
    /// are so many. Each lane looks at another offset.
    [[nodiscard]] std::size_t findNeighbor(const float* centre, std::size_t offset,
                                           int numLeft) const
    {
        const Floats depths = Floats() + *centre;
        const Floats tolerances = m_row.Tolerances(depths);
        for (; offset < m_offsets.count; offset += c_width)
        {
            const Floats others = Vector::Gather(centre, m_offsets.steps + offset);
            const Floats bounds = tolerances * Row::Load(m_offsets.distances + offset);
            std::uint32_t near = Vector::Bits(Row::Magnitude(others - depths) <= bounds);
            for (; near != 0; near &= near - 1)
            {
                if (--numLeft == 0)
                {
                    return offset + static_cast<std::size_t>(__builtin_ctz(near));
                }
            }
        }
        return offset;
    }

    const SDotsTask& m_task;
    const SSampleOffsets& m_offsets;
    Row m_row;
};

}  // namespace
}  // namespace Application
