#include <string>

#include "Application/Files/CInputError.h"
#include "Application/Scans/CFlagFile.h"
#include "Fuzz/Support/CScratchFolder.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

constexpr std::size_t c_headerSize = 32;
constexpr std::size_t c_checksumOffset = 24;
constexpr std::uint64_t c_offsetBasis = 14695981039346656037U;
constexpr std::uint64_t c_prime = 1099511628211U;

/// Makes the checksum right, which no change of bytes would find.
void SetChecksum(std::vector<std::uint8_t>& file)
{
    std::uint64_t checksum = c_offsetBasis + (file.size() - c_headerSize) / 2;
    for (std::size_t index = c_headerSize; index + 1 < file.size(); index += 2)
    {
        checksum = (checksum ^ (file[index] | std::uint64_t{file[index + 1]} << 8U)) * c_prime;
    }
    for (std::size_t byte = 0; byte < 8; ++byte)
    {
        file[c_checksumOffset + byte] = static_cast<std::uint8_t>(checksum >> 8 * byte);
    }
}

}  // namespace

/// A flag file for as many points as its length allows: as it is, and with the checksum that its
/// words should have. One that is accepted is what would be written.
void TestInput(std::span<const std::uint8_t> input)
{
    std::vector<std::uint8_t> file(input.begin(), input.end());
    const std::uint64_t numPoints =
        file.size() < c_headerSize ? 0 : (file.size() - c_headerSize) / 2;
    for (const bool isMended : {false, true})
    {
        if (isMended && file.size() >= c_headerSize)
        {
            SetChecksum(file);
        }
        try
        {
            const auto flags = Application::CFlagFile::Parse(
                "scan.flags", std::as_bytes(std::span(file)), numPoints);
            const CScratchFolder folder;
            Application::CFlagFile::Write(folder / "scan.flags", flags, true);
            Require(ReadFile(folder / "scan.flags") == std::string(file.begin(), file.end()),
                    "flags that are written are the file that they were read from");
        }
        catch (const Application::CInputError&)
        {}
    }
}

}  // namespace Fuzzing
