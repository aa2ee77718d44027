#include "Application/Pictures/CDepthBuffer.h"

namespace Application
{

CDepthBuffer::CDepthBuffer(std::uint32_t width, std::uint32_t height)
    : m_width(width),
      m_height(height),
      m_words(MakeLargeArray(std::size_t{width} * height, c_empty))
{}

void CDepthBuffer::Clear()
{
    FillInParallel(m_words.get(), std::size_t{m_width} * m_height, c_empty);
}

std::uint64_t CDepthBuffer::Pack(float depth, std::uint32_t look, const SNormal& normal)
{
    constexpr std::uint32_t c_none = c_noNormal << c_normalBits | c_noNormal;
    const std::uint64_t word = WithDepth(look << 2U * c_normalBits | c_none, depth);
    return normal.isPresent ? WithNormal(word, normal) : word;
}

}  // namespace Application
