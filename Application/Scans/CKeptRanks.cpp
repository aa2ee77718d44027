#include "Application/Scans/CKeptRanks.h"

namespace Application
{

CKeptRanks::CKeptRanks(const CKeptPoints& kept)
    : m_words((kept.GetWordCount() + CKeptPoints::c_groupSize - 1) / CKeptPoints::c_groupSize)
{
    std::uint64_t rank = 0;
    for (std::size_t index = 0; index < m_words.size(); ++index)
    {
        m_words[index] = {kept.GetGroup(index), rank};
        rank += static_cast<std::uint64_t>(std::popcount(m_words[index].bits));
    }
}

}  // namespace Application
