#include "Application/Pictures/PngEncoder.h"

#include <stdexcept>

#include "Application/Pictures/CPngEncoder.h"

namespace Application
{

std::vector<std::byte> EncodePng(std::uint32_t width, std::uint32_t height, PngColor color,
                                 std::span<const std::uint8_t> samples)
{
    if (samples.size() != std::size_t{width} * height * static_cast<std::size_t>(color))
    {
        throw std::runtime_error("The number of samples does not fit the picture's size.");
    }
    CPngEncoder encoder(width, height, color);
    encoder.EncodeTo(height, samples);
    return encoder.Finish();
}

}  // namespace Application
