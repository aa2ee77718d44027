#pragma once

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

// Included by each kernel's source. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace DataLayer::NeighborCells
{
namespace
{

/// The place of a block, or a free one.
inline const SSlot& findSlot(const SLookup& lookup, std::uint64_t key)
{
    std::uint64_t place = (key * c_hashFactor) >> lookup.hashShift;
    while (lookup.slots[place].key != key && lookup.slots[place].key != c_noKey)
    {
        place = (place + 1) & lookup.slotMask;
    }
    return lookup.slots[place];
}

/// The cell number of a coordinate.
inline std::uint32_t cellOf(const SLookup& lookup, float coordinate, std::uint32_t axis)
{
    constexpr auto c_highest = static_cast<float>(c_maximumCell);
    const float scaled = (coordinate - lookup.low[axis]) * lookup.scale;
    const float atMost = scaled < c_highest ? scaled : c_highest;
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(atMost > 0.0F ? atMost : 0.0F));
}

/// The key of the block with the given numbers. A number beyond the ends of an axis gives that of
/// some other block or of none.
inline std::uint64_t keyOfBlock(std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    return x | std::uint64_t{y} << c_blockBits | std::uint64_t{z} << (2 * c_blockBits);
}

inline std::uint64_t keyOfCell(const std::uint32_t (&cell)[3])
{
    return keyOfBlock(cell[0] >> c_blockEdgeBits, cell[1] >> c_blockEdgeBits,
                      cell[2] >> c_blockEdgeBits);
}

/// The word of a cell's state in its block, and the place of the state's low bit in it.
inline std::uint32_t stateWord(const std::uint32_t (&cell)[3])
{
    return (cell[2] & 3U) | (cell[0] & 4U) | (cell[1] & 4U) << 1U | (cell[0] & 8U) << 1U |
           (cell[1] & 8U) << 2U | (cell[2] & 12U) << 4U;
}

inline std::uint32_t stateBit(const std::uint32_t (&cell)[3])
{
    return (cell[0] & 3U) | (cell[1] & 3U) << 2U;
}

/// The state of a cell of the block with the given first state.
inline std::uint32_t stateOf(const SLookup& lookup, std::uint32_t firstState,
                             const std::uint32_t (&cell)[3])
{
    const std::uint32_t word =
        __atomic_load_n(lookup.states + firstState + stateWord(cell), __ATOMIC_RELAXED);
    const std::uint32_t bits = word >> stateBit(cell);
    return (bits & 1U) | (bits >> 15U & 2U);
}

}  // namespace
}  // namespace DataLayer::NeighborCells
