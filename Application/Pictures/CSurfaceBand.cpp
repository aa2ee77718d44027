#include "Application/Pictures/CSurfaceBand.h"

#include <algorithm>

namespace Application
{

CSurfaceBand::CSurfaceBand(const CDepthBuffer& buffer, std::uint32_t begin, std::uint32_t end,
                           std::uint32_t border)
    : m_border(border),
      m_firstRow(std::int64_t{begin} - border),
      m_stride(std::int64_t{buffer.GetWidth()} + 2 * m_border + c_numLanes)
{
    const std::int64_t endRow = std::int64_t{end} + border;
    const auto size = static_cast<std::size_t>((endRow - m_firstRow) * m_stride);
    m_depths.resize(size, CDepthBuffer::DepthOf(CDepthBuffer::c_empty));
    for (std::vector<float>& component : m_normals)
    {
        component.resize(size);
    }
    const std::int64_t endOfPicture = std::min<std::int64_t>(endRow, buffer.GetHeight());
    for (std::int64_t row = std::max<std::int64_t>(m_firstRow, 0); row < endOfPicture; ++row)
    {
        const bool hasNormals = row + 1 >= begin && row <= end;
        const std::size_t source = buffer.IndexOf(0, static_cast<std::uint32_t>(row));
        const std::size_t target = indexOf(0, row);
        for (std::size_t column = 0; column < buffer.GetWidth(); ++column)
        {
            const std::uint64_t word = buffer.Get(source + column);
            if (word == CDepthBuffer::c_empty)
            {
                continue;
            }
            m_depths[target + column] = CDepthBuffer::DepthOf(word);
            if (hasNormals)
            {
                const CDepthBuffer::SNormal normal = CDepthBuffer::NormalOf(word);
                m_normals[0][target + column] = normal.x;
                m_normals[1][target + column] = normal.y;
                m_normals[2][target + column] = normal.z;
            }
        }
    }
}

}  // namespace Application
