#include "Application/Pictures/CDepthBuffer.h"

#include <algorithm>
#include <cmath>

namespace Application
{

namespace
{

/// A normal's x and y take 11 bits each; the last code stands for no normal.
constexpr float c_normalScale = 1023.0F;
constexpr std::uint32_t c_normalBits = 11;
constexpr std::uint32_t c_noNormal = (1U << c_normalBits) - 1U;

std::uint32_t encode(float component)
{
    return static_cast<std::uint32_t>((component + 1.0F) * c_normalScale + 0.5F);
}

float decode(std::uint32_t code)
{
    return static_cast<float>(code) / c_normalScale - 1.0F;
}

}  // namespace

CDepthBuffer::CDepthBuffer(std::uint32_t width, std::uint32_t height)
    : m_width(width), m_height(height), m_words(std::size_t{width} * height, c_empty)
{}

std::uint64_t CDepthBuffer::Pack(float depth, std::uint32_t look, const SNormal& normal)
{
    const std::uint32_t x = normal.isPresent ? encode(normal.x) : c_noNormal;
    const std::uint32_t y = normal.isPresent ? encode(normal.y) : c_noNormal;
    return WithDepth(look << 2U * c_normalBits | x << c_normalBits | y, depth);
}

CDepthBuffer::SNormal CDepthBuffer::NormalOf(std::uint64_t word)
{
    const auto y = static_cast<std::uint32_t>(word) & c_noNormal;
    const auto x = static_cast<std::uint32_t>(word >> c_normalBits) & c_noNormal;
    if (x == c_noNormal)
    {
        return {};
    }
    const float normalX = decode(x);
    const float normalY = decode(y);
    const float squaredZ = 1.0F - normalX * normalX - normalY * normalY;
    return {normalX, normalY, std::sqrt(std::max(squaredZ, 0.0F)), true};
}

}  // namespace Application
