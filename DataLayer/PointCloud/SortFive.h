#pragma once

#include <algorithm>
#include <cstdint>

namespace DataLayer
{

/// Sorts five values, none of them a NaN, without a branch: it takes the same time in any order.
inline void SortFive(float* values)
{
    constexpr std::uint8_t c_pairs[][2] = {{0, 1}, {3, 4}, {2, 4}, {2, 3}, {0, 3},
                                           {0, 2}, {1, 4}, {1, 3}, {1, 2}};
    for (const auto& pair : c_pairs)
    {
        const float a = values[pair[0]];
        const float b = values[pair[1]];
        values[pair[0]] = std::min(a, b);
        values[pair[1]] = std::max(a, b);
    }
}

}  // namespace DataLayer
