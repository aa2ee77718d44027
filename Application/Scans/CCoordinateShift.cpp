#include "Application/Scans/CCoordinateShift.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Application
{

void CCoordinateShift::Extend(double x, double y, double z)
{
    const std::array<double, 3> coordinates = {x, y, z};
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        const double value = coordinates[axis];
        if (!std::isfinite(value))
        {
            continue;
        }
        SRange& range = m_ranges[axis];
        range.min = range.isEmpty ? value : std::min(range.min, value);
        range.max = range.isEmpty ? value : std::max(range.max, value);
        range.isEmpty = false;
        m_isExact = m_isExact && static_cast<double>(static_cast<float>(value)) == value;
    }
}

void CCoordinateShift::Choose(Precision precision)
{
    double extent = 0.0;
    double largest = 0.0;
    for (const SRange& range : m_ranges)
    {
        extent = std::max(extent, range.max - range.min);
        largest = std::max({largest, std::abs(range.min), std::abs(range.max)});
    }
    // Half the distance of neighbouring floats at the largest coordinate, against the extent.
    const bool isFineEnough = largest * 0x1p-24 <= extent * 0x1p-20;
    if (m_isExact || !std::isfinite(extent) || (precision == Precision::Text && isFineEnough))
    {
        return;
    }
    const double step = extent > 0.0 ? std::exp2(std::ceil(std::log2(extent))) : 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        const SRange& range = m_ranges[axis];
        const double middle = range.min + (range.max - range.min) / 2;
        const double rounded = step > 0.0 ? std::round(middle / step) * step : middle;
        m_offset[axis] = std::isfinite(rounded) ? rounded + 0.0 : 0.0;
    }
}

LqMatrix4Rd CCoordinateShift::GetTransform() const
{
    LqMatrix4Rd transform = c_matIdentityD;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        transform(3, axis) = m_offset[axis];
    }
    return transform;
}

}  // namespace Application
