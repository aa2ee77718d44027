#pragma once

#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

// Included by each kernel's source. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace DataLayer::NeighborCells
{
namespace
{

/// The place of a region, or a free one.
inline const SSlot& FindSlot(const SLookup& lookup, std::uint32_t region)
{
    std::uint32_t place = (region * c_hashFactor) >> lookup.hashShift;
    while (lookup.slots[place].region != region)
        [[unlikely]]
        {
            if (lookup.slots[place].region == c_noRegion)
            {
                break;
            }
            place = (place + 1) & lookup.slotMask;
        }
    return lookup.slots[place];
}

/// The cell number of a coordinate.
inline std::uint32_t CellOf(const SLookup& lookup, float coordinate, std::uint32_t axis)
{
    constexpr auto c_highest = static_cast<float>(c_maximumCell);
    const float scaled = (coordinate - lookup.low[axis]) * lookup.scale;
    const float atMost = scaled < c_highest ? scaled : c_highest;
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(atMost > 0.0F ? atMost : 0.0F));
}

/// What a block's number on an axis adds to its key.
inline std::uint64_t KeyOnAxis(std::uint32_t number, std::uint32_t axis)
{
    constexpr std::uint32_t c_lastRegion = (1U << c_regionBits) - 1U;
    const std::uint32_t region = number >> c_regionEdgeBits & c_lastRegion;
    const std::uint32_t place = number & ((1U << c_regionEdgeBits) - 1U);
    return std::uint64_t{region} << (3 * c_regionEdgeBits + axis * c_regionBits) |
           std::uint64_t{place} << (axis * c_regionEdgeBits);
}

/// The key of the block with the given numbers: its region, and its place there in the lowest bits.
/// A number beyond the ends of an axis gives that of some other block or of none.
inline std::uint64_t KeyOfBlock(std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    return KeyOnAxis(x, 0) | KeyOnAxis(y, 1) | KeyOnAxis(z, 2);
}

inline std::uint64_t KeyOfCell(const std::uint32_t (&cell)[3])
{
    return KeyOfBlock(cell[0] >> c_blockEdgeBits, cell[1] >> c_blockEdgeBits,
                      cell[2] >> c_blockEdgeBits);
}

/// The place of a region's key in that of its blocks.
inline std::uint32_t RegionOf(std::uint64_t key)
{
    return static_cast<std::uint32_t>(key >> (3 * c_regionEdgeBits));
}

inline std::uint32_t PlaceInRegion(std::uint64_t key)
{
    return static_cast<std::uint32_t>(key) & (c_regionBlocks - 1U);
}

/// Where the states of a block are.
inline std::uint32_t FirstStateOf(const SLookup& lookup, std::uint64_t key)
{
    return lookup.blocks[FindSlot(lookup, RegionOf(key)).firstBlock + PlaceInRegion(key)];
}

/// The word of the state of a cell's cube in its block, and the place of the low bit in it.
inline std::uint32_t StateWord(const std::uint32_t (&cell)[3])
{
    return (cell[2] & 14U) << 1U | (cell[1] & 12U) >> 2U;
}

inline std::uint32_t StateBit(const std::uint32_t (&cell)[3])
{
    return (cell[1] & 2U) << 2U | (cell[0] & 14U) >> 1U;
}

/// A state, given the word that holds it and the place of its low bit there.
inline std::uint32_t StateAt(std::uint32_t word, std::uint32_t bit)
{
    const std::uint32_t bits = word >> bit;
    return (bits & 1U) | (bits >> 15U & 2U);
}

/// The state of a cell's cube, given the word that holds it.
inline std::uint32_t StateIn(std::uint32_t word, const std::uint32_t (&cell)[3])
{
    return StateAt(word, StateBit(cell));
}

/// A word of what is known by now.
inline std::uint32_t LatestWord(const SLookup& lookup, std::uint32_t place)
{
    return __atomic_load_n(lookup.states + place, __ATOMIC_RELAXED);
}

inline bool IsKnown(std::uint32_t state)
{
    return state == c_amongFirst || state == c_notAmong;
}

}  // namespace
}  // namespace DataLayer::NeighborCells
