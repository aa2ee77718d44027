#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace CommandLine
{

/// Width and height of a picture in pixels.
struct SPictureSize
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// The value of \p option as a finite number.
/// @throw CUsageError that names \p option and quotes \p text; so do the other operations.
[[nodiscard]] double ParseNumber(const std::string& option, std::string_view text);

/// The value of \p option as a number above 0.
[[nodiscard]] double ParsePositiveNumber(const std::string& option, std::string_view text);

/// A whole number that is not negative and fits 64 bits.
[[nodiscard]] std::uint64_t ParseCount(const std::string& option, std::string_view text);

/// \p Count finite numbers separated by commas, like "3,4.5" for two.
template <std::size_t Count>
[[nodiscard]] std::array<double, Count> ParseNumbers(const std::string& option,
                                                     std::string_view text);

extern template std::array<double, 2> ParseNumbers<2>(const std::string&, std::string_view);
extern template std::array<double, 3> ParseNumbers<3>(const std::string&, std::string_view);
extern template std::array<double, 4> ParseNumbers<4>(const std::string&, std::string_view);
extern template std::array<double, 6> ParseNumbers<6>(const std::string&, std::string_view);

/// A size "WIDTHxHEIGHT", each of 1 to Application::c_maxViewSide pixels.
[[nodiscard]] SPictureSize ParseSize(const std::string& option, std::string_view text);

}  // namespace CommandLine
