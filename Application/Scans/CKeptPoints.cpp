#include "Application/Scans/CKeptPoints.h"

#include <algorithm>

namespace Application
{

std::uint64_t CKeptPoints::CountKept(std::uint64_t pointCount) const
{
    if (m_flags.empty())
    {
        return pointCount;
    }
    std::uint64_t count = 0;
    for (const Base::CSurfelBitMask word : m_flags)
    {
        count += (word.bits & m_dropBits) == 0 ? 1U : 0U;
    }
    return count;
}

std::pair<std::uint64_t, std::uint64_t> CKeptPoints::FindRun(std::uint64_t begin,
                                                             std::uint64_t end) const
{
    if (m_flags.empty() || begin >= end)
    {
        return {begin, end};
    }
    const auto isKept = [dropBits = m_dropBits](const Base::CSurfelBitMask word) {
        return (word.bits & dropBits) == 0;
    };
    const Base::CSurfelBitMask* const words = m_flags.data();
    const Base::CSurfelBitMask* const first = std::find_if(words + begin, words + end, isKept);
    const Base::CSurfelBitMask* const last = std::find_if_not(first, words + end, isKept);
    return {static_cast<std::uint64_t>(first - words), static_cast<std::uint64_t>(last - words)};
}

}  // namespace Application
