#pragma once

#include <cstdint>
#include <vector>

#include "Application/View/CMask.h"

namespace Application
{

/// Paints shapes given in pixels into a mask, in addition to what is painted there.
///
/// Coordinates: x runs to the right and y down from the upper left corner of the view; the pixel of
/// column c and row r covers x from c to c + 1 and y from r to r + 1, its centre is at
/// (c + 0.5, r + 0.5). Shapes may lie partly or wholly outside the mask; only what is inside is
/// painted. Coordinates must be finite and at most c_maxCoordinate in magnitude.
///
/// Keeps a reference to the mask, which must live. All failures are CInputErrors with the shape's
/// name in place of the file; the mask is unchanged then.
class CMaskShapes
{
public:
    static constexpr double c_maxCoordinate = 1e9;

    struct SPoint
    {
        double x = 0.0;
        double y = 0.0;
    };

    /// Two opposite corner pixels, in any order; both belong to the rectangle.
    struct SRectangle
    {
        std::int64_t x0 = 0;
        std::int64_t y0 = 0;
        std::int64_t x1 = 0;
        std::int64_t y1 = 0;
    };

    explicit CMaskShapes(CMask& mask) : m_mask(mask) {}

    /// Paints all pixels from corner to corner, both included.
    void AddRectangle(const SRectangle& rectangle);

    /// Paints the pixels whose centre is inside the polygon; the last point is joined with the
    /// first. A polygon that crosses itself encloses every point that it winds around, in either
    /// direction and however often (the non-zero rule), so both loops of an eight are painted. A
    /// centre exactly on an edge is inside on left and upper edges and outside on right and lower
    /// ones: polygons that share an edge share no pixel.
    /// @throw CInputError when there are less than three points or a coordinate is out of range.
    void AddLasso(const std::vector<SPoint>& polygon);

    /// Paints the pixels whose centre is at most \p radius away from the poly-line; a single point
    /// is a round dot.
    /// @throw CInputError when there is no point, a coordinate is out of range, or the radius is
    /// not above 0 and at most c_maxCoordinate.
    void AddBrush(const std::vector<SPoint>& line, double radius);

private:
    CMask& m_mask;
};

}  // namespace Application
