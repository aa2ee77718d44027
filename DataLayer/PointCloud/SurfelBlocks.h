#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

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

/// For each block of \p count indices, how many indices before it \p isSelected holds for; behind
/// the last block, for how many in all. It is called concurrently.
template <typename IsSelected>
[[nodiscard]] std::vector<std::uint64_t> CountSelected(std::uint64_t count,
                                                       const IsSelected& isSelected)
{
    std::vector<std::uint64_t> firsts(CountSurfelBlocks(count) + std::size_t{1});
    ForEachSurfelBlock(count, [&](std::uint64_t begin, std::uint64_t end) {
        std::uint64_t numSelected = 0;
        for (std::uint64_t index = begin; index < end; ++index)
        {
            numSelected += isSelected(index) ? 1 : 0;
        }
        firsts[begin / c_surfelBlockSize + 1] = numSelected;
    });
    for (std::size_t block = 1; block < firsts.size(); ++block)
    {
        firsts[block] += firsts[block - 1];
    }
    return firsts;
}

/// The elements that \p read makes of those of \p count indices for which \p isSelected holds, in
/// order. Counts first, so that memory is taken exactly and once, and then every block is written
/// to its own place. Both are called concurrently.
template <typename Elements, typename IsSelected, typename Read>
[[nodiscard]] Elements CopySelected(std::uint64_t count, const IsSelected& isSelected,
                                    const Read& read)
{
    const std::vector<std::uint64_t> firsts = CountSelected(count, isSelected);
    Elements elements(firsts.back());
    ForEachSurfelBlock(count, [&](std::uint64_t begin, std::uint64_t end) {
        auto* target = elements.data() + firsts[begin / c_surfelBlockSize];
        for (std::uint64_t index = begin; index < end; ++index)
        {
            if (isSelected(index))
            {
                *target = read(index);
                ++target;
            }
        }
    });
    return elements;
}

}  // namespace DataLayer
