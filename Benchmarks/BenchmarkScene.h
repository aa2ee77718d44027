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

/// \p count positions, \p stride bytes apart.
inline std::vector<std::byte> MakePositions(std::size_t count, std::size_t stride)
{
    std::vector<std::byte> bytes(count * stride);
    for (std::size_t index = 0; index < count; ++index)
    {
        const LqVector3f position = PointOnBall(index, count);
        std::memcpy(bytes.data() + index * stride, &position, sizeof position);
    }
    return bytes;
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
    world(3, 2) = -3.0;
    constexpr double c_focal = 2.5;
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
