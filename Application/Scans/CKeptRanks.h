#pragma once

#include <bit>
#include <cstdint>
#include <vector>

#include "Application/Scans/CKeptPoints.h"

namespace Application
{

/// The new numbers of kept points, in two bits per point.
class CKeptRanks
{
public:
    /// \p kept has one word for each point.
    explicit CKeptRanks(const CKeptPoints& kept);

    [[nodiscard]] bool IsKept(std::uint64_t index) const
    {
        return (m_words[index / 64].bits >> index % 64 & 1U) != 0;
    }

    /// How many kept points come before \p index.
    [[nodiscard]] std::uint64_t GetRank(std::uint64_t index) const
    {
        const SWord& word = m_words[index / 64];
        const std::uint64_t before = word.bits & ((std::uint64_t{1} << index % 64) - 1);
        return word.rank + static_cast<std::uint64_t>(std::popcount(before));
    }

private:
    struct SWord
    {
        std::uint64_t bits = 0;
        std::uint64_t rank = 0;
    };

    std::vector<SWord> m_words;
};

}  // namespace Application
