#include "Application/Files/TextTokens.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace Application
{

namespace
{

constexpr std::size_t c_longestQuote = 40;

[[nodiscard]] std::string_view withoutPlus(std::string_view token)
{
    const bool isSigned = token.size() > 1 && token[0] == '+' && token[1] != '-';
    return isSigned ? token.substr(1) : token;
}

/// A number outside the range of double: 0 when its exponent is negative, else an infinity.
[[nodiscard]] double saturate(std::string_view token)
{
    const bool isNegative = token.front() == '-';
    const std::size_t exponent = token.find_first_of("eE");
    bool isTiny = exponent != std::string_view::npos && exponent + 1 < token.size() &&
                  token[exponent + 1] == '-';
    if (exponent == std::string_view::npos)
    {
        const std::size_t first = token.find_first_of("123456789.");
        isTiny = first != std::string_view::npos && token[first] == '.';
    }
    const double magnitude = isTiny ? 0.0 : std::numeric_limits<double>::infinity();
    return isNegative ? -magnitude : magnitude;
}

}  // namespace

std::optional<double> ParseReal(std::string_view token)
{
    token = withoutPlus(token);
    double value = 0.0;
    const char* const end = token.data() + token.size();
    const auto result = std::from_chars(token.data(), end, value);
    if (result.ptr != end || token.empty())
    {
        return std::nullopt;
    }
    if (result.ec == std::errc::result_out_of_range)
    {
        return saturate(token);
    }
    return result.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<std::int64_t> ParseInteger(std::string_view token)
{
    token = withoutPlus(token);
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
    for (std::string_view rest = text.substr(0, c_longestQuote); !rest.empty();)
    {
        const std::size_t length = MeasureControlCharacter(rest);
        quoted += length > 0 ? '?' : rest.front();
        rest.remove_prefix(length > 0 ? length : 1);
    }
    return quoted + (text.size() > c_longestQuote ? "...'" : "'");
}

}  // namespace Application
