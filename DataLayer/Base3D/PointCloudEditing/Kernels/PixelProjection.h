#pragma once

#include <cstdint>
#include <limits>

namespace DataLayer
{

/// The column of device coordinate \p x in a view of \p width pixels. Neither factor may be folded
/// into the other: that would round differently and move pixels.
[[nodiscard]] inline float DeviceToPixelX(float x, float width)
{
    return ((x + 1.0F) * width) * 0.5F;
}

/// The row of device coordinate \p y in a view of \p height pixels; device 1 is row 0, the top.
[[nodiscard]] inline float DeviceToPixelY(float y, float height)
{
    return ((1.0F - y) * height) * 0.5F;
}

/// \p value truncated toward zero. What is not a number or does not fit becomes the most negative
/// integer, which no pixel has.
[[nodiscard]] inline std::int32_t TruncateToInt32(float value)
{
    return value >= -2147483648.0F && value < 2147483648.0F
               ? static_cast<std::int32_t>(value)
               : std::numeric_limits<std::int32_t>::min();
}

}  // namespace DataLayer
