#include "Application/View/CMask.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "Application/Files/CInputError.h"
#include "Application/Files/FileBytes.h"
#include "Application/View/CPngDecoder.h"
#include "Application/View/ViewLimits.h"

namespace Application
{

namespace
{

/// More than any sensible picture of c_maxViewSide needs.
constexpr std::uint64_t c_maxFileBytes = std::uint64_t{1} << 31U;

std::string SizeText(std::uint32_t width, std::uint32_t height)
{
    return std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

/// True when any byte of the samples that decide is not 0, which holds at every bit depth.
bool IsAnyByteSet(const std::uint8_t* pixel, std::size_t firstByte, std::size_t endByte)
{
    return std::any_of(pixel + firstByte, pixel + endByte, [](std::uint8_t b) { return b != 0; });
}

}  // namespace

CMask::CMask(std::uint32_t width, std::uint32_t height) : m_width(width), m_height(height)
{
    if (width == 0 || height == 0 || width > c_maxViewSide || height > c_maxViewSide)
    {
        throw CInputError("mask", "expected 1 to " + std::to_string(c_maxViewSide) +
                                      " pixels on each side, found " + SizeText(width, height));
    }
    m_bytes.resize(std::size_t{width} * height);
}

CMask CMask::ReadPng(const std::filesystem::path& file, std::uint32_t width, std::uint32_t height)
{
    return FromPng(ReadFileBytes(file, c_maxFileBytes), file, width, height);
}

CMask CMask::FromPng(std::string_view png, const std::filesystem::path& name, std::uint32_t width,
                     std::uint32_t height)
{
    CMask mask(width, height);
    CPngDecoder decoder(png, name);
    if (decoder.GetWidth() != width || decoder.GetHeight() != height)
    {
        throw CInputError(name, "expected a mask of " + SizeText(width, height) +
                                    " as the view has, found " +
                                    SizeText(decoder.GetWidth(), decoder.GetHeight()));
    }
    const std::vector<std::uint8_t> pixels = decoder.Decode();
    const std::size_t pixelBytes = decoder.GetBytesPerPixel();
    const std::size_t sampleBytes = decoder.GetBytesPerSample();
    const std::size_t firstByte = decoder.HasAlpha() ? pixelBytes - sampleBytes : 0;
    for (std::size_t index = 0; index < mask.m_bytes.size(); ++index)
    {
        mask.m_bytes[index] =
            IsAnyByteSet(pixels.data() + index * pixelBytes, firstByte, pixelBytes) ? 1 : 0;
    }
    return mask;
}

bool CMask::CanCut() const
{
    for (std::size_t row = 1; row < m_height; ++row)
    {
        const std::uint8_t* const first = m_bytes.data() + row * m_width;
        if (std::memchr(first + 1, 1, m_width - 1) != nullptr)
        {
            return true;
        }
    }
    return false;
}

void CMask::PaintSpan(std::uint32_t row, std::uint32_t firstColumn, std::uint32_t endColumn)
{
    const auto rowBegin = m_bytes.begin() + static_cast<std::ptrdiff_t>(std::size_t{row} * m_width);
    std::fill(rowBegin + firstColumn, rowBegin + std::max(firstColumn, endColumn), std::uint8_t{1});
}

}  // namespace Application
