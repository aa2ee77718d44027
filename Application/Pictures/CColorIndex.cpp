#include "Application/Pictures/CColorIndex.h"

namespace Application
{

bool CColorIndex::Find(std::span<const std::uint8_t> samples, std::uint8_t* numbers)
{
    for (std::size_t sample = 0; sample < samples.size(); sample += 3)
    {
        const std::uint8_t* const rgb = &samples[sample];
        const std::uint32_t color = rgb[0] | rgb[1] << 8U | rgb[2] << 16U;
        std::size_t slot = color * 0x9E3779B1U >> (32U - c_slotBits);
        while (m_slots[slot].color != color && m_slots[slot].color != c_none)
        {
            slot = (slot + 1) % m_slots.size();
        }
        if (m_slots[slot].color == c_none)
        {
            if (m_colors.size() == c_maxColors)
            {
                return false;
            }
            m_slots[slot] = {color, static_cast<std::uint32_t>(m_colors.size())};
            m_colors.push_back({rgb[0], rgb[1], rgb[2]});
        }
        *numbers++ = static_cast<std::uint8_t>(m_slots[slot].number);
    }
    return true;
}

}  // namespace Application
