#include <string_view>

#include "Application/Files/CInputError.h"
#include "Application/View/CMask.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

/// A PNG picture as the mask of a view of 8 x 8 pixels.
void TestInput(std::span<const std::uint8_t> input)
{
    constexpr std::uint32_t c_side = 8;
    const auto read = [](std::string_view png) {
        return Application::CMask::FromPng(png, "mask.png", c_side, c_side);
    };
    try
    {
        const Application::CMask mask =
            read({reinterpret_cast<const char*>(input.data()), input.size()});
        const std::vector<std::byte> written = mask.ToPng();
        Require(read({reinterpret_cast<const char*>(written.data()), written.size()}) == mask,
                "a mask that is written reads as the same mask");
    }
    catch (const Application::CInputError&)
    {}
}

}  // namespace Fuzzing
