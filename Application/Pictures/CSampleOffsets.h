#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Application/Pictures/Kernels/SampleRows.h"

namespace Application
{

/// The ways from a sample to those around it, nearest first; those that are as far in the order of
/// rows. Immutable.
class CSampleOffsets
{
public:
    enum class EKept
    {
        All,
        /// Of two opposite ones the lower one, in the sample's row the right one.
        OneOfOpposites,
        /// From three samples away on half of them, as many in any direction.
        HalfOfFarOnes,
    };

    /// \param nearest, farthest in samples, both included; (0, 0) never is.
    /// \param stride from row to row.
    CSampleOffsets(float nearest, float farthest, EKept kept, std::size_t stride);

    /// For the kernels; while this lives.
    [[nodiscard]] SSampleOffsets Get() const
    {
        return {m_x.data(),     m_y.data(),
                m_xx.data(),    m_xy.data(),
                m_yy.data(),    m_distances.data(),
                m_steps.data(), m_steps.size() - SSampleRows::c_margin};
    }

private:
    std::vector<float> m_x;
    std::vector<float> m_y;
    std::vector<float> m_xx;
    std::vector<float> m_xy;
    std::vector<float> m_yy;
    std::vector<float> m_distances;
    std::vector<std::int32_t> m_steps;
};

}  // namespace Application
