#include "Application/Pictures/CDepthBuffer.h"

#include <utility>

namespace Application
{

namespace
{

std::size_t CountWords(std::uint32_t width, std::uint32_t height)
{
    return std::size_t{width} * height + SSampleRows::c_margin;
}

}  // namespace

CDepthBuffer::CDepthBuffer(std::uint32_t width, std::uint32_t height)
    : CDepthBuffer(width, height, MakeLargeArray(CountWords(width, height), c_empty))
{}

CDepthBuffer::CDepthBuffer(std::uint32_t width, std::uint32_t height,
                           LargeArray<std::uint64_t> words)
    : m_width(width), m_height(height), m_words(std::move(words))
{}

CDepthBuffer CDepthBuffer::MakeUncleared(std::uint32_t width, std::uint32_t height)
{
    return {width, height, MakeLargeArray<std::uint64_t>(CountWords(width, height))};
}

void CDepthBuffer::Clear(std::uint32_t begin, std::uint32_t end)
{
    std::fill(m_words.get() + IndexOf(0, begin), m_words.get() + IndexOf(0, end), c_empty);
}

std::uint64_t CDepthBuffer::Pack(float depth, std::uint32_t look, const SNormal& normal)
{
    const std::uint64_t word = WithDepth(look << 2U * c_normalBits | c_noNormalCode, depth);
    return normal.isPresent
               ? WithNormalCode(word, encode(normal.x) << c_normalBits | encode(normal.y))
               : word;
}

}  // namespace Application
