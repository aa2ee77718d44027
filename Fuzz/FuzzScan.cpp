#include "Application/Files/CInputError.h"
#include "Application/Scans/CScanFile.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

/// A scan of any format: the first byte chooses the file's name, the others are the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    constexpr const char* names[] = {"scan.ply", "scan.obj", "scan.stl", "scan.xyz"};
    const auto bytes = std::as_bytes(std::span(data + 1, size - 1));
    try
    {
        const auto scan =
            Application::CScanFile::Parse({names[data[0] % std::size(names)], bytes, nullptr});
        static_cast<void>(scan.GetTriangulation());
        static_cast<void>(scan.Describe());
        static_cast<void>(scan.GetSurfelCollection()->GetAllPositions());
    }
    catch (const Application::CInputError&)
    {}
    return 0;
}
