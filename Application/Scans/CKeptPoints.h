#pragma once

#include <cstdint>
#include <span>
#include <utility>

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

    /// The next longest run [first, second) of kept points at or behind \p begin and before
    /// \p end; {end, end} when there is none.
    [[nodiscard]] std::pair<std::uint64_t, std::uint64_t> FindRun(std::uint64_t begin,
                                                                  std::uint64_t end) const;

private:
    std::span<const Base::CSurfelBitMask> m_flags;
    std::uint16_t m_dropBits;
};

}  // namespace Application
