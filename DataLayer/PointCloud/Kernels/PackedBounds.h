#pragma once

#include <cstddef>
#include <cstdint>

/// The bounds of positions without gaps between them.
namespace DataLayer::PackedBounds
{

/// What a kernel finds: the bounds of every fourth position from each of the first four on, whose
/// coordinates follow each other as in memory. A NaN is in no bound.
struct SBounds
{
    float minima[12];
    float maxima[12];
    bool hasNaN;
};

/// Bounds the first of \p count positions, three floats each of any alignment from \p first on, and
/// returns how many those are: all but fewer than sixteen. Of two zeros, either may be a bound. All
/// kernels give the same answers otherwise.
using BoundFunction = std::uint64_t (*)(const std::byte* first, std::uint64_t count,
                                        SBounds& bounds);

/// One per source file, each compiled for its own instruction set.
std::uint64_t BoundVector128(const std::byte* first, std::uint64_t count, SBounds& bounds);
#if defined(__x86_64__)
std::uint64_t BoundAvx2(const std::byte* first, std::uint64_t count, SBounds& bounds);
std::uint64_t BoundAvx512(const std::byte* first, std::uint64_t count, SBounds& bounds);
#endif

}  // namespace DataLayer::PackedBounds
