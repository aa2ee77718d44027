#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/Kernels/SampleRows.h"

namespace Application
{

/// The depths of a depth buffer by themselves, with a border around them, so that the surroundings
/// of a sample can be read several at a time and without asking where the picture ends.
///
/// What is empty, and the border is, holds no number: no comparison with it is true. Immutable.
class CDepthPlane
{
public:
    /// \p border: how far beyond the picture there is something to read, on all sides; on the
    /// right SSampleRows::c_margin more.
    CDepthPlane(const CDepthBuffer& buffer, std::uint32_t border);

    /// From row to row of a picture that is so wide.
    [[nodiscard]] static std::size_t FindStride(std::uint32_t width, std::uint32_t border)
    {
        return width + 2 * std::size_t{border} + SSampleRows::c_margin;
    }

    /// The first sample of the first row.
    [[nodiscard]] const float* GetFirst() const
    {
        return &m_depths[m_border * m_stride + m_border];
    }
    [[nodiscard]] std::size_t GetStride() const { return m_stride; }

private:
    std::size_t m_border;
    std::size_t m_stride;
    std::unique_ptr<float[]> m_depths;
};

}  // namespace Application
