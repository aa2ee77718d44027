#include "Application/Scans/CKeptRanks.h"

namespace Application
{

CKeptRanks::CKeptRanks(const CKeptPoints& kept) : m_words((kept.GetFlags().size() + 63) / 64)
{
    const std::uint64_t count = kept.GetFlags().size();
    for (std::uint64_t index = 0; index < count; ++index)
    {
        m_words[index / 64].bits |= (kept.IsKept(index) ? std::uint64_t{1} : 0) << index % 64;
    }
    std::uint64_t rank = 0;
    for (SWord& word : m_words)
    {
        word.rank = rank;
        rank += static_cast<std::uint64_t>(std::popcount(word.bits));
    }
}

}  // namespace Application
