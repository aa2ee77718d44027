#pragma once

#include <cstddef>
#include <cstdint>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/Kernels/SampleRows.h"
#include "Application/Pictures/LargeArrays.h"

namespace Application
{

/// The depths of a picture's samples by themselves, with a border around them, so that the
/// surroundings of a sample can be read several at a time and without asking where the picture
/// ends.
///
/// What is empty, and the border is, holds no number: no comparison with it is true.
class CDepthPlane
{
public:
    /// An empty one. \p border: how far beyond the picture there is something to read, on all
    /// sides; on the right SSampleRows::c_margin more.
    CDepthPlane(std::uint32_t width, std::uint32_t height, std::uint32_t border);

    /// The depths of \p buffer.
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
    [[nodiscard]] float* GetFirst() { return &m_depths[m_border * m_stride + m_border]; }
    [[nodiscard]] std::size_t GetStride() const { return m_stride; }

    /// Draws what \p other, of the same size, has in the rows \p begin to \p end - 1.
    void Join(const CDepthPlane& other, std::uint32_t begin, std::uint32_t end);

private:
    std::uint32_t m_width;
    std::size_t m_border;
    std::size_t m_stride;
    LargeArray<float> m_depths;
};

}  // namespace Application
