#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace Application
{

/// The names of what is in a folder, in no order; \p error tells whether some of them could not be
/// read. The standard library's iterator ends the program where there is no memory for a name; this
/// throws.
[[nodiscard]] std::vector<std::string> ListNames(const std::filesystem::path& folder,
                                                 std::error_code& error);

}  // namespace Application
