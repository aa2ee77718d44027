#pragma once

#include <cstdint>

namespace Base
{

/// The flag word of one surfel. Each bit is independent of the others.
struct CSurfelBitMask
{
    /// The outlier bits; any of them marks the surfel as an outlier.
    static constexpr std::uint16_t SurfelFlagsOutlier = 0x0007;
    /// One of the outlier bits: the surfel belongs to a small component.
    static constexpr std::uint16_t SurfelFlagSmallComponent = 0x0002;
    /// The surfel lies in a cut region.
    static constexpr std::uint16_t SurfelFlagCut = 0x0008;
    /// The surfel is left untouched by the removal of small components.
    static constexpr std::uint16_t SurfelFlagExcluded = 0x0010;
    /// The outlier state was frozen by a cut.
    static constexpr std::uint16_t SurfelFlagOutlierFrozen = 0x0100;

    std::uint16_t bits = 0;

    friend bool operator==(const CSurfelBitMask&, const CSurfelBitMask&) = default;
};

static_assert(sizeof(CSurfelBitMask) == 2, "one 16-bit word per surfel");

}  // namespace Base
