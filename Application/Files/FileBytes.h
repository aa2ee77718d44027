#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace Application
{

/// The whole content of \p file.
/// @throw CInputError when it is missing, not a file that can be read, or longer than \p maxBytes.
[[nodiscard]] std::string ReadFileBytes(const std::filesystem::path& file, std::uint64_t maxBytes);

}  // namespace Application
