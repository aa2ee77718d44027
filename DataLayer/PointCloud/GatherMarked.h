#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"

namespace DataLayer
{

/// Which of the words 64 \p group to 64 \p group + 63 have one of \p bits, the first in the lowest
/// bit. Words that are not there have none.
[[nodiscard]] inline std::uint64_t GatherMarked(const std::vector<Base::CSurfelBitMask>& bitMasks,
                                                Base::CSurfelBitMask bits, std::uint64_t group)
{
    constexpr std::uint64_t c_groupSize = 64;
    const std::uint64_t begin = std::min<std::uint64_t>(group * c_groupSize, bitMasks.size());
    const std::uint64_t size = std::min(bitMasks.size() - begin, c_groupSize);
    const Base::CSurfelBitMask* const words = bitMasks.data() + begin;
    // Most groups have no marked word, and looking for one takes several words at a time.
    std::uint16_t all = 0;
    for (std::uint64_t offset = 0; offset < size; ++offset)
    {
        all |= words[offset].bits;
    }
    std::uint64_t marked = 0;
    if ((all & bits.bits) != 0)
    {
        for (std::uint64_t offset = 0; offset < size; ++offset)
        {
            marked |= std::uint64_t{(words[offset].bits & bits.bits) != 0 ? 1U : 0U} << offset;
        }
    }
    return marked;
}

}  // namespace DataLayer
