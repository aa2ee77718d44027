#pragma once

#include <cstdint>

namespace Application
{

/// The largest width and height, in pixels, of views, masks and pictures. It bounds what a damaged
/// file can make the program reserve: a mask then has at most 2^28 bytes.
inline constexpr std::uint32_t c_maxViewSide = 16384;

}  // namespace Application
