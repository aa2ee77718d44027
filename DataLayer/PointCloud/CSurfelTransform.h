#pragma once

#include <array>

#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"
#include "Base/Math/PointTransform.h"

namespace DataLayer
{

/// Moves the positions and normals of surfels by a transform; TSurfelCollectionInterleaved tells
/// how. Constant; safe for concurrent use.
class CSurfelTransform
{
public:
    explicit CSurfelTransform(const LqMatrix4Rd& matrix);

    /// True when nothing is to be moved, and so nothing may be computed: signed zeros and positions
    /// that are not finite stay as they are.
    [[nodiscard]] bool IsIdentity() const { return m_isIdentity; }

    /// True when the transform at most translates.
    [[nodiscard]] bool KeepsNormals() const { return m_keepsNormals; }

    [[nodiscard]] LqVector3f MovePoint(const LqVector3f& point) const
    {
        if (m_isIdentity)
        {
            return point;
        }
        const auto moved = TransformHomogeneous<double>(m_matrix, point.x, point.y, point.z);
        return {static_cast<float>(moved.x / moved.w), static_cast<float>(moved.y / moved.w),
                static_cast<float>(moved.z / moved.w)};
    }

    /// Moves the normal of a surfel that was at \p point; (0, 0, 0) when it has none then.
    [[nodiscard]] LqVector3f MoveNormal(const LqVector3f& point, const LqVector3f& normal) const;

private:
    /// Three rows of three elements.
    using Matrix3 = std::array<std::array<double, 3>, 3>;

    /// The inverse transpose of \p matrix / \p w up to a positive factor; zero when that matrix is
    /// singular or not finite.
    [[nodiscard]] static Matrix3 computeNormalMatrix(Matrix3 matrix, double w);
    /// The inverse transpose of the transform's Jacobian at \p point, up to a positive factor.
    [[nodiscard]] Matrix3 computeNormalMatrixAt(const LqVector3f& point) const;

    LqMatrix4Rd m_matrix;
    bool m_isIdentity;
    bool m_keepsNormals;
    bool m_isProjective;
    Matrix3 m_normalMatrix{};
};

}  // namespace DataLayer
