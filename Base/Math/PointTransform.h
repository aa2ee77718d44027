#pragma once

#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

// Not installed: inline arithmetic keeps its promised rounding only where this project's own
// compile options hold.

/// A transformed point before its perspective division.
template <typename T>
struct SHomogeneousPoint
{
    T x;
    T y;
    T z;
    T w;
};

/// The row vector (x, y, z, 1) times \p matrix: ((x row0 + y row1) + z row2) + row3.
template <typename T>
[[nodiscard]] inline SHomogeneousPoint<T> TransformHomogeneous(const LqMatrix4R<T>& matrix, T x,
                                                               T y, T z)
{
    const auto component = [&](std::size_t column) {
        return ((x * matrix(0, column) + y * matrix(1, column)) + z * matrix(2, column)) +
               matrix(3, column);
    };
    return {component(0), component(1), component(2), component(3)};
}

/// TransformHomogeneous() with x, y and z divided by w. A w of 0 is not treated specially.
[[nodiscard]] inline LqVector3f TransformPoint(const LqMatrix4Rf& matrix, const LqVector3f& point)
{
    const auto transformed = TransformHomogeneous(matrix, point.x, point.y, point.z);
    return {transformed.x / transformed.w, transformed.y / transformed.w,
            transformed.z / transformed.w};
}
