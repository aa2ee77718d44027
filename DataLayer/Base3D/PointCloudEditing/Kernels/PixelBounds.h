#pragma once

#include <optional>

#include "Base/Math/CBox3D.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"

namespace DataLayer
{

/// Pixel coordinates before they are truncated, all ends included.
struct SPixelBounds
{
    float minColumn = 0.0F;
    float maxColumn = 0.0F;
    float minRow = 0.0F;
    float maxRow = 0.0F;
};

/// Bounds the pixel coordinates that the kernels compute for every position in \p box: each
/// position whose coordinates are floats from the box's minima to its maxima, ends included. Of \p
/// task only the projection is read. Nothing is said when the box reaches to where w is 0, or when
/// its projection leads to what is not finite before it is divided by w.
///
/// The bounds are certain to the last bit without any allowance for rounding. Every operation of
/// the projection, rounded as the processor rounds, is monotone in each of its operands: where one
/// operand grows, the rounded result never turns around. So when operands lie in intervals, the
/// results lie between those of the intervals' ends, and doing the projection's own operations, in
/// their own order, on the ends encloses every result on the way. See Docs/RepeatedStrokes.md.
[[nodiscard]] std::optional<SPixelBounds> BoundPixels(const SCutSurfelsTask& task,
                                                      const Geometry::CBox3D& box);

}  // namespace DataLayer
