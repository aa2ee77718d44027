#include "DataLayer/PointCloud/CNeighborBlocks.h"

#include <bit>
#include <utility>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

namespace DataLayer
{

using NeighborCells::c_regionBlocks;

namespace
{

/// A block's number on an axis.
std::uint32_t NumberOnAxis(std::uint64_t key, std::uint32_t axis)
{
    constexpr std::uint32_t c_edgeBits = NeighborCells::c_regionEdgeBits;
    constexpr std::uint32_t c_edge = 1U << c_edgeBits;
    constexpr std::uint32_t c_regions = 1U << NeighborCells::c_regionBits;
    const std::uint32_t region =
        NeighborCells::RegionOf(key) >> (axis * NeighborCells::c_regionBits) & (c_regions - 1U);
    const std::uint32_t place =
        NeighborCells::PlaceInRegion(key) >> (axis * c_edgeBits) & (c_edge - 1U);
    return region << c_edgeBits | place;
}

}  // namespace

CNeighborBlocks::CNeighborBlocks() : m_firstStates(c_regionBlocks)
{
    growTable();
}

std::uint32_t CNeighborBlocks::Add(std::uint64_t key)
{
    const std::uint32_t region = NeighborCells::RegionOf(key);
    if (region != m_last.region)
    {
        m_last = {region, firstBlockOf(region)};
    }
    std::uint32_t& firstState =
        m_firstStates[m_last.firstBlock + NeighborCells::PlaceInRegion(key)];
    if (firstState == 0)
    {
        firstState = ++m_count * NeighborCells::c_stateWords;
    }
    return firstState / NeighborCells::c_stateWords;
}

CNeighborBlocks::SNeighbors CNeighborBlocks::FindAround(std::uint64_t key) const
{
    const SNeighborKeys around(key);
    SNeighbors neighbors;
    NeighborCells::SSlot slot{NeighborCells::c_noRegion, 0};
    for (std::size_t direction = 0; direction < 27; ++direction)
    {
        const std::uint32_t region = NeighborCells::RegionOf(around.keys[direction]);
        if (region != slot.region)
        {
            slot = {region, m_slots[placeOf(region)].firstBlock};
        }
        neighbors.numbers[direction] =
            m_firstStates[slot.firstBlock + NeighborCells::PlaceInRegion(around.keys[direction])] /
            NeighborCells::c_stateWords;
    }
    return neighbors;
}

std::size_t CNeighborBlocks::GetMemorySize() const
{
    return m_slots.size() * sizeof(NeighborCells::SSlot) +
           m_firstStates.size() * sizeof(std::uint32_t);
}

void CNeighborBlocks::Publish(NeighborCells::SLookup& lookup) const
{
    lookup.slots = m_slots.data();
    lookup.blocks = m_firstStates.data();
    lookup.slotMask = static_cast<std::uint32_t>(m_slots.size() - 1);
    lookup.hashShift = 32U - static_cast<std::uint32_t>(std::countr_zero(m_slots.size()));
}

/// Where a region is in the table, or the free place for it.
std::size_t CNeighborBlocks::placeOf(std::uint32_t region) const
{
    NeighborCells::SLookup lookup{};
    Publish(lookup);
    return static_cast<std::size_t>(&NeighborCells::FindSlot(lookup, region) - m_slots.data());
}

/// Where the numbers of a region's blocks begin. The region is added if it is new.
std::uint32_t CNeighborBlocks::firstBlockOf(std::uint32_t region)
{
    NeighborCells::SSlot& slot = m_slots[placeOf(region)];
    if (slot.region == region)
    {
        return slot.firstBlock;
    }
    const auto firstBlock = static_cast<std::uint32_t>(m_firstStates.size());
    m_firstStates.resize(m_firstStates.size() + c_regionBlocks);
    slot = {region, firstBlock};
    // So sparse that few regions stand elsewhere than at the first place of their keys: a
    // kernel then finds nearly each by one look.
    constexpr std::uint32_t c_slotsPerRegion = 8;
    if (c_slotsPerRegion * ++m_numRegions > m_slots.size())
    {
        growTable();
    }
    return firstBlock;
}

/// Doubles the table, or makes the first one.
void CNeighborBlocks::growTable()
{
    const std::vector<NeighborCells::SSlot> slots = std::move(m_slots);
    m_slots.assign(slots.empty() ? 16 : 2 * slots.size(), {NeighborCells::c_noRegion, 0});
    for (const NeighborCells::SSlot& slot : slots)
    {
        if (slot.region != NeighborCells::c_noRegion)
        {
            m_slots[placeOf(slot.region)] = slot;
        }
    }
}

SNeighborKeys::SNeighborKeys(std::uint64_t key)
{
    std::uint64_t parts[3][3];
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const std::uint32_t number = NumberOnAxis(key, axis);
        for (std::uint32_t step = 0; step < 3; ++step)
        {
            parts[axis][step] = NeighborCells::KeyOnAxis(number + step - 1, axis);
        }
    }
    std::uint64_t* next = keys;
    for (const std::uint64_t z : parts[2])
    {
        for (const std::uint64_t y : parts[1])
        {
            for (const std::uint64_t x : parts[0])
            {
                *next++ = x | y | z;
            }
        }
    }
}

bool IsBlockAtAnEnd(std::uint64_t key)
{
    constexpr std::uint32_t c_lastBlock = (1U << NeighborCells::c_blockBits) - 1U;
    bool isAtEnd = false;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const std::uint32_t number = NumberOnAxis(key, axis);
        isAtEnd |= number == 0 || number == c_lastBlock;
    }
    return isAtEnd;
}

}  // namespace DataLayer
