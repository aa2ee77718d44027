#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace BenchmarkScene
{

inline constexpr std::uint32_t c_viewWidth = 1920;
inline constexpr std::uint32_t c_viewHeight = 1080;

/// Point \p index of \p count on a ball of radius 1 with a rough surface, in rings from pole to
/// pole: neighbours in memory are neighbours in space, as in a scan.
inline LqVector3f PointOnBall(std::size_t index, std::size_t count)
{
    const double numRings = std::ceil(std::sqrt(static_cast<double>(count)));
    const double turns = static_cast<double>(index) / numRings;
    const double polar =
        std::acos(1.0 - 2.0 * (static_cast<double>(index) + 0.5) / static_cast<double>(count));
    const double azimuth = 6.283185307179586 * turns;
    const double radius = 1.0 + 0.01 * std::sin(40.0 * polar) * std::sin(30.0 * azimuth);
    return {static_cast<float>(radius * std::sin(polar) * std::cos(azimuth)),
            static_cast<float>(radius * std::cos(polar)),
            static_cast<float>(radius * std::sin(polar) * std::sin(azimuth))};
}

/// Of the eye of MakeSelection(): its distance from the middle of the world, and the cotangent of
/// half its vertical angle of view.
inline constexpr double c_eyeDistance = 3.0;
inline constexpr double c_focal = 2.5;

/// Point \p index of \p count on a wavy wall as a scanner at the eye of MakeSelection() sees it:
/// row by row, evenly over the whole view, so that the part of the view that is painted is the part
/// of the points that are cut.
inline LqVector3f PointOfScan(std::size_t index, std::size_t count)
{
    constexpr double c_aspect = static_cast<double>(c_viewWidth) / c_viewHeight;
    const auto numColumns =
        static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count) * c_aspect)));
    const std::size_t numRows = (count + numColumns - 1) / numColumns;
    const double x =
        2.0 * (static_cast<double>(index % numColumns) + 0.5) / static_cast<double>(numColumns) -
        1.0;
    const double y =
        1.0 - 2.0 * (static_cast<double>(index / numColumns) + 0.5) / static_cast<double>(numRows);
    const double depth = c_eyeDistance + 0.3 * std::sin(5.0 * x) * std::cos(4.0 * y);
    return {static_cast<float>(x * c_aspect * depth / c_focal),
            static_cast<float>(y * depth / c_focal), static_cast<float>(c_eyeDistance - depth)};
}

/// \p count positions, \p stride bytes apart, each made by \p makePoint of its index and the
/// count.
template <typename MakePoint>
std::vector<std::byte> MakePositions(std::size_t count, std::size_t stride, MakePoint makePoint)
{
    std::vector<std::byte> bytes(count * stride);
    for (std::size_t index = 0; index < count; ++index)
    {
        const LqVector3f position = makePoint(index, count);
        std::memcpy(bytes.data() + index * stride, &position, sizeof position);
    }
    return bytes;
}

/// The points of the ball.
inline std::vector<std::byte> MakePositions(std::size_t count, std::size_t stride)
{
    return MakePositions(count, stride, PointOnBall);
}

/// Corners in pixels, y down.
using Polygon = std::vector<std::array<double, 2>>;

/// A lasso around the middle of a full-HD view, as a hand draws it, over \p fraction of the view's
/// pixels.
inline Polygon MakeLasso(double fraction)
{
    constexpr double c_pi = 3.141592653589793;
    constexpr int c_numCorners = 100;
    constexpr double c_wave = 0.1;
    // The waves add half their square to the area.
    const double radius =
        std::sqrt(fraction * c_viewWidth * c_viewHeight / (c_pi * (1.0 + c_wave * c_wave / 2.0)));
    Polygon lasso;
    for (int corner = 0; corner < c_numCorners; ++corner)
    {
        const double angle = 2.0 * c_pi * corner / c_numCorners;
        const double distance = radius * (1.0 + c_wave * std::sin(5.0 * angle));
        lasso.push_back({c_viewWidth / 2.0 + distance * std::cos(angle),
                         c_viewHeight / 2.0 + distance * std::sin(angle)});
    }
    return lasso;
}

/// A full-HD mask with the pixels painted whose centre lies in \p polygon.
inline std::vector<std::uint8_t> PaintPolygon(const Polygon& polygon)
{
    std::vector<std::uint8_t> mask(std::size_t{c_viewWidth} * c_viewHeight);
    std::vector<double> crossings;
    for (std::uint32_t row = 0; row < c_viewHeight; ++row)
    {
        const double y = row + 0.5;
        crossings.clear();
        for (std::size_t corner = 0; corner < polygon.size(); ++corner)
        {
            const auto& from = polygon[corner];
            const auto& to = polygon[(corner + 1) % polygon.size()];
            if ((from[1] <= y) != (to[1] <= y))
            {
                crossings.push_back(from[0] +
                                    (to[0] - from[0]) * (y - from[1]) / (to[1] - from[1]));
            }
        }
        std::sort(crossings.begin(), crossings.end());
        const auto firstColumn = [](double x) {
            return static_cast<std::size_t>(
                std::clamp(std::ceil(x - 0.5), 0.0, static_cast<double>(c_viewWidth)));
        };
        std::uint8_t* const pixels = mask.data() + std::size_t{row} * c_viewWidth;
        for (std::size_t pair = 0; pair + 1 < crossings.size(); pair += 2)
        {
            std::fill(pixels + firstColumn(crossings[pair]),
                      pixels + firstColumn(crossings[pair + 1]), std::uint8_t{1});
        }
    }
    return mask;
}

/// The ball in perspective, filling the height of a full-HD view, with \p mask painted.
inline std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection(
    std::vector<std::uint8_t> mask)
{
    LqMatrix4Rd world = c_matIdentityD;
    world(3, 2) = -c_eyeDistance;
    constexpr double c_near = 1.0;
    constexpr double c_far = 10.0;
    LqMatrix4Rd lens;
    lens(0, 0) = c_focal * c_viewHeight / c_viewWidth;
    lens(1, 1) = c_focal;
    lens(2, 2) = c_far / (c_near - c_far);
    lens(2, 3) = -1.0;
    lens(3, 2) = c_near * c_far / (c_near - c_far);
    return Base::MakeRegionSelection(LqMatrix4Rf(world), LqMatrix4Rf(lens),
                                     LqMatrix4Rf(c_matIdentityD), std::move(mask), c_viewWidth,
                                     c_viewHeight);
}

}  // namespace BenchmarkScene
