#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"

namespace Application
{

/// Which points of a scan stay, in one bit per point: all but those whose flag words have any of
/// the drop bits. No words at all mean that no point has flags, so all stay.
class CKeptPoints
{
public:
    explicit CKeptPoints(std::span<const Base::CSurfelBitMask> flags,
                         std::uint16_t dropBits = Base::CSurfelBitMask::SurfelFlagCut);

    /// \p groups has a bit for each of \p count points, as GetGroup() answers them.
    CKeptPoints(std::vector<std::uint64_t> groups, std::uint64_t count);

    /// \p index must be less than the number of words, if there were words.
    [[nodiscard]] bool IsKept(std::uint64_t index) const
    {
        return (GetGroup(index / c_groupSize) >> index % c_groupSize & 1U) != 0;
    }

    /// True when there were as many words as \p pointCount, or none.
    [[nodiscard]] bool Fits(std::uint64_t pointCount) const
    {
        return m_groups.empty() || m_count == pointCount;
    }

    /// For how many points there were words.
    [[nodiscard]] std::uint64_t GetWordCount() const { return m_count; }

    /// How many of \p pointCount points stay.
    [[nodiscard]] std::uint64_t CountKept(std::uint64_t pointCount) const
    {
        return m_groups.empty() ? pointCount : m_numKept;
    }

    static constexpr std::uint64_t c_groupSize = 64;

    /// Which of the c_groupSize points from \p group x c_groupSize on stay, the first in the lowest
    /// bit. If there were words, the group must begin before their end, and no point behind it
    /// stays.
    [[nodiscard]] std::uint64_t GetGroup(std::uint64_t group) const
    {
        return m_groups.empty() ? ~std::uint64_t{0} : m_groups[group];
    }

    /// The group of at most c_groupSize points with these flag words.
    [[nodiscard]] static std::uint64_t Gather(
        std::span<const Base::CSurfelBitMask> flags,
        std::uint16_t dropBits = Base::CSurfelBitMask::SurfelFlagCut);

private:
    std::vector<std::uint64_t> m_groups;
    std::uint64_t m_count;
    std::uint64_t m_numKept;
};

}  // namespace Application
