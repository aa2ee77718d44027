#include "Application/Files/TextTokens.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace Application
{

namespace
{

constexpr std::size_t c_longestQuote = 40;

[[nodiscard]] std::string_view WithoutPlus(std::string_view token)
{
    const bool isSigned = token.size() > 1 && token[0] == '+' && token[1] != '-';
    return isSigned ? token.substr(1) : token;
}

/// As much of \p text as is shown. It ends between two characters of UTF-8, which have at most
/// three bytes behind their first.
[[nodiscard]] std::string_view Shorten(std::string_view text)
{
    const auto continuesCharacter = [&](std::size_t index) {
        return (static_cast<unsigned char>(text[index]) & 0xC0) == 0x80;
    };
    std::size_t length = std::min(text.size(), c_longestQuote);
    while (length < text.size() && length > c_longestQuote - 3 && continuesCharacter(length))
    {
        --length;
    }
    return text.substr(0, length);
}

/// A number outside the range of double: 0 when its first digit but zeros stands behind the point,
/// moved by the exponent, else an infinity.
[[nodiscard]] double Saturate(std::string_view token)
{
    const std::size_t end = token.find_first_of("eE");
    const std::string_view digits = token.substr(0, end);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<std::int64_t>(digits.find_first_of("123456789"));
    const std::int64_t power = first < point ? point - first - 1 : point - first;
    std::int64_t exponent = 0;
    if (end != std::string_view::npos)
    {
        using Limits = std::numeric_limits<std::int64_t>;
        exponent = ParseInteger(token.substr(end + 1))
                       .value_or(token[end + 1] == '-' ? Limits::min() : Limits::max());
    }
    const double magnitude = exponent < -power ? 0.0 : std::numeric_limits<double>::infinity();
    return token.front() == '-' ? -magnitude : magnitude;
}

}  // namespace

std::optional<double> ParseReal(std::string_view token)
{
    token = WithoutPlus(token);
    double value = 0.0;
    const char* const end = token.data() + token.size();
    const auto result = std::from_chars(token.data(), end, value);
    if (result.ptr != end || token.empty())
    {
        return std::nullopt;
    }
    if (result.ec == std::errc::result_out_of_range)
    {
        return Saturate(token);
    }
    return result.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<std::int64_t> ParseInteger(std::string_view token)
{
    token = WithoutPlus(token);
    std::int64_t value = 0;
    const char* const end = token.data() + token.size();
    const auto result = std::from_chars(token.data(), end, value);
    const bool isWhole = result.ec == std::errc() && result.ptr == end && !token.empty();
    return isWhole ? std::optional(value) : std::nullopt;
}

std::size_t MeasureControlCharacter(std::string_view text)
{
    const auto at = [&](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0x20;
    };
    if (at(0) < 0x20 || at(0) == 0x7F)
    {
        return 1;
    }
    return at(0) == 0xC2 && at(1) >= 0x80 && at(1) <= 0x9F ? 2 : 0;
}

std::string Quote(std::string_view text)
{
    if (text.empty())
    {
        return "the end of the line";
    }
    std::string quoted = "'";
    const std::string_view shown = Shorten(text);
    for (std::size_t index = 0; index < shown.size();)
    {
        const std::size_t length = MeasureControlCharacter(shown.substr(index));
        quoted += length > 0 ? '?' : shown[index];
        index += length > 0 ? length : 1;
    }
    return quoted + (shown.size() < text.size() ? "...'" : "'");
}

}  // namespace Application
