#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Application
{

/// The slots of a hash table (open addressing, linear probing) over elements that somebody else
/// keeps, numbered from 0 in the order in which they came.
class CHashSlots
{
public:
    static constexpr std::uint32_t c_none = std::numeric_limits<std::uint32_t>::max();

    /// The number of the element with \p hash that \p isEqual is true for, or c_none.
    template <typename IsEqual>
    [[nodiscard]] std::uint32_t Find(std::uint64_t hash, const IsEqual& isEqual) const
    {
        if (m_slots.empty())
        {
            return c_none;
        }
        return m_slots[findSlot(hash, isEqual)];
    }

    /// The same, but takes an element that is not found in under the next number, \p next.
    /// \p hashOf makes the hash of an element by its number.
    template <typename IsEqual, typename HashOf>
    std::uint32_t FindOrInsert(std::uint64_t hash, std::uint32_t next, const IsEqual& isEqual,
                               const HashOf& hashOf)
    {
        if (2 * (std::size_t{next} + 1) > m_slots.size())
        {
            grow(next, hashOf);
        }
        std::uint32_t& slot = m_slots[findSlot(hash, isEqual)];
        if (slot == c_none)
        {
            slot = next;
        }
        return slot;
    }

private:
    template <typename IsEqual>
    [[nodiscard]] std::size_t findSlot(std::uint64_t hash, const IsEqual& isEqual) const
    {
        const std::size_t mask = m_slots.size() - 1;
        // Not the low bits, which chose the bucket of the elements.
        std::size_t slot = (hash >> 24) & mask;
        while (m_slots[slot] != c_none && !isEqual(m_slots[slot]))
        {
            slot = (slot + 1) & mask;
        }
        return slot;
    }

    template <typename HashOf>
    void grow(std::uint32_t count, const HashOf& hashOf)
    {
        constexpr std::size_t c_minimumSize = 64;
        m_slots.assign(m_slots.empty() ? c_minimumSize : 4 * m_slots.size(), c_none);
        for (std::uint32_t number = 0; number < count; ++number)
        {
            m_slots[findSlot(hashOf(number), [](std::uint32_t) { return false; })] = number;
        }
    }

    /// Half of them empty at least; a power of two.
    std::vector<std::uint32_t> m_slots;
};

}  // namespace Application
