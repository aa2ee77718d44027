#include "Application/Pictures/CPointSamples.h"

namespace Application
{

std::uint64_t CPointSamples::Get(std::uint32_t column, std::uint32_t row) const
{
    if (m_words.has_value())
    {
        return m_words->Get(m_words->IndexOf(column, row));
    }
    const float depth = m_depths.GetFirst()[row * m_depths.GetStride() + column];
    return depth == depth ? CDepthBuffer::WithDepth(m_bareWord, depth) : CDepthBuffer::c_empty;
}

}  // namespace Application
