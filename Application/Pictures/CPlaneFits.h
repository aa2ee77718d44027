#pragma once

#include "Application/Pictures/Lanes.h"

namespace Application
{

/// The gradients of four planes of best fit (least squares) through values over a grid, one in each
/// lane.
class CPlaneFits
{
public:
    struct SGradients
    {
        Lanes x;
        Lanes y;
    };

    /// Adds a place and its values to those of the planes that \p isTaken has; what the other
    /// lanes' values are does not matter.
    void Add(LaneMask isTaken, float x, float y, Lanes values)
    {
        // An added 0 changes nothing, the sign of a sum that is 0 included.
        const Lanes zero{};
        const Lanes ones = isTaken ? FillLanes(1.0F) : zero;
        const Lanes xs = isTaken ? FillLanes(x) : zero;
        const Lanes ys = isTaken ? FillLanes(y) : zero;
        values = isTaken ? values : zero;
        m_counts += ones;
        m_x += xs;
        m_y += ys;
        m_values += values;
        m_xx += xs * xs;
        m_xy += xs * ys;
        m_yy += ys * ys;
        m_xValues += xs * values;
        m_yValues += ys * values;
    }

    /// The gradients; 0 where the places that were added lie on one line.
    [[nodiscard]] SGradients Solve() const
    {
        const Lanes xx = m_xx - m_x * m_x / m_counts;
        const Lanes xy = m_xy - m_x * m_y / m_counts;
        const Lanes yy = m_yy - m_y * m_y / m_counts;
        const Lanes xValues = m_xValues - m_x * m_values / m_counts;
        const Lanes yValues = m_yValues - m_y * m_values / m_counts;
        const Lanes determinants = xx * yy - xy * xy;
        const LaneMask arePlanes = determinants > FillLanes(c_minDeterminant) * xx * yy;
        const Lanes zero{};
        return {arePlanes ? (xValues * yy - yValues * xy) / determinants : zero,
                arePlanes ? (yValues * xx - xValues * xy) / determinants : zero};
    }

private:
    static constexpr float c_minDeterminant = 1e-3F;

    Lanes m_counts{};
    Lanes m_x{};
    Lanes m_y{};
    Lanes m_values{};
    Lanes m_xx{};
    Lanes m_xy{};
    Lanes m_yy{};
    Lanes m_xValues{};
    Lanes m_yValues{};
};

}  // namespace Application
