#include "Application/Files/CInputError.h"
#include "Application/View/CMask.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// A PNG picture as the mask of a view of 8 x 8 pixels.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view png(reinterpret_cast<const char*>(data), size);
    try
    {
        static_cast<void>(Application::CMask::FromPng(png, "mask.png", 8, 8));
    }
    catch (const Application::CInputError&)
    {}
    return 0;
}
