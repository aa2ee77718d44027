#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace Application
{

/// Gives equal points the same number, in the order of their first appearance. Equal means the same
/// bits: 0 and -0 differ, a NaN equals itself.
template <typename T>
class TVertexWelder
{
public:
    using Point = std::array<T, 3>;

    TVertexWelder() : m_slots(c_firstSize, c_empty) {}

    /// The number of the point.
    [[nodiscard]] std::uint32_t Add(const Point& point)
    {
        if (2 * (m_points.size() + 1) > m_slots.size())
        {
            grow();
        }
        std::size_t slot = hash(point) & (m_slots.size() - 1);
        while (m_slots[slot] != c_empty && !isSame(m_points[m_slots[slot]], point))
        {
            slot = (slot + 1) & (m_slots.size() - 1);
        }
        if (m_slots[slot] == c_empty)
        {
            m_slots[slot] = static_cast<std::uint32_t>(m_points.size());
            m_points.push_back(point);
        }
        return m_slots[slot];
    }

    /// The different points.
    [[nodiscard]] std::vector<Point> TakePoints() { return std::move(m_points); }

private:
    static constexpr std::uint32_t c_empty = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::size_t c_firstSize = 64;

    [[nodiscard]] static bool isSame(const Point& left, const Point& right)
    {
        // Zeros by their sign. NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
        return std::memcmp(left.data(), right.data(), sizeof left) == 0;
    }

    /// Spreads every bit of \p value over the whole word (the finaliser of SplitMix64).
    [[nodiscard]] static std::uint64_t mix(std::uint64_t value)
    {
        value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
        value = (value ^ value >> 27) * 0x94D049BB133111EBU;
        return value ^ value >> 31;
    }

    [[nodiscard]] std::size_t hash(const Point& point) const
    {
        std::uint64_t value = m_seed;
        for (const T coordinate : point)
        {
            std::uint64_t bits = 0;
            std::memcpy(&bits, &coordinate, sizeof coordinate);
            value = mix(value + bits);
        }
        return static_cast<std::size_t>(value);
    }

    void grow()
    {
        m_slots.assign(2 * m_slots.size(), c_empty);
        for (std::size_t index = 0; index < m_points.size(); ++index)
        {
            std::size_t slot = hash(m_points[index]) & (m_slots.size() - 1);
            while (m_slots[slot] != c_empty)
            {
                slot = (slot + 1) & (m_slots.size() - 1);
            }
            m_slots[slot] = static_cast<std::uint32_t>(index);
        }
    }

    /// Random, so that no file can be made whose points all meet in one place.
    std::uint64_t m_seed = std::uint64_t{std::random_device()()} << 32 | std::random_device()();
    std::vector<std::uint32_t> m_slots;
    std::vector<Point> m_points;
};

}  // namespace Application
