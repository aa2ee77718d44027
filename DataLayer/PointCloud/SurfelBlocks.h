#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "Base/Support/ParallelFor.h"

namespace DataLayer
{

/// Surfels are worked through in blocks of this many, so that results which depend on the
/// partition never depend on the number of threads.
inline constexpr std::uint64_t c_surfelBlockSize = std::uint64_t{1} << 16;

/// @throw std::length_error for a count that no memory holds, 2^48 or more.
[[nodiscard]] inline std::uint32_t CountSurfelBlocks(std::uint64_t count)
{
    const std::uint64_t numBlocks =
        count / c_surfelBlockSize + (count % c_surfelBlockSize != 0 ? 1 : 0);
    if (numBlocks > std::numeric_limits<std::uint32_t>::max())
    {
        throw std::length_error("There are too many surfels to work through.");
    }
    return static_cast<std::uint32_t>(numBlocks);
}

/// Calls \p body in parallel with the first and the end index of each block of \p count surfels.
template <typename Body>
void ForEachSurfelBlock(std::uint64_t count, const Body& body)
{
    Base::ParallelFor(CountSurfelBlocks(count), [&](std::uint32_t block) {
        const std::uint64_t begin = block * c_surfelBlockSize;
        body(begin, std::min(begin + c_surfelBlockSize, count));
    });
}

}  // namespace DataLayer
