#pragma once

#include <cstdint>

#include "Base/Math/LqVector3f.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// The code of a surfel without a normal.
inline constexpr std::uint16_t c_invalidQNormal = 0x1FC0;

/// The 16-bit code of the direction (x, y, z), which need not have unit length: three sign bits and
/// an octahedral position on a grid of 128 x 128 triangles.
///
/// The zero vector, a component that is not finite, and a direction whose scale factor
/// 127.5 / (|x| + |y| + |z|) is not finite have the code c_invalidQNormal. A sign bit is set for
/// strictly negative components only.
[[nodiscard]] VEKO2_DATALAYER_EXPORT std::uint16_t EncodeQNormal(float x, float y, float z);

/// The unit vector that \p code stands for; (0, 0, 0) for the invalid code and the others between
/// the two halves of the grid, whose two fields (bits 7 to 12 and 0 to 6) add up to 127: no
/// direction has one of them.
///
/// For every code that EncodeQNormal() makes, encoding the result gives that code again.
[[nodiscard]] VEKO2_DATALAYER_EXPORT LqVector3f DecodeQNormal(std::uint16_t code);

}  // namespace DataLayer
