#include "DataLayer/PointCloud/QNormal.h"

#include <cmath>

namespace DataLayer
{

namespace
{

constexpr std::uint16_t c_signX = 0x8000;
constexpr std::uint16_t c_signY = 0x4000;
constexpr std::uint16_t c_signZ = 0x2000;

/// Where a + b reaches this, a position lies beyond the diagonal triangles: 254/3 as a float.
constexpr float c_diagonal = 84.666664F;

}  // namespace

std::uint16_t EncodeQNormal(float x, float y, float z)
{
    const float ax = std::fabs(x);
    const float ay = std::fabs(y);
    const float az = std::fabs(z);
    const float scale = 127.5F / ((ax + ay) + az);
    // Also catches the zero vector, whose scale is infinite.
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || !std::isfinite(scale))
    {
        return c_invalidQNormal;
    }
    const float a = scale * ax;
    const float b = scale * ay;
    int i = static_cast<int>(a);
    int j = static_cast<int>(b);
    if (!(a + b < c_diagonal))
    {
        const int n = static_cast<int>((a + b) - 0.5F);
        if (b > a)
        {
            j = n - i;
            j += i > j ? 1 : 0;
            j -= i + j == 127 ? 1 : 0;
        }
        else
        {
            i = n - j;
            i += j > i ? 1 : 0;
            i -= i + j == 127 ? 1 : 0;
        }
    }
    const int position = i < 64 ? (i << 7) | j : ((127 - i) << 7) | (127 - j);
    const int signs =
        (x < 0.0F ? c_signX : 0) | (y < 0.0F ? c_signY : 0) | (z < 0.0F ? c_signZ : 0);
    return static_cast<std::uint16_t>(position | signs);
}

LqVector3f DecodeQNormal(std::uint16_t code)
{
    int i = (code >> 7) & 0x3F;
    int j = code & 0x7F;
    // The line between the two halves of the grid, where no position ever falls: the invalid code
    // is one of its.
    if (i + j == 127)
    {
        return {};
    }
    if (i + j > 127)
    {
        i = 127 - i;
        j = 127 - j;
    }
    // The middle of the cell, scaled by 2 so that all are whole numbers: a + b + c is 255.
    const int a = 2 * i + 1;
    const int b = 2 * j + 1;
    const int c = 255 - a - b;
    const double length = std::sqrt(static_cast<double>(a * a + b * b + c * c));
    const auto component = [&](int value, int sign) {
        return static_cast<float>(((code & sign) != 0 ? -value : value) / length);
    };
    return {component(a, c_signX), component(b, c_signY), component(c, c_signZ)};
}

}  // namespace DataLayer
