#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Application/Pictures/CIndexedPicture.h"
#include "Application/Pictures/SColor.h"

namespace Application
{

/// Numbers the colours of pixels in the order in which they first occur.
class CColorIndex
{
public:
    /// Finds the numbers of \p pixels. False when there are more colours than
    /// CIndexedPicture::c_maxColors.
    [[nodiscard]] bool Find(std::span<const SColor> pixels, std::uint8_t* numbers);

    [[nodiscard]] const std::vector<SColor>& GetColors() const { return m_colors; }

private:
    static constexpr std::uint32_t c_slotBits = 10;
    static constexpr std::uint32_t c_none = ~std::uint32_t{0};

    struct SSlot
    {
        std::uint32_t color = c_none;
        std::uint32_t number = 0;
    };

    // A fourth of it is in use at most.
    std::array<SSlot, 1U << c_slotBits> m_slots{};
    std::vector<SColor> m_colors;
};

}  // namespace Application
