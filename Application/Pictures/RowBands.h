#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "Base/Support/ParallelFor.h"

namespace Application
{

/// The rows of a band, but perhaps of the last one.
inline constexpr std::uint32_t c_bandRows = 16;

[[nodiscard]] constexpr std::uint32_t CountBands(std::uint32_t numRows)
{
    return (numRows + c_bandRows - 1) / c_bandRows;
}

/// Calls \p body(begin, end) for bands of the rows 0 to \p numRows - 1, in parallel.
template <typename Body>
void ForEachBand(std::uint32_t numRows, const Body& body)
{
    Base::ParallelFor(CountBands(numRows), [&](std::uint32_t band) {
        body(band * c_bandRows, std::min(numRows, (band + 1) * c_bandRows));
    });
}

/// As ForEachBand(), with what \p makeRoom() gives to each thread to work in: calls
/// \p body(room, begin, end). Fresh memory for every band would take longer than the work.
///
/// Calls \p onIdle() once, unless a call throws, on the first thread that finds no band left, while
/// others may still be at theirs.
template <typename MakeRoom, typename Body, typename OnIdle>
void ForEachBandInRoom(std::uint32_t numRows, const MakeRoom& makeRoom, const Body& body,
                       const OnIdle& onIdle)
{
    constexpr std::uint32_t c_maxThreads = 256;
    const std::uint32_t numBands = CountBands(numRows);
    std::atomic<std::uint32_t> numTaken = 0;
    Base::ParallelFor(std::min(numBands, c_maxThreads), [&](std::uint32_t) {
        std::uint32_t band = numTaken++;
        if (band < numBands)
        {
            for (auto room = makeRoom(); band < numBands; band = numTaken++)
            {
                body(room, band * c_bandRows, std::min(numRows, (band + 1) * c_bandRows));
            }
        }
        if (band == numBands)
        {
            onIdle();
        }
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
