#include "Application/Pictures/CColorIndex.h"

namespace Application
{

bool CColorIndex::Find(std::span<const SColor> pixels, std::uint8_t* numbers)
{
    for (const SColor& pixel : pixels)
    {
        const std::uint32_t color = pixel.red | pixel.green << 8U | pixel.blue << 16U;
        std::size_t slot = color * 0x9E3779B1U >> (32U - c_slotBits);
        while (m_slots[slot].color != color && m_slots[slot].color != c_none)
        {
            slot = (slot + 1) % m_slots.size();
        }
        if (m_slots[slot].color == c_none)
        {
            if (m_colors.size() == CIndexedPicture::c_maxColors)
            {
                return false;
            }
            m_slots[slot] = {color, static_cast<std::uint32_t>(m_colors.size())};
            m_colors.push_back(pixel);
        }
        *numbers++ = static_cast<std::uint8_t>(m_slots[slot].number);
    }
    return true;
}

}  // namespace Application
