#include "Application/Pictures/CPicture.h"

#include <algorithm>

#include "Application/Pictures/PngEncoding.h"
#include "Base/Support/LargePages.h"

namespace Application
{

namespace
{

constexpr std::uint32_t c_gapColumns = 8;
constexpr SColor c_white{255, 255, 255};

}  // namespace

CPicture::CPicture(std::uint32_t width, std::uint32_t height, SColor fill)
    : CPicture(MakeUnset(width, height))
{
    std::fill(m_pixels.begin(), m_pixels.end(), fill);
}

CPicture CPicture::MakeUnset(std::uint32_t width, std::uint32_t height)
{
    CPicture picture;
    picture.m_width = width;
    picture.m_height = height;
    Base::ResizeInLargePages(picture.m_pixels, std::size_t{width} * height);
    return picture;
}

CPicture CPicture::SideBySide(const CPicture& left, const CPicture& right)
{
    CPicture both(left.m_width + c_gapColumns + right.m_width,
                  std::max(left.m_height, right.m_height), c_white);
    both.insert(left, 0);
    both.insert(right, left.m_width + c_gapColumns);
    return both;
}

void CPicture::SetRow(std::uint32_t row, std::span<const SColor> pixels)
{
    std::copy(pixels.begin(), pixels.end(), &m_pixels[indexOf(0, row)]);
}

std::vector<std::byte> CPicture::ToPng() const
{
    return EncodePng(*this);
}

void CPicture::insert(const CPicture& picture, std::uint32_t column)
{
    for (std::uint32_t row = 0; row < picture.m_height; ++row)
    {
        std::copy_n(&picture.m_pixels[picture.indexOf(0, row)], picture.m_width,
                    &m_pixels[indexOf(column, row)]);
    }
}

}  // namespace Application
