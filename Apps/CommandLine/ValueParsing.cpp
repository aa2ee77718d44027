#include "Apps/CommandLine/ValueParsing.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "Application/View/ViewLimits.h"
#include "Apps/CommandLine/CUsageError.h"

namespace CommandLine
{

namespace
{

[[noreturn]] void ThrowUnexpected(const std::string& option, std::string_view text,
                                  const std::string& expected)
{
    throw CUsageError(option + ": expected " + expected + ", found '" + std::string(text) + "'");
}

/// The whole of \p text as a number of type T, or nothing.
template <typename T>
std::optional<T> ToNumber(std::string_view text)
{
    T value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end)
    {
        return std::nullopt;
    }
    return value;
}

std::optional<double> ToFiniteNumber(std::string_view text)
{
    const auto value = ToNumber<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

}  // namespace

double ParseNumber(const std::string& option, std::string_view text)
{
    const auto value = ToFiniteNumber(text);
    if (!value)
    {
        ThrowUnexpected(option, text, "a number");
    }
    return *value;
}

double ParsePositiveNumber(const std::string& option, std::string_view text)
{
    const auto value = ToFiniteNumber(text);
    if (!value || !(*value > 0))
    {
        ThrowUnexpected(option, text, "a number above 0");
    }
    return *value;
}

std::uint64_t ParseCount(const std::string& option, std::string_view text)
{
    const auto value = ToNumber<std::uint64_t>(text);
    if (!value)
    {
        ThrowUnexpected(option, text, "a whole number from 0 to 18446744073709551615");
    }
    return *value;
}

template <std::size_t Count>
std::array<double, Count> ParseNumbers(const std::string& option, std::string_view text)
{
    std::array<double, Count> values{};
    std::string_view rest = text;
    for (std::size_t index = 0; index < Count; ++index)
    {
        const bool isLast = index + 1 == Count;
        const std::size_t length = isLast ? rest.size() : rest.find(',');
        const auto value = length == std::string_view::npos
                               ? std::nullopt
                               : ToFiniteNumber(rest.substr(0, length));
        if (!value)
        {
            ThrowUnexpected(option, text,
                            std::to_string(Count) + " numbers separated by commas and no blanks");
        }
        values[index] = *value;
        rest.remove_prefix(isLast ? length : length + 1);
    }
    return values;
}

template std::array<double, 2> ParseNumbers<2>(const std::string&, std::string_view);
template std::array<double, 3> ParseNumbers<3>(const std::string&, std::string_view);
template std::array<double, 4> ParseNumbers<4>(const std::string&, std::string_view);
template std::array<double, 6> ParseNumbers<6>(const std::string&, std::string_view);

SPictureSize ParseSize(const std::string& option, std::string_view text)
{
    const std::size_t cross = text.find('x');
    if (cross != std::string_view::npos)
    {
        const auto width = ToNumber<std::uint32_t>(text.substr(0, cross));
        const auto height = ToNumber<std::uint32_t>(text.substr(cross + 1));
        if (width && height && *width >= 1 && *width <= Application::c_maxViewSide &&
            *height >= 1 && *height <= Application::c_maxViewSide)
        {
            return {*width, *height};
        }
    }
    ThrowUnexpected(
        option, text,
        "WIDTHxHEIGHT in pixels, each 1 to " + std::to_string(Application::c_maxViewSide));
}

}  // namespace CommandLine
