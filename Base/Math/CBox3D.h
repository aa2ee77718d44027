#pragma once

#include <limits>

#include "Base/Export.h"
#include "Base/Math/LqVector3f.h"

namespace Geometry
{

/// An axis-aligned box: the six floats min x, y, z and max x, y, z.
///
/// A box that is empty on any axis is empty as a whole. An empty axis is kept as min = +infinity
/// and max = -infinity, so that the first point that extends it sets both, infinite ones too. A
/// plain value: distinct objects may be used from any thread.
class VEKO2_BASE_EXPORT CBox3D
{
public:
    LqVector3f min{c_emptyMin, c_emptyMin, c_emptyMin};
    LqVector3f max{c_emptyMax, c_emptyMax, c_emptyMax};

    /// Makes the box empty.
    void Invalidate() { *this = CBox3D(); }

    /// True when some axis holds no interval: min is not at most max, NaN included.
    [[nodiscard]] bool IsEmpty() const
    {
        return !(min.x <= max.x && min.y <= max.y && min.z <= max.z);
    }

    /// Grows the box to contain the point, axis by axis; a NaN coordinate leaves its axis alone.
    void Extend(float x, float y, float z);

    /// Grows the box to contain \p point; see the form with three coordinates.
    void Extend(const LqVector3f& point) { Extend(point.x, point.y, point.z); }

    /// True when both boxes are not empty and overlap on all three axes. Boxes that touch overlap.
    [[nodiscard]] bool Intersects(const CBox3D& other) const;

    friend bool operator==(const CBox3D&, const CBox3D&) = default;

private:
    static constexpr float c_emptyMin = std::numeric_limits<float>::infinity();
    static constexpr float c_emptyMax = -std::numeric_limits<float>::infinity();
};

static_assert(sizeof(CBox3D) == 6 * sizeof(float), "six floats and nothing else");

}  // namespace Geometry
