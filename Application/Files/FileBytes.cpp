#include "Application/Files/FileBytes.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "Application/Files/CInputError.h"

namespace Application
{

std::string ReadFileBytes(const std::filesystem::path& file, std::uint64_t maxBytes)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored))
    {
        throw CInputError(file, "expected a file, found a directory");
    }
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
    {
        throw CInputError(file, "cannot be opened: " + std::generic_category().message(errno));
    }
    // Read in blocks up to the limit rather than by the announced size, which pipes do not have.
    std::string content;
    std::array<char, 65536> block{};
    while (stream.read(block.data(), block.size()) || stream.gcount() > 0)
    {
        content.append(block.data(), static_cast<std::size_t>(stream.gcount()));
        if (content.size() > maxBytes)
        {
            throw CInputError(
                file, "expected at most " + std::to_string(maxBytes) + " bytes, found more");
        }
    }
    if (stream.bad())
    {
        throw CInputError(file,
                          "reading failed after " + std::to_string(content.size()) + " bytes");
    }
    return content;
}

}  // namespace Application
