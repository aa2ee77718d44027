#include "Application/Pictures/CIndexedPicture.h"

#include <algorithm>
#include <utility>

#include "Application/Pictures/PngEncoding.h"

namespace Application
{

CIndexedPicture::CIndexedPicture(std::uint32_t width, std::uint32_t height,
                                 std::vector<SColor> palette)
    : m_width(width),
      m_height(height),
      m_palette(std::move(palette)),
      m_indices(std::size_t{width} * height)
{}

void CIndexedPicture::SetRow(std::uint32_t row, std::span<const std::uint8_t> indices)
{
    std::copy(indices.begin(), indices.end(), &m_indices[std::size_t{row} * m_width]);
}

std::vector<std::byte> CIndexedPicture::ToPng() const
{
    return EncodePng(*this);
}

}  // namespace Application
