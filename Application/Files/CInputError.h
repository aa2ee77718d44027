#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace Application
{

/// An input that cannot be read: missing, not a file, or not what its format demands.
///
/// The message names the file, the place in it, what was expected and what was found.
class CInputError : public std::runtime_error
{
public:
    /// "FILE: MESSAGE"
    CInputError(const std::filesystem::path& file, const std::string& message);

    /// "FILE: line LINE: MESSAGE"; lines count from 1.
    [[nodiscard]] static CInputError AtLine(const std::filesystem::path& file, std::uint64_t line,
                                            const std::string& message);

    /// "FILE: byte OFFSET: MESSAGE"; bytes count from 0.
    [[nodiscard]] static CInputError AtByte(const std::filesystem::path& file, std::uint64_t offset,
                                            const std::string& message);
};

}  // namespace Application
