#include "Application/Files/CInputError.h"
#include "Application/Scans/CFlagFile.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// A flag file for as many points as its length allows.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t headerSize = 32;
    const std::uint64_t pointCount = size < headerSize ? 0 : (size - headerSize) / 2;
    try
    {
        static_cast<void>(Application::CFlagFile::Parse(
            "scan.flags", std::as_bytes(std::span(data, size)), pointCount));
    }
    catch (const Application::CInputError&)
    {}
    return 0;
}
