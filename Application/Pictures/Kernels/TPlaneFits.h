#pragma once

namespace Application
{

/// The gradients of planes of best fit (least squares) through values over a grid, one in each
/// lane.
///
/// \tparam Vector the vectors of one instruction set; a type of an unnamed namespace, so that the
/// code is not taken for that of another one.
template <typename Vector>
class TPlaneFits
{
public:
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;

    struct SGradients
    {
        Floats x;
        Floats y;
    };

    /// Adds a place and its values to those of the planes that \p isTaken has; what the other
    /// lanes' values are does not matter.
    template <typename Place>
    void Add(Integers isTaken, Place x, Place y, Floats values)
    {
        // An added 0 changes nothing, the sign of a sum that is 0 included.
        values = isTaken ? values : Floats();
        m_counts = isTaken ? m_counts + 1.0F : m_counts;
        m_x = isTaken ? m_x + x : m_x;
        m_y = isTaken ? m_y + y : m_y;
        m_values += values;
        m_xx = isTaken ? m_xx + x * x : m_xx;
        m_xy = isTaken ? m_xy + x * y : m_xy;
        m_yy = isTaken ? m_yy + y * y : m_yy;
        m_xValues += x * values;
        m_yValues += y * values;
    }

    /// The gradients; 0 where the places that were added lie on one line.
    [[nodiscard]] SGradients Solve() const
    {
        const Floats xx = m_xx - m_x * m_x / m_counts;
        const Floats xy = m_xy - m_x * m_y / m_counts;
        const Floats yy = m_yy - m_y * m_y / m_counts;
        const Floats xValues = m_xValues - m_x * m_values / m_counts;
        const Floats yValues = m_yValues - m_y * m_values / m_counts;
        const Floats determinants = xx * yy - xy * xy;
        const Integers arePlanes = determinants > c_minDeterminant * xx * yy;
        const Floats zero{};
        return {arePlanes ? (xValues * yy - yValues * xy) / determinants : zero,
                arePlanes ? (yValues * xx - xValues * xy) / determinants : zero};
    }

private:
    static constexpr float c_minDeterminant = 1e-3F;

    Floats m_counts{};
    Floats m_x{};
    Floats m_y{};
    Floats m_values{};
    Floats m_xx{};
    Floats m_xy{};
    Floats m_yy{};
    Floats m_xValues{};
    Floats m_yValues{};
};

}  // namespace Application
