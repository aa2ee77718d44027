#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace Application
{

/// Disjoint sets (union-find) of the numbers from 0 to a count - 1, each in a set of its own at
/// first, which any number of threads may unite. Four bytes per number.
class CDisjointSets
{
public:
    explicit CDisjointSets(std::uint32_t count) : m_parents(count)
    {
        std::iota(m_parents.begin(), m_parents.end(), 0U);
    }

    /// Makes one set of those that \p a and \p b are in. Safe from any number of threads at once.
    void Unite(std::uint32_t a, std::uint32_t b)
    {
        // The larger of two roots is hung under the smaller one, so that in the end the root of a
        // set is its least number, whoever came first.
        for (;;)
        {
            a = findRoot(a);
            b = findRoot(b);
            if (a == b)
            {
                return;
            }
            if (a < b)
            {
                std::swap(a, b);
            }
            std::uint32_t expected = a;
            if (std::atomic_ref(m_parents[a])
                    .compare_exchange_strong(expected, b, std::memory_order_relaxed))
            {
                return;
            }
        }
    }

    /// The number of each number's set; sets count from 0 in the order of their least numbers. The
    /// object is used up.
    [[nodiscard]] std::vector<std::uint32_t> TakeSetNumbers() &&
    {
        std::uint32_t numSets = 0;
        for (std::uint32_t number = 0; number < m_parents.size(); ++number)
        {
            // A parent is less than its child, and so already the number of its set.
            const std::uint32_t parent = m_parents[number];
            m_parents[number] = parent == number ? numSets++ : m_parents[parent];
        }
        return std::move(m_parents);
    }

private:
    /// Only numbers are exchanged here, and each alone is valid at any time: relaxed order will do.
    [[nodiscard]] std::uint32_t findRoot(std::uint32_t number)
    {
        for (;;)
        {
            const std::uint32_t parent = load(number);
            const std::uint32_t grandparent = load(parent);
            if (parent == grandparent)
            {
                return parent;
            }
            // Path halving. What is no root never becomes one again.
            std::atomic_ref(m_parents[number]).store(grandparent, std::memory_order_relaxed);
            number = grandparent;
        }
    }

    [[nodiscard]] std::uint32_t load(std::uint32_t number)
    {
        return std::atomic_ref(m_parents[number]).load(std::memory_order_relaxed);
    }

    std::vector<std::uint32_t> m_parents;
};

}  // namespace Application
