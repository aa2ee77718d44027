#include "Application/Demo/CDemoShape.h"

#include <algorithm>
#include <cmath>

namespace Application
{

namespace
{

constexpr double c_plateRadius = 150.0;
constexpr double c_floorHeight = -42.0;
/// The part of the floor that is within the scanners' reach.
constexpr double c_floorRadius = 235.0;
constexpr double c_maxRayLength = 1400.0;
constexpr double c_hitDistance = 0.02;
/// Rays advance by less than the bound of the distance, because it is not exact.
constexpr double c_advance = 0.85;
constexpr int c_maxSteps = 250;

/// The distance from the z axis.
double RadiusOf(const SDemoVector& point)
{
    return std::sqrt(point.x * point.x + point.y * point.y);
}

/// The smaller of two distances, with the crease between the two shapes rounded by about \p width.
double Blend(double a, double b, double width)
{
    const double overlap = std::max(width - std::abs(a - b), 0.0) / width;
    return std::min(a, b) - overlap * overlap * width * 0.25;
}

double Ellipsoid(const SDemoVector& point, const SDemoVector& centre, const SDemoVector& radii)
{
    const SDemoVector offset = point - centre;
    const SDemoVector unit{offset.x / radii.x, offset.y / radii.y, offset.z / radii.z};
    const SDemoVector gradient{unit.x / radii.x, unit.y / radii.y, unit.z / radii.z};
    const double scaled = Length(unit);
    const double steepness = Length(gradient);
    if (!(steepness > 0.0))
    {
        return -std::min({radii.x, radii.y, radii.z});
    }
    return scaled * (scaled - 1.0) / steepness;
}

/// A cylinder around the z axis with rounded edges.
double Cylinder(const SDemoVector& point, double bottom, double top, double radius, double rounding)
{
    const double outward = RadiusOf(point) - (radius - rounding);
    const double upward =
        std::abs(point.z - 0.5 * (bottom + top)) - (0.5 * (top - bottom) - rounding);
    const double a = std::max(outward, 0.0);
    const double b = std::max(upward, 0.0);
    return std::min(std::max(outward, upward), 0.0) + std::sqrt(a * a + b * b) - rounding;
}

/// A ring around the z axis.
double Ring(const SDemoVector& point, double height, double radius, double thickness)
{
    const double outward = RadiusOf(point) - radius;
    const double upward = point.z - height;
    return std::sqrt(outward * outward + upward * upward) - thickness;
}

/// A rod from \p a to \p b whose radius changes from \p radiusA to \p radiusB.
double Rod(const SDemoVector& point, const SDemoVector& a, const SDemoVector& b, double radiusA,
           double radiusB)
{
    const SDemoVector axis = b - a;
    const double along = std::clamp(Dot(point - a, axis) / Dot(axis, axis), 0.0, 1.0);
    return Length(point - (a + axis * along)) - (radiusA + (radiusB - radiusA) * along);
}

double Body(const SDemoVector& point)
{
    double distance = Ellipsoid(point, {0.0, 0.0, 62.0}, {80.0, 80.0, 58.0});
    distance = Blend(distance, Cylinder(point, 0.0, 12.0, 48.0, 4.0), 10.0);
    // Two raised bands around the belly.
    distance = Blend(distance, Ring(point, 84.0, 72.0, 4.0), 4.0);
    return Blend(distance, Ring(point, 40.0, 72.5, 4.0), 4.0);
}

double Lid(const SDemoVector& point)
{
    double distance = Ellipsoid(point, {0.0, 0.0, 112.0}, {44.0, 44.0, 17.0});
    distance = Blend(distance, Ring(point, 111.0, 43.0, 3.5), 2.0);
    distance = Blend(distance, Cylinder(point, 120.0, 138.0, 6.0, 2.0), 8.0);
    return Blend(distance, Ellipsoid(point, {0.0, 0.0, 141.0}, {12.0, 12.0, 9.5}), 4.0);
}

double Spout(const SDemoVector& point)
{
    constexpr SDemoVector c_tip{126.0, 0.0, 116.0};
    double distance = Rod(point, {62.0, 0.0, 42.0}, {94.0, 0.0, 64.0}, 20.0, 13.0);
    distance = Blend(distance, Rod(point, {94.0, 0.0, 64.0}, {110.0, 0.0, 98.0}, 13.0, 9.5), 8.0);
    distance = Blend(distance, Rod(point, {110.0, 0.0, 98.0}, c_tip, 9.5, 9.0), 8.0);
    const double opening = Rod(point, {112.0, 0.0, 102.0}, {136.0, 0.0, 128.0}, 4.5, 9.0);
    return std::max(distance, -opening);
}

double Handle(const SDemoVector& point)
{
    // An upright oval ring, thicker from front to back than from side to side.
    const double x = (point.x + 86.0) * 0.95;
    const double z = point.z - 66.0;
    const double outward = std::sqrt(x * x + z * z) - 36.0;
    const double side = point.y * 0.8;
    return std::sqrt(outward * outward + side * side) - 7.0;
}

double Teapot(const SDemoVector& point)
{
    // Far from a ball around the teapot, the distance to the ball is bound enough.
    const double toBall = Length(point - SDemoVector{0.0, 0.0, 70.0}) - 150.0;
    if (toBall > 20.0)
    {
        return toBall;
    }
    double distance = Blend(Body(point), Spout(point), 14.0);
    distance = Blend(distance, Handle(point), 8.0);
    return Blend(distance, Lid(point), 3.0);
}

double Turntable(const SDemoVector& point)
{
    const double plate = Cylinder(point, -14.0, 0.0, c_plateRadius, 3.0);
    const double groove = Ring(point, 0.0, 132.0, 2.0);
    return std::min(std::max(plate, -groove), Cylinder(point, c_floorHeight, -10.0, 62.0, 2.0));
}

}  // namespace

double CDemoShape::Distance(const SDemoVector& point)
{
    return std::min({Teapot(point), Turntable(point), point.z - c_floorHeight});
}

SDemoVector CDemoShape::Normal(const SDemoVector& point)
{
    constexpr double c_step = 0.05;
    const auto slope = [&](const SDemoVector& step) {
        return Distance(point + step) - Distance(point - step);
    };
    return Normalized(
        {slope({c_step, 0.0, 0.0}), slope({0.0, c_step, 0.0}), slope({0.0, 0.0, c_step})});
}

std::optional<double> CDemoShape::CastRay(const SDemoVector& start, const SDemoVector& direction)
{
    double length = 0.0;
    for (int step = 0; step < c_maxSteps && length < c_maxRayLength; ++step)
    {
        const SDemoVector point = start + direction * length;
        const double distance = Distance(point);
        if (distance < c_hitDistance)
        {
            return RadiusOf(point) < c_floorRadius ? std::optional(length) : std::nullopt;
        }
        length += c_advance * distance;
    }
    return std::nullopt;
}

}  // namespace Application
