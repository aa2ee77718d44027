#pragma once

#include <cmath>

namespace Application
{

/// A point or direction of the demo's world. Only operations that every machine rounds alike:
/// plus, minus, times, divided by and the square root.
struct SDemoVector
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

[[nodiscard]] inline SDemoVector operator+(const SDemoVector& a, const SDemoVector& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

[[nodiscard]] inline SDemoVector operator-(const SDemoVector& a, const SDemoVector& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

[[nodiscard]] inline SDemoVector operator*(const SDemoVector& a, double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}

[[nodiscard]] inline double Dot(const SDemoVector& a, const SDemoVector& b)
{
    return (a.x * b.x + a.y * b.y) + a.z * b.z;
}

[[nodiscard]] inline SDemoVector Cross(const SDemoVector& a, const SDemoVector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

[[nodiscard]] inline double Length(const SDemoVector& a)
{
    return std::sqrt(Dot(a, a));
}

[[nodiscard]] inline SDemoVector Normalized(const SDemoVector& a)
{
    return a * (1.0 / Length(a));
}

}  // namespace Application
