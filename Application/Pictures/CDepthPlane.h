#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Application/Pictures/CDepthBuffer.h"

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
    /// right a register of four more.
    CDepthPlane(const CDepthBuffer& buffer, std::uint32_t border);

    [[nodiscard]] const float* At(std::uint32_t column, std::uint32_t row) const
    {
        return &m_depths[(std::size_t{row} + m_border) * m_stride + m_border + column];
    }

    /// From a sample to the one so many columns to the right and rows below.
    [[nodiscard]] std::ptrdiff_t OffsetOf(std::int32_t columns, std::int32_t rows) const
    {
        return static_cast<std::ptrdiff_t>(m_stride) * rows + columns;
    }

private:
    std::uint32_t m_border;
    std::size_t m_stride;
    std::unique_ptr<float[]> m_depths;
};

}  // namespace Application
