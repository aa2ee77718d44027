#include "Application/View/CCamera.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "Application/Files/CInputError.h"
#include "Application/View/ViewLimits.h"

namespace Application
{

namespace
{

using Vector = CCamera::Vector;

/// Shorter cross products of unit vectors are rounding noise: the two are parallel.
constexpr double c_minSine = 1e-9;

constexpr double c_radiansPerDegree = 3.14159265358979323846 / 180.0;

[[noreturn]] void Fail(const std::string& message)
{
    throw CInputError("camera", message);
}

void Check(bool isValid, const std::string& message)
{
    if (!isValid)
    {
        Fail(message);
    }
}

/// Whether float, in which points are projected, holds about this value.
bool IsFloat(double value)
{
    return std::isfinite(static_cast<float>(value));
}

bool IsFinite(const Vector& vector)
{
    return std::all_of(vector.begin(), vector.end(), [](double c) { return std::isfinite(c); });
}

Vector Subtract(const Vector& a, const Vector& b)
{
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
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
    return std::hypot(vector[0], vector[1], vector[2]);
}

Vector Normalized(const Vector& vector)
{
    const double length = Length(vector);
    return {vector[0] / length, vector[1] / length, vector[2] / length};
}

bool IsZero(const Vector& vector)
{
    return vector == Vector{0.0, 0.0, 0.0};
}

/// By how much the picture's vertical axis is scaled, and its horizontal one.
double ScaleY(const CCamera::SParameters& parameters)
{
    return parameters.projection == CCamera::Projection::Perspective
               ? 1.0 / std::tan(0.5 * (parameters.fieldOfView * c_radiansPerDegree))
               : 2.0 / parameters.orthographicHeight;
}

double ScaleX(const CCamera::SParameters& parameters)
{
    return ScaleY(parameters) * parameters.height / parameters.width;
}

void CheckRanges(const CCamera::SParameters& parameters)
{
    Check(IsFinite(parameters.eye), "eye: expected finite numbers");
    Check(IsFinite(parameters.target), "target: expected finite numbers");
    Check(IsFinite(parameters.up), "up: expected finite numbers");
    Check(!IsZero(Subtract(parameters.eye, parameters.target)),
          "the eye and the target are the same point");
    Check(IsFloat(Length(Subtract(parameters.eye, parameters.target))),
          "the eye is too far from the target");
    Check(!IsZero(parameters.up), "up: expected a direction, found 0 0 0");
    const bool isPerspective = parameters.projection == CCamera::Projection::Perspective;
    if (isPerspective)
    {
        Check(parameters.fieldOfView > 0.0 && parameters.fieldOfView < 180.0,
              "field of view: expected more than 0 and less than 180 degrees, found " +
                  std::to_string(parameters.fieldOfView));
    }
    else
    {
        Check(std::isfinite(parameters.orthographicHeight) && parameters.orthographicHeight > 0.0,
              "orthographic height: expected a finite number above 0, found " +
                  std::to_string(parameters.orthographicHeight));
    }
    Check(std::isfinite(parameters.nearDistance) && std::isfinite(parameters.farDistance),
          "near and far: expected finite numbers");
    Check(!isPerspective || parameters.nearDistance > 0.0,
          "near: expected a distance above 0, found " + std::to_string(parameters.nearDistance));
    Check(parameters.nearDistance < parameters.farDistance,
          "near (" + std::to_string(parameters.nearDistance) + ") is not less than far (" +
              std::to_string(parameters.farDistance) + ")");
    for (const std::uint32_t size : {parameters.width, parameters.height})
    {
        Check(size > 0 && size <= c_maxViewSide,
              "size: expected 1 to " + std::to_string(c_maxViewSide) +
                  " pixels on each side, found " + std::to_string(size));
    }
    Check(IsFloat(ScaleX(parameters)) && IsFloat(ScaleY(parameters)),
          std::string(isPerspective ? "field of view" : "orthographic height") +
              ": too small for the picture's scale to be a float");
}

LqMatrix4Rd MakePlacement(const Vector& eye, const std::array<Vector, 3>& axes)
{
    LqMatrix4Rd placement = c_matIdentityD;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        for (std::size_t row = 0; row < 3; ++row)
        {
            placement(row, axis) = axes[axis][row];
        }
        placement(3, axis) = -Dot(eye, axes[axis]);
    }
    return placement;
}

LqMatrix4Rd MakePerspective(const CCamera::SParameters& parameters)
{
    const double depth = parameters.nearDistance - parameters.farDistance;
    LqMatrix4Rd projection;
    projection(0, 0) = ScaleX(parameters);
    projection(1, 1) = ScaleY(parameters);
    projection(2, 2) = parameters.farDistance / depth;
    projection(2, 3) = -1.0;
    projection(3, 2) = parameters.nearDistance * (parameters.farDistance / depth);
    return projection;
}

LqMatrix4Rd MakeOrthographic(const CCamera::SParameters& parameters)
{
    const double depth = parameters.nearDistance - parameters.farDistance;
    LqMatrix4Rd projection;
    projection(0, 0) = ScaleX(parameters);
    projection(1, 1) = ScaleY(parameters);
    projection(2, 2) = 1.0 / depth;
    projection(3, 2) = parameters.nearDistance / depth;
    projection(3, 3) = 1.0;
    return projection;
}

}  // namespace

CCamera::CCamera(const SParameters& parameters) : m_parameters(parameters), m_axes{}
{
    CheckRanges(parameters);
    const Vector back = Normalized(Subtract(parameters.eye, parameters.target));
    const Vector right = Cross(Normalized(parameters.up), back);
    Check(Length(right) > c_minSine, "up points along the viewing direction");
    m_axes = {Normalized(right), Cross(back, Normalized(right)), back};
}

CView CCamera::MakeView() const
{
    const bool isPerspective = m_parameters.projection == Projection::Perspective;
    const Vector eye = Subtract(m_parameters.eye, m_parameters.target);
    return CView(m_parameters.width, m_parameters.height, m_parameters.target,
                 {MakePlacement(eye, m_axes),
                  isPerspective ? MakePerspective(m_parameters) : MakeOrthographic(m_parameters),
                  c_matIdentityD},
                 "camera");
}

}  // namespace Application
