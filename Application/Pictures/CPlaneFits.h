#pragma once

namespace Application
{

/// The gradient of the plane of best fit (least squares) through values over a grid.
class CPlaneFit
{
public:
    struct SGradient
    {
        float x = 0.0F;
        float y = 0.0F;
    };

    void Add(float x, float y, float value)
    {
        m_count += 1.0F;
        m_x += x;
        m_y += y;
        m_value += value;
        m_xx += x * x;
        m_xy += x * y;
        m_yy += y * y;
        m_xValue += x * value;
        m_yValue += y * value;
    }

    /// The gradient; 0 when the places that were added lie on one line.
    [[nodiscard]] SGradient Solve() const
    {
        const float xx = m_xx - m_x * m_x / m_count;
        const float xy = m_xy - m_x * m_y / m_count;
        const float yy = m_yy - m_y * m_y / m_count;
        const float xValue = m_xValue - m_x * m_value / m_count;
        const float yValue = m_yValue - m_y * m_value / m_count;
        const float determinant = xx * yy - xy * xy;
        if (!(determinant > c_minDeterminant * xx * yy))
        {
            return {};
        }
        return {(xValue * yy - yValue * xy) / determinant,
                (yValue * xx - xValue * xy) / determinant};
    }

private:
    static constexpr float c_minDeterminant = 1e-3F;

    float m_count = 0.0F;
    float m_x = 0.0F;
    float m_y = 0.0F;
    float m_value = 0.0F;
    float m_xx = 0.0F;
    float m_xy = 0.0F;
    float m_yy = 0.0F;
    float m_xValue = 0.0F;
    float m_yValue = 0.0F;
};

}  // namespace Application
