#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <type_traits>

#include "Base/Export.h"

/// A 4 x 4 matrix that keeps its sixteen elements, 16-byte aligned, in the object itself.
///
/// Conventions of the whole system, stated here once:
/// - Element (row r, column c) is at index 4r + c.
/// - Points are row vectors (x, y, z, 1) multiplied from the left; the translation of an affine
///   transform lies in row 3, at indices 12, 13 and 14.
/// - In a product A * B the transform A acts on the point first.
/// - Every sum is evaluated from left to right in the element type, one rounding per operation;
///   multiply and add are never contracted.
///
/// A plain value: distinct objects may be used from any thread.
template <typename T>
class LqMatrix4R
{
public:
    /// The zero matrix.
    constexpr LqMatrix4R() = default;

    /// Takes the sixteen elements in index order.
    constexpr explicit LqMatrix4R(const std::array<T, 16>& elements) : m_elements(elements) {}

    /// Rounds each element of a double matrix to the nearest float; the index order is kept. A
    /// magnitude beyond the float range becomes an infinity.
    template <typename Wide>
    requires(std::is_same_v<T, float>&& std::is_same_v<Wide, double>) explicit LqMatrix4R(
        const LqMatrix4R<Wide>& matrix)
    {
        for (std::size_t index = 0; index < 16; ++index)
        {
            m_elements[index] = static_cast<float>(matrix.data()[index]);
        }
    }

    /// The element at \p row and \p column, both 0 to 3.
    [[nodiscard]] constexpr T& operator()(std::size_t row, std::size_t column)
    {
        return m_elements[4 * row + column];
    }

    /// The element at \p row and \p column, both 0 to 3.
    [[nodiscard]] constexpr T operator()(std::size_t row, std::size_t column) const
    {
        return m_elements[4 * row + column];
    }

    /// The sixteen elements in index order.
    [[nodiscard]] constexpr T* data() { return m_elements.data(); }

    /// The sixteen elements in index order.
    [[nodiscard]] constexpr const T* data() const { return m_elements.data(); }

    /// Element by element as numbers: 0 equals -0, and a NaN equals nothing, so that
    /// `c_matInvalidD` is not equal to itself.
    friend constexpr bool operator==(const LqMatrix4R&, const LqMatrix4R&) = default;

private:
    alignas(16) std::array<T, 16> m_elements{};
};

using LqMatrix4Rd = LqMatrix4R<double>;
using LqMatrix4Rf = LqMatrix4R<float>;

static_assert(sizeof(LqMatrix4Rd) == 16 * sizeof(double) && alignof(LqMatrix4Rd) == 16);
static_assert(sizeof(LqMatrix4Rf) == 16 * sizeof(float) && alignof(LqMatrix4Rf) == 16);

/// The product \p a x \p b, in which \p a acts first: element (i, j) is
/// ((a[i][0] b[0][j] + a[i][1] b[1][j]) + a[i][2] b[2][j]) + a[i][3] b[3][j].
[[nodiscard]] VEKO2_BASE_EXPORT LqMatrix4Rf operator*(const LqMatrix4Rf& a, const LqMatrix4Rf& b);

/// The product \p a x \p b in double precision; see the float form.
[[nodiscard]] VEKO2_BASE_EXPORT LqMatrix4Rd operator*(const LqMatrix4Rd& a, const LqMatrix4Rd& b);

/// The identity.
inline constexpr LqMatrix4Rd c_matIdentityD{
    std::array<double, 16>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

/// Stands for "no valid transform": every element is NaN.
inline constexpr LqMatrix4Rd c_matInvalidD = [] {
    std::array<double, 16> elements{};
    elements.fill(std::numeric_limits<double>::quiet_NaN());
    return LqMatrix4Rd(elements);
}();
