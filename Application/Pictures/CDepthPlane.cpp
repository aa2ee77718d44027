#include "Application/Pictures/CDepthPlane.h"

#include "Application/Pictures/LargeArrays.h"
#include "Application/Pictures/RowBands.h"

namespace Application
{

CDepthPlane::CDepthPlane(const CDepthBuffer& buffer, std::uint32_t border)
    : m_border(border), m_stride(FindStride(buffer.GetWidth(), border))
{
    const std::size_t numDepths = (buffer.GetHeight() + 2 * m_border) * m_stride;
    m_depths = MakeLargeArray(numDepths, CDepthBuffer::DepthOf(CDepthBuffer::c_empty));
    ForEachRow(buffer.GetHeight(), [&](std::uint32_t row) {
        float* const target = &m_depths[(std::size_t{row} + m_border) * m_stride + m_border];
        const std::size_t first = buffer.IndexOf(0, row);
        for (std::uint32_t column = 0; column < buffer.GetWidth(); ++column)
        {
            target[column] = CDepthBuffer::DepthOf(buffer.Get(first + column));
        }
    });
}

}  // namespace Application
