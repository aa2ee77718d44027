#pragma once

#include "Base/Support/ParallelFor.h"

#include <algorithm>
#include <cstdint>

namespace Application
{

/// Calls \p body for every row from 0 to \p numRows - 1, in parallel by bands of rows.
template <typename Body>
void ForEachRow(std::uint32_t numRows, const Body& body)
{
    constexpr std::uint32_t c_bandRows = 16;
    Base::ParallelFor((numRows + c_bandRows - 1) / c_bandRows, [&](std::uint32_t band) {
        const std::uint32_t end = std::min(numRows, (band + 1) * c_bandRows);
        for (std::uint32_t row = band * c_bandRows; row < end; ++row)
        {
            body(row);
        }
    });
}

}  // namespace Application
