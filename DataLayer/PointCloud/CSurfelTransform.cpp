#include "DataLayer/PointCloud/CSurfelTransform.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace DataLayer
{

namespace
{

bool OnlyTranslates(LqMatrix4Rd matrix)
{
    for (std::size_t column = 0; column < 3; ++column)
    {
        if (!std::isfinite(matrix(3, column)))
        {
            return false;
        }
        matrix(3, column) = 0.0;
    }
    return matrix == c_matIdentityD;
}

}  // namespace

CSurfelTransform::CSurfelTransform(const LqMatrix4Rd& matrix)
    : m_matrix(matrix),
      m_isIdentity(matrix == c_matIdentityD),
      m_keepsNormals(OnlyTranslates(matrix)),
      m_isProjective(!(matrix(0, 3) == 0.0 && matrix(1, 3) == 0.0 && matrix(2, 3) == 0.0))
{
    if (!m_isProjective)
    {
        m_normalMatrix = computeNormalMatrixAt(LqVector3f());
    }
}

LqVector3f CSurfelTransform::MoveNormal(const LqVector3f& point, const LqVector3f& normal) const
{
    if (m_keepsNormals)
    {
        return normal;
    }
    const Matrix3 matrix = m_isProjective ? computeNormalMatrixAt(point) : m_normalMatrix;
    std::array<double, 3> moved{};
    for (std::size_t column = 0; column < 3; ++column)
    {
        moved[column] = (normal.x * matrix[0][column] + normal.y * matrix[1][column]) +
                        normal.z * matrix[2][column];
    }
    const double length =
        std::sqrt((moved[0] * moved[0] + moved[1] * moved[1]) + moved[2] * moved[2]);
    if (!(length > 0.0) || !std::isfinite(length))
    {
        return {};
    }
    return {static_cast<float>(moved[0] / length), static_cast<float>(moved[1] / length),
            static_cast<float>(moved[2] / length)};
}

CSurfelTransform::Matrix3 CSurfelTransform::computeNormalMatrix(Matrix3 matrix, double w)
{
    double scale = 0.0;
    for (const auto& row : matrix)
    {
        for (const double element : row)
        {
            scale = std::max(scale, std::fabs(element));
        }
    }
    double product = 1.0;
    for (auto& row : matrix)
    {
        for (double& element : row)
        {
            element /= scale;
        }
        product *= std::hypot(row[0], row[1], row[2]);
    }

    Matrix3 cofactors{};
    for (std::size_t row = 0; row < 3; ++row)
    {
        for (std::size_t column = 0; column < 3; ++column)
        {
            const auto& next = matrix[(row + 1) % 3];
            const auto& last = matrix[(row + 2) % 3];
            cofactors[row][column] = next[(column + 1) % 3] * last[(column + 2) % 3] -
                                     next[(column + 2) % 3] * last[(column + 1) % 3];
        }
    }
    const double determinant = (matrix[0][0] * cofactors[0][0] + matrix[0][1] * cofactors[0][1]) +
                               matrix[0][2] * cofactors[0][2];
    // A determinant that is rounding noise beside the rows it comes from has no sign to trust.
    constexpr double c_noise = 16.0 * std::numeric_limits<double>::epsilon();
    if (!(std::fabs(determinant) > c_noise * product) || !(std::fabs(w) > 0.0) || !std::isfinite(w))
    {
        return {};
    }
    if ((determinant < 0.0) != (w < 0.0))
    {
        for (auto& row : cofactors)
        {
            for (double& element : row)
            {
                element = -element;
            }
        }
    }
    return cofactors;
}

CSurfelTransform::Matrix3 CSurfelTransform::computeNormalMatrixAt(const LqVector3f& point) const
{
    const auto moved = TransformHomogeneous<double>(m_matrix, point.x, point.y, point.z);
    const std::array<double, 3> position{moved.x / moved.w, moved.y / moved.w, moved.z / moved.w};
    // Row i, column j of the Jacobian is (M[i][j] - position[j] M[i][3]) / w.
    Matrix3 jacobian{};
    for (std::size_t row = 0; row < 3; ++row)
    {
        for (std::size_t column = 0; column < 3; ++column)
        {
            jacobian[row][column] =
                m_isProjective ? m_matrix(row, column) - position[column] * m_matrix(row, 3)
                               : m_matrix(row, column);
        }
    }
    return computeNormalMatrix(jacobian, moved.w);
}

}  // namespace DataLayer
