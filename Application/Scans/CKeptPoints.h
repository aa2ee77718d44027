#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"

namespace Application
{

/// Which points of a scan stay, read from their flag words: all but those that have any of the drop
/// bits. No words at all mean that no point has flags, so all stay.
///
/// A view: the words belong to the caller and must stay as they are meanwhile.
class CKeptPoints
{
public:
    explicit CKeptPoints(std::span<const Base::CSurfelBitMask> flags,
                         std::uint16_t dropBits = Base::CSurfelBitMask::SurfelFlagCut)
        : m_flags(flags), m_dropBits(dropBits)
    {}

    /// Words that go away at once would leave a view of nothing.
    template <typename Allocator>
    explicit CKeptPoints(const std::vector<Base::CSurfelBitMask, Allocator>&& flags,
                         std::uint16_t dropBits = 0) = delete;

    /// \p index must be less than the number of words, if there are words.
    [[nodiscard]] bool IsKept(std::uint64_t index) const
    {
        return m_flags.empty() || (m_flags[index].bits & m_dropBits) == 0;
    }

    /// True when there are as many words as \p pointCount, or none.
    [[nodiscard]] bool Fits(std::uint64_t pointCount) const
    {
        return m_flags.empty() || m_flags.size() == pointCount;
    }

    [[nodiscard]] std::span<const Base::CSurfelBitMask> GetFlags() const { return m_flags; }

    /// How many of \p pointCount points stay.
    [[nodiscard]] std::uint64_t CountKept(std::uint64_t pointCount) const;

    /// Which of the \p count points from \p begin on stay, the first in the lowest bit. At most
    /// c_groupSize of them, and if there are words, no more than those.
    [[nodiscard]] std::uint64_t GatherKept(std::uint64_t begin, std::uint64_t count) const;

    static constexpr std::uint64_t c_groupSize = 64;

private:
    std::span<const Base::CSurfelBitMask> m_flags;
    std::uint16_t m_dropBits;
};

}  // namespace Application
