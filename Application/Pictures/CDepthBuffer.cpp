#include "Application/Pictures/CDepthBuffer.h"

#include "Base/Support/LargePages.h"

namespace Application
{

CDepthBuffer::CDepthBuffer(std::uint32_t width, std::uint32_t height)
    : m_width(width), m_height(height)
{
    const std::size_t numWords = std::size_t{width} * height;
    Base::ReserveInLargePages(m_words, numWords);
    m_words.resize(numWords, c_empty);
}

std::uint64_t CDepthBuffer::Pack(float depth, std::uint32_t look, const SNormal& normal)
{
    const std::uint32_t x = normal.isPresent ? encode(normal.x) : c_noNormal;
    const std::uint32_t y = normal.isPresent ? encode(normal.y) : c_noNormal;
    return WithDepth(look << 2U * c_normalBits | x << c_normalBits | y, depth);
}

}  // namespace Application
