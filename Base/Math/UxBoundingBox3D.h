#pragma once

#include "Base/Export.h"
#include "Base/Math/CBox3D.h"
#include "Base/Math/LqMatrix4R.h"

/// The bounding box of a collection: one box that can be carried through a projective transform.
///
/// Default-constructed empty. A plain value: distinct objects may be used from any thread.
class VEKO2_BASE_EXPORT UxBoundingBox3D
{
public:
    Geometry::CBox3D box;

    /// Replaces the box by the box of its eight corners, each transformed as a point by \p matrix
    /// and divided by its own w.
    ///
    /// Corners behind the eye (negative w) are divided like any other. A corner coordinate that is
    /// not a number is left out; an axis without a number ends empty. An empty box stays empty.
    void Transform(const LqMatrix4Rf& matrix);

    friend bool operator==(const UxBoundingBox3D&, const UxBoundingBox3D&) = default;
};

static_assert(sizeof(UxBoundingBox3D) == sizeof(Geometry::CBox3D));
