#include "Application/Pictures/CPicture.h"

#include <algorithm>
#include <cstring>

#include "Application/Pictures/CPngEncoder.h"
#include "Base/Support/LargePages.h"

namespace Application
{

namespace
{

constexpr std::uint32_t c_gapColumns = 8;
constexpr SColor c_white{255, 255, 255};

}  // namespace

CPicture::CPicture(std::uint32_t width, std::uint32_t height, SColor fill)
    : m_width(width), m_height(height)
{
    Base::ResizeInLargePages(m_samples, std::size_t{width} * height * 3);
    if (fill == SColor())
    {
        return;
    }
    for (std::size_t index = 0; index < m_samples.size(); index += 3)
    {
        m_samples[index] = fill.red;
        m_samples[index + 1] = fill.green;
        m_samples[index + 2] = fill.blue;
    }
}

CPicture CPicture::SideBySide(const CPicture& left, const CPicture& right)
{
    CPicture both(left.m_width + c_gapColumns + right.m_width,
                  std::max(left.m_height, right.m_height), c_white);
    both.insert(left, 0);
    both.insert(right, left.m_width + c_gapColumns);
    return both;
}

SColor CPicture::GetPixel(std::uint32_t column, std::uint32_t row) const
{
    const std::size_t index = indexOf(column, row);
    return {m_samples[index], m_samples[index + 1], m_samples[index + 2]};
}

void CPicture::SetPixel(std::uint32_t column, std::uint32_t row, SColor color)
{
    const std::size_t index = indexOf(column, row);
    m_samples[index] = color.red;
    m_samples[index + 1] = color.green;
    m_samples[index + 2] = color.blue;
}

void CPicture::SetRow(std::uint32_t row, std::span<const SColor> colors)
{
    static_assert(sizeof(SColor) == 3, "a colour is its three samples");
    std::memcpy(&m_samples[indexOf(0, row)], colors.data(), colors.size_bytes());
}

std::vector<std::byte> CPicture::ToPng() const
{
    CPngEncoder encoder(m_width, m_height);
    encoder.EncodeTo(m_height, m_samples);
    return encoder.Finish();
}

void CPicture::insert(const CPicture& picture, std::uint32_t column)
{
    for (std::uint32_t row = 0; row < picture.m_height; ++row)
    {
        std::copy_n(picture.m_samples.data() + picture.indexOf(0, row),
                    std::size_t{picture.m_width} * 3, m_samples.data() + indexOf(column, row));
    }
}

}  // namespace Application
