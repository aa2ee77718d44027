#pragma once

#include <cstdint>

namespace Application
{

/// A colour as screens show it (sRGB).
struct SColor
{
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    friend bool operator==(const SColor&, const SColor&) = default;
};

}  // namespace Application
