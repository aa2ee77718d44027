#include <algorithm>
#include <string_view>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/View/CMask.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

/// A PNG picture as the mask of a view of 8 x 8 pixels.
void TestInput(std::span<const std::uint8_t> input)
{
    constexpr std::uint32_t c_side = 8;
    const std::string_view png(reinterpret_cast<const char*>(input.data()), input.size());
    try
    {
        const auto mask = Application::CMask::FromPng(png, "mask.png", c_side, c_side);
        const std::vector<std::uint8_t>& bytes = mask.GetBytes();
        Require(bytes.size() == c_side * c_side &&
                    std::all_of(bytes.begin(), bytes.end(),
                                [](std::uint8_t byte) { return byte <= 1; }),
                "each pixel of a mask is painted or not");
    }
    catch (const Application::CInputError&)
    {}
}

}  // namespace Fuzzing
