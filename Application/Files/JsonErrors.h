#pragma once

#include <string>
#include <string_view>

namespace Application
{

/// The message of an exception of the JSON parser without the library's own mark in front, such as
/// "[json.exception.parse_error.101] ".
[[nodiscard]] inline std::string DescribeJsonError(std::string_view what)
{
    const std::size_t end = what.starts_with('[') ? what.find("] ") : std::string_view::npos;
    return std::string(end == std::string_view::npos ? what : what.substr(end + 2));
}

}  // namespace Application
