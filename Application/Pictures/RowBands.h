#pragma once

#include "Base/Support/ParallelFor.h"

#include <algorithm>
#include <cstdint>

namespace Application
{

/// Calls \p body(begin, end) for bands of the rows 0 to \p numRows - 1, in parallel.
template <typename Body>
void ForEachBand(std::uint32_t numRows, const Body& body)
{
    constexpr std::uint32_t c_bandRows = 16;
    Base::ParallelFor((numRows + c_bandRows - 1) / c_bandRows, [&](std::uint32_t band) {
        body(band * c_bandRows, std::min(numRows, (band + 1) * c_bandRows));
    });
}

/// Calls \p body for every row from 0 to \p numRows - 1, in parallel by bands of rows.
template <typename Body>
void ForEachRow(std::uint32_t numRows, const Body& body)
{
    ForEachBand(numRows, [&](std::uint32_t begin, std::uint32_t end) {
        for (std::uint32_t row = begin; row < end; ++row)
        {
            body(row);
        }
    });
}

}  // namespace Application
