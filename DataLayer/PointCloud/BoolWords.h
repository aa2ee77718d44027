#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace DataLayer
{

// A vector<bool> 64 entries at a time. Word w holds the entries 64 w to 64 w + 63, the first of
// them in the lowest bit.

inline constexpr std::size_t c_boolsPerWord = 64;

[[nodiscard]] inline std::size_t CountBoolWords(std::size_t numBools)
{
    return numBools / c_boolsPerWord + (numBools % c_boolsPerWord != 0 ? 1 : 0);
}

/// Whether a vector<bool> is known to keep its entries in such words itself.
#ifdef __GLIBCXX__
inline constexpr bool c_boolsAreWords = sizeof(std::_Bit_type) == sizeof(std::uint64_t);
#else
inline constexpr bool c_boolsAreWords = false;
#endif

/// Word \p word of \p bools entry by entry, in which entries that are not there count as false.
[[nodiscard]] inline std::uint64_t GatherBools(const std::vector<bool>& bools, std::size_t word)
{
    std::uint64_t bits = 0;
    const std::size_t begin = word * c_boolsPerWord;
    for (std::size_t index = begin; index < std::min(begin + c_boolsPerWord, bools.size()); ++index)
    {
        bits |= std::uint64_t{bools[index] ? 1U : 0U} << (index - begin);
    }
    return bits;
}

/// The reverse, entry by entry; bits whose entries are not there are ignored.
inline void ScatterBools(std::vector<bool>& bools, std::size_t word, std::uint64_t bits)
{
    const std::size_t begin = word * c_boolsPerWord;
    for (std::size_t index = begin; index < std::min(begin + c_boolsPerWord, bools.size()); ++index)
    {
        bools[index] = ((bits >> (index - begin)) & 1U) != 0;
    }
}

/// As GatherBools(), at the cost of reading one word where possible.
[[nodiscard]] inline std::uint64_t LoadBools(const std::vector<bool>& bools, std::size_t word)
{
    if constexpr (c_boolsAreWords)
    {
        if (word < bools.size() / c_boolsPerWord)
        {
            return bools.begin()._M_p[word];
        }
    }
    return GatherBools(bools, word);
}

/// As ScatterBools(), at the cost of writing one word where possible. Distinct words may be stored
/// at the same time.
inline void StoreBools(std::vector<bool>& bools, std::size_t word, std::uint64_t bits)
{
    if constexpr (c_boolsAreWords)
    {
        if (word < bools.size() / c_boolsPerWord)
        {
            bools.begin()._M_p[word] = bits;
            return;
        }
    }
    ScatterBools(bools, word, bits);
}

}  // namespace DataLayer
