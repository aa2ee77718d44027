#pragma once

#include <cstdint>
#include <cstring>

namespace Application
{

/// Four floats in a register of any processor. Each is computed with as if it were alone, to the
/// bit.
using Lanes = float __attribute__((vector_size(16)));
/// What a comparison of Lanes answers: all bits of a lane, or none.
using LaneMask = decltype(Lanes() < Lanes());

inline constexpr std::uint32_t c_numLanes = 4;

[[nodiscard]] inline Lanes FillLanes(float value)
{
    return Lanes{value, value, value, value};
}

/// \p first: as many floats, aligned or not.
[[nodiscard]] inline Lanes LoadLanes(const void* first)
{
    Lanes lanes;
    std::memcpy(&lanes, first, sizeof lanes);
    return lanes;
}

}  // namespace Application
