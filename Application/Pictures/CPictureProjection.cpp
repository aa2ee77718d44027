#include "Application/Pictures/CPictureProjection.h"

#include <algorithm>
#include <cmath>

namespace Application
{

namespace
{

using Vector = std::array<double, 3>;

Vector TakeColumn(const LqMatrix4Rd& matrix, std::size_t column)
{
    return {matrix(0, column), matrix(1, column), matrix(2, column)};
}

double Dot(const Vector& a, const Vector& b)
{
    return (a[0] * b[0] + a[1] * b[1]) + a[2] * b[2];
}

Vector Cross(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double Length(const Vector& vector)
{
    return std::sqrt(Dot(vector, vector));
}

Vector Scaled(const Vector& vector, double factor)
{
    return {vector[0] * factor, vector[1] * factor, vector[2] * factor};
}

/// The part of \p vector that is perpendicular to \p axis (of length 1).
Vector Perpendicular(const Vector& vector, const Vector& axis)
{
    const double share = Dot(vector, axis);
    return {vector[0] - share * axis[0], vector[1] - share * axis[1], vector[2] - share * axis[2]};
}

}  // namespace

CPictureProjection::CPictureProjection(const CView& view, std::uint32_t samplesPerSide)
    : m_view(view),
      m_width(view.GetWidth() * samplesPerSide),
      m_height(view.GetHeight() * samplesPerSide),
      m_viewProjection(view.GetTransforms()[0] * view.GetTransforms()[1] * view.GetTransforms()[2]),
      m_isPerspective(Length(TakeColumn(m_viewProjection, 3)) > 0.0),
      m_sampleSize(0.0F),
      m_axes{}
{
    // What the depth is proportional to: clip w in perspective, device z = z / w otherwise.
    const double w = m_isPerspective ? 1.0 : m_viewProjection(3, 3);
    const Vector depth = Scaled(TakeColumn(m_viewProjection, m_isPerspective ? 3 : 2), 1.0 / w);
    const double depthPerUnit = Length(depth);
    m_axes[2] = Scaled(depth, -1.0 / depthPerUnit);
    const Vector vertical =
        Perpendicular(Scaled(TakeColumn(m_viewProjection, 1), 1.0 / w), m_axes[2]);
    m_axes[1] = Scaled(vertical, 1.0 / Length(vertical));
    m_axes[0] = Cross(m_axes[1], m_axes[2]);
    // Device y spans two units; at depth 1 one of them is depthPerUnit / |vertical| world units in
    // perspective, where everything shrinks with w.
    m_sampleSize = static_cast<float>(2.0 / m_height * depthPerUnit / Length(vertical));
}

LqMatrix4Rf CPictureProjection::MakeChain(const LqMatrix4Rd& trafo) const
{
    return LqMatrix4Rf(m_view.MakeRelativeTrafo(trafo) * m_viewProjection);
}

LqMatrix4Rf CPictureProjection::MakeNormalChain(const LqMatrix4Rd& trafo) const
{
    const std::array<Vector, 3> rows = {Vector{trafo(0, 0), trafo(0, 1), trafo(0, 2)},
                                        Vector{trafo(1, 0), trafo(1, 1), trafo(1, 2)},
                                        Vector{trafo(2, 0), trafo(2, 1), trafo(2, 2)}};
    // The cofactors are the inverse transpose up to a factor, whose sign keeps the orientation.
    const std::array<Vector, 3> cofactors = {Cross(rows[1], rows[2]), Cross(rows[2], rows[0]),
                                             Cross(rows[0], rows[1])};
    const double sign = Dot(rows[0], cofactors[0]) < 0.0 ? -1.0 : 1.0;
    double largest = 0.0;
    for (const Vector& cofactor : cofactors)
    {
        largest = std::max(largest, Length(cofactor));
    }
    const double scale = largest > 0.0 ? sign / largest : 0.0;
    LqMatrix4Rf chain;
    for (std::size_t row = 0; row < 3; ++row)
    {
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            chain(row, axis) = static_cast<float>(scale * Dot(cofactors[row], m_axes[axis]));
        }
    }
    return chain;
}

}  // namespace Application
