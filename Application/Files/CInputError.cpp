#include "Application/Files/CInputError.h"

namespace Application
{

CInputError::CInputError(const std::filesystem::path& file, const std::string& message)
    : std::runtime_error(file.string() + ": " + message)
{}

CInputError CInputError::AtLine(const std::filesystem::path& file, std::uint64_t line,
                                const std::string& message)
{
    return {file, "line " + std::to_string(line) + ": " + message};
}

CInputError CInputError::AtByte(const std::filesystem::path& file, std::uint64_t offset,
                                const std::string& message)
{
    return {file, "byte " + std::to_string(offset) + ": " + message};
}

}  // namespace Application
