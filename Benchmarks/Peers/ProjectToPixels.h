#pragma once

#include <array>

#include "Benchmarks/Peers/Peers.h"

namespace Peers
{

/// Where \p point lies in the lasso's view, in pixels, for libraries that have polygons but no
/// perspective.
inline std::array<double, 2> ProjectToPixels(const SLasso& lasso, const LqVector3f& point)
{
    const LqMatrix4Rf& matrix = lasso.matrix;
    const auto coordinate = [&](int column) {
        return double{point.x} * matrix(0, column) + double{point.y} * matrix(1, column) +
               double{point.z} * matrix(2, column) + matrix(3, column);
    };
    const double w = coordinate(3);
    return {(coordinate(0) / w + 1.0) * lasso.width * 0.5,
            (1.0 - coordinate(1) / w) * lasso.height * 0.5};
}

}  // namespace Peers
