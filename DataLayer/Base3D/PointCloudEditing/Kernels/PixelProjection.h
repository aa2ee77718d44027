#pragma once

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

/// The first row or column outside a view of \p size pixels, for IsPixelInside(). A size that is no
/// signed 32-bit integer has no pixels inside.
[[nodiscard]] inline float EndOfPixels(float size)
{
    return size < 2147483648.0F ? size : 0.0F;
}

/// Whether \p coordinate, truncated toward zero, is a pixel from 1 to the last before \p end. What
/// is not a number, or does not fit 32 bits, is outside.
///
/// Pixel 0 is left out on purpose, painted or not: truncation also brings there what lies up to one
/// pixel outside the view. With a whole \p end the comparisons hold for a coordinate exactly when
/// they hold for its integer.
[[nodiscard]] inline bool IsPixelInside(float coordinate, float end)
{
    return coordinate >= 1.0F && coordinate < end;
}

}  // namespace DataLayer
