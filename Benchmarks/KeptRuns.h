#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Base/Support/ParallelFor.h"

/// The limit of the machine for leaving elements out of an array: what is kept is known beforehand,
/// and bytes are only moved.
namespace KeptRuns
{

inline constexpr std::size_t c_blockSize = 65536;

/// Consecutive elements that are kept.
struct SRun
{
    std::size_t begin;
    std::size_t end;
    std::size_t target;
};

/// By blocks of c_blockSize elements.
using Blocks = std::vector<std::vector<SRun>>;

template <typename IsElementKept>
Blocks FindRuns(std::size_t count, const IsElementKept& isKept)
{
    Blocks blocks((count + c_blockSize - 1) / c_blockSize);
    std::size_t target = 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        if (isKept(index))
        {
            std::vector<SRun>& runs = blocks[index / c_blockSize];
            if (runs.empty() || runs.back().end != index)
            {
                runs.push_back({index, index, target});
            }
            ++runs.back().end;
            ++target;
        }
    }
    return blocks;
}

/// Copies the runs to their places, in parallel.
template <typename Element>
void CopyRuns(const Blocks& blocks, const Element* source, Element* target)
{
    Base::ParallelFor(static_cast<std::uint32_t>(blocks.size()), [&](std::uint32_t block) {
        for (const SRun& run : blocks[block])
        {
            std::copy(source + run.begin, source + run.end, target + run.target);
        }
    });
}

/// Reads all bytes of \p elements, in parallel.
template <typename Element>
void ReadAll(const Element* elements, std::size_t count)
{
    const auto numBlocks = static_cast<std::uint32_t>((count + c_blockSize - 1) / c_blockSize);
    Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
        const std::size_t begin = std::size_t{block} * c_blockSize;
        const std::size_t numElements = std::min(c_blockSize, count - begin);
        const auto* const bytes = reinterpret_cast<const char*>(elements + begin);
        std::uint64_t sum = 0;
        for (std::size_t offset = 0; offset + sizeof sum <= numElements * sizeof(Element);
             offset += sizeof sum)
        {
            std::uint64_t value = 0;
            std::memcpy(&value, bytes + offset, sizeof value);
            sum ^= value;
        }
        benchmark::DoNotOptimize(sum);
    });
}

}  // namespace KeptRuns
