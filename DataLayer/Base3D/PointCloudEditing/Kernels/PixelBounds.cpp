#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelBounds.h"

#include <algorithm>
#include <cmath>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

namespace DataLayer
{

namespace
{

/// The floats from min to max. An end that is not finite stays so, or becomes a NaN, in all sums.
struct SInterval
{
    float min;
    float max;

    [[nodiscard]] bool IsFinite() const { return std::isfinite(min) && std::isfinite(max); }
};

SInterval operator+(const SInterval& a, const SInterval& b)
{
    return {a.min + b.min, a.max + b.max};
}

/// A product grows with the interval's number, or falls with it.
SInterval operator*(const SInterval& a, float factor)
{
    const float first = a.min * factor;
    const float last = a.max * factor;
    return {std::min(first, last), std::max(first, last)};
}

/// A quotient has no turning point in either operand while the divisor keeps its sign.
SInterval operator/(const SInterval& a, const SInterval& b)
{
    const auto [low, high] =
        std::minmax({a.min / b.min, a.min / b.max, a.max / b.min, a.max / b.max});
    return {low, high};
}

}  // namespace

std::optional<SPixelBounds> BoundPixels(const SCutSurfelsTask& task, const Geometry::CBox3D& box)
{
    const SInterval x{box.min.x, box.max.x};
    const SInterval y{box.min.y, box.max.y};
    const SInterval z{box.min.z, box.max.z};
    // In the kernels' own order.
    const auto component = [&](const float(&column)[4]) {
        return ((x * column[0] + y * column[1]) + z * column[2]) + SInterval{column[3], column[3]};
    };
    const SInterval clipX = component(task.clipX);
    const SInterval clipY = component(task.clipY);
    const SInterval clipW = component(task.clipW);
    const bool isOfOneSign = clipW.min > 0.0F || clipW.max < 0.0F;
    if (!isOfOneSign || !clipX.IsFinite() || !clipY.IsFinite() || !clipW.IsFinite())
    {
        return std::nullopt;
    }
    const SInterval deviceX = clipX / clipW;
    const SInterval deviceY = clipY / clipW;
    const float width = task.mask->width;
    const float height = task.mask->height;
    // Rows grow downwards.
    return SPixelBounds{DeviceToPixelX(deviceX.min, width), DeviceToPixelX(deviceX.max, width),
                        DeviceToPixelY(deviceY.max, height), DeviceToPixelY(deviceY.min, height)};
}

}  // namespace DataLayer
