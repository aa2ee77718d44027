#include "Application/Pictures/CSurfaceBand.h"

#include <algorithm>

#include "Application/Pictures/Kernels/SampleRowsKernels.h"

namespace Application
{

namespace
{

constexpr float c_noDepth = CDepthBuffer::DepthOf(CDepthBuffer::c_empty);

}  // namespace

CSurfaceBand::CSurfaceBand(const CDepthBuffer& buffer, std::uint32_t numRows, std::uint32_t border)
    : m_buffer(buffer),
      m_border(border),
      m_stride(buffer.GetWidth() + 2 * std::size_t{border} + SSampleRows::c_margin),
      m_depths(
          std::make_unique_for_overwrite<float[]>((numRows + 2 * std::size_t{border}) * m_stride))
{
    const std::size_t size = (numRows + 2 * std::size_t{border}) * m_stride;
    std::fill_n(m_depths.get(), size, c_noDepth);
    for (std::unique_ptr<float[]>& component : m_normals)
    {
        component = std::make_unique_for_overwrite<float[]>(size);
    }
}

void CSurfaceBand::Load(std::uint32_t begin, std::uint32_t end)
{
    const UnpackSamplesKernel unpack = GetFastestSampleRowsKernels().unpack;
    const std::uint32_t width = m_buffer.GetWidth();
    m_firstRow = std::int64_t{begin} - m_border;
    for (std::int64_t row = m_firstRow; row < std::int64_t{end} + m_border; ++row)
    {
        const std::size_t target = indexOf(row);
        if (row < 0 || row >= m_buffer.GetHeight())
        {
            std::fill_n(&m_depths[target], width, c_noDepth);
            continue;
        }
        const std::uint64_t* const words =
            m_buffer.GetWords() + m_buffer.IndexOf(0, static_cast<std::uint32_t>(row));
        if (row + 1 >= begin && row <= end)
        {
            unpack(words, width, &m_depths[target],
                   {&m_normals[0][target], &m_normals[1][target], &m_normals[2][target]});
        }
        else
        {
            std::transform(words, words + width, &m_depths[target], CDepthBuffer::DepthOf);
        }
    }
}

}  // namespace Application
