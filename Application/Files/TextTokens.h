#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Application
{

/// The bytes as text.
[[nodiscard]] inline std::string_view AsText(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// \p text without the byte order mark that some editors put in front.
[[nodiscard]] inline std::string_view WithoutByteOrderMark(std::string_view text)
{
    return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text;
}

/// Space, tab and the other characters that only separate, line ends included.
[[nodiscard]] constexpr bool IsBlank(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

/// Takes the first word off \p rest; empty when there is none.
[[nodiscard]] inline std::string_view TakeToken(std::string_view& rest)
{
    std::size_t begin = 0;
    while (begin < rest.size() && IsBlank(rest[begin]))
    {
        ++begin;
    }
    std::size_t end = begin;
    while (end < rest.size() && !IsBlank(rest[end]))
    {
        ++end;
    }
    const std::string_view token = rest.substr(begin, end - begin);
    rest.remove_prefix(end);
    return token;
}

/// True when nothing but separators is left.
[[nodiscard]] inline bool IsBlankText(std::string_view text)
{
    return TakeToken(text).empty();
}

/// The number that all of \p token spells, whatever the locale; a leading "+", "nan" and "inf" are
/// numbers, and one beyond the range of double is an infinity or 0.
[[nodiscard]] std::optional<double> ParseReal(std::string_view token);

/// The whole number that all of \p token spells, when 64 bits hold it.
[[nodiscard]] std::optional<std::int64_t> ParseInteger(std::string_view token);

/// How many bytes the control character takes that \p text begins with: 1 in ASCII, 2 for U+0080 to
/// U+009F in UTF-8, which terminals obey as well; 0 where it begins with none.
[[nodiscard]] std::size_t MeasureControlCharacter(std::string_view text);

/// A piece of input for a message: in single quotes, shortened, without control characters; "the
/// end of the line" when empty.
[[nodiscard]] std::string Quote(std::string_view text);

}  // namespace Application
