#include "Application/Pictures/CDepthPlane.h"

#include <algorithm>
#include <bit>

#include "Application/Pictures/RowBands.h"

namespace Application
{

CDepthPlane::CDepthPlane(std::uint32_t width, std::uint32_t height, std::uint32_t border)
    : m_width(width),
      m_border(border),
      m_stride(FindStride(width, border)),
      m_depths(MakeLargeArray((height + 2 * m_border) * m_stride,
                              CDepthBuffer::DepthOf(CDepthBuffer::c_empty)))
{}

CDepthPlane::CDepthPlane(const CDepthBuffer& buffer, std::uint32_t border)
    : CDepthPlane(buffer.GetWidth(), buffer.GetHeight(), border)
{
    ForEachRow(buffer.GetHeight(), [&](std::uint32_t row) {
        float* const target = GetFirst() + row * m_stride;
        const std::size_t first = buffer.IndexOf(0, row);
        for (std::uint32_t column = 0; column < m_width; ++column)
        {
            target[column] = CDepthBuffer::DepthOf(buffer.Get(first + column));
        }
    });
}

void CDepthPlane::Join(const CDepthPlane& other, std::uint32_t begin, std::uint32_t end)
{
    for (std::uint32_t row = begin; row < end; ++row)
    {
        float* const samples = GetFirst() + row * m_stride;
        const float* const others = other.GetFirst() + row * m_stride;
        for (std::uint32_t column = 0; column < m_width; ++column)
        {
            // The bits of what is no number are the largest of all.
            const auto bits = std::min(std::bit_cast<std::uint32_t>(samples[column]),
                                       std::bit_cast<std::uint32_t>(others[column]));
            samples[column] = std::bit_cast<float>(bits);
        }
    }
}

}  // namespace Application
