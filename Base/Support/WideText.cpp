#include "Base/Support/WideText.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace Base
{

namespace
{

constexpr char32_t c_replacementCharacter = 0xFFFD;

/// Larger widths and precisions count as this one, so that a wrong one cannot exhaust the memory.
constexpr int c_maxFieldSize = 1 << 20;

bool IsScalarValue(char32_t character)
{
    return character <= 0x10FFFF && !(character >= 0xD800 && character <= 0xDFFF);
}

void AppendUtf8(std::string& text, char32_t character)
{
    const auto append = [&](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (character < 0x80)
    {
        append(character);
    }
    else if (character < 0x800)
    {
        append(0xC0 | (character >> 6));
        append(0x80 | (character & 0x3F));
    }
    else if (character < 0x10000)
    {
        append(0xE0 | (character >> 12));
        append(0x80 | ((character >> 6) & 0x3F));
        append(0x80 | (character & 0x3F));
    }
    else
    {
        append(0xF0 | (character >> 18));
        append(0x80 | ((character >> 12) & 0x3F));
        append(0x80 | ((character >> 6) & 0x3F));
        append(0x80 | (character & 0x3F));
    }
}

/// Decodes the character that starts at \p position and moves behind it; behind one byte only where
/// the bytes are not UTF-8.
char32_t DecodeUtf8(std::string_view text, std::size_t& position)
{
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byteAt(position++);
    if (lead < 0x80)
    {
        return lead;
    }
    const std::size_t continuationBytes = (lead >= 0xC2 && lead <= 0xDF)   ? 1
                                          : (lead >= 0xE0 && lead <= 0xEF) ? 2
                                          : (lead >= 0xF0 && lead <= 0xF4) ? 3
                                                                           : 0;
    if (continuationBytes == 0 || text.size() - position < continuationBytes)
    {
        return c_replacementCharacter;
    }
    char32_t character = lead & (0x3FU >> continuationBytes);
    for (std::size_t index = 0; index < continuationBytes; ++index)
    {
        const unsigned char byte = byteAt(position + index);
        if ((byte & 0xC0) != 0x80)
        {
            return c_replacementCharacter;
        }
        character = (character << 6) | (byte & 0x3FU);
    }
    constexpr char32_t smallestOfLength[] = {0, 0x80, 0x800, 0x10000};
    if (character < smallestOfLength[continuationBytes] || !IsScalarValue(character))
    {
        return c_replacementCharacter;
    }
    position += continuationBytes;
    return character;
}

/// One conversion specification of a format, `%-08.3lld` for instance.
struct SConversion
{
    std::string flags;
    int width = 0;
    int precision = -1;
    std::string length;
    wchar_t conversion = L'\0';
};

/// Writes one format with its arguments. The arguments are read through the one va_list, so the
/// order of the calls is the order of the conversions.
class CWideFormatter
{
public:
    CWideFormatter(std::va_list arguments, std::size_t maxLength) : m_maxLength(maxLength)
    {
        va_copy(m_arguments, arguments);
    }
    ~CWideFormatter() { va_end(m_arguments); }
    CWideFormatter(const CWideFormatter&) = delete;
    CWideFormatter& operator=(const CWideFormatter&) = delete;

    std::wstring Format(const wchar_t* format)
    {
        while (*format != L'\0' && m_text.size() < m_maxLength)
        {
            if (*format != L'%')
            {
                m_text.push_back(*format++);
                continue;
            }
            const wchar_t* const start = format++;
            const SConversion conversion = parse(format);
            if (!write(conversion))
            {
                append(std::wstring_view(start, static_cast<std::size_t>(format - start)));
            }
        }
        return std::move(m_text);
    }

private:
    void append(std::wstring_view text)
    {
        m_text.append(text.substr(0, m_maxLength - m_text.size()));
    }

    void appendAscii(std::string_view text)
    {
        text = text.substr(0, m_maxLength - m_text.size());
        m_text.append(text.begin(), text.end());
    }

    /// A width or precision, at most c_maxFieldSize.
    int parseNumber(const wchar_t*& format)
    {
        if (*format == L'*')
        {
            ++format;
            return std::clamp(va_arg(m_arguments, int), -c_maxFieldSize, c_maxFieldSize);
        }
        int number = 0;
        for (; *format >= L'0' && *format <= L'9'; ++format)
        {
            number = std::min(number * 10 + static_cast<int>(*format - L'0'), c_maxFieldSize);
        }
        return number;
    }

    SConversion parse(const wchar_t*& format)
    {
        SConversion conversion;
        for (; *format != L'\0' && std::wcschr(L"-+ #0", *format) != nullptr; ++format)
        {
            conversion.flags.push_back(static_cast<char>(*format));
        }
        conversion.width = parseNumber(format);
        if (conversion.width < 0)
        {
            conversion.flags.push_back('-');
            conversion.width = -conversion.width;
        }
        if (*format == L'.')
        {
            ++format;
            conversion.precision = parseNumber(format);
        }
        if (std::wcsncmp(format, L"I64", 3) == 0 || std::wcsncmp(format, L"I32", 3) == 0)
        {
            conversion.length = format[1] == L'6' ? "ll" : "";
            format += 3;
        }
        else
        {
            for (; *format != L'\0' && std::wcschr(L"hlLjzt", *format) != nullptr; ++format)
            {
                conversion.length.push_back(static_cast<char>(*format));
            }
        }
        if (*format != L'\0')
        {
            conversion.conversion = *format++;
        }
        return conversion;
    }

    bool write(const SConversion& conversion)
    {
        switch (conversion.conversion)
        {
            case L'%':
                append(L"%");
                return true;
            case L'd':
            case L'i':
                writeSigned(conversion);
                return true;
            case L'u':
            case L'o':
            case L'x':
            case L'X':
                writeUnsigned(conversion);
                return true;
            case L'a':
            case L'A':
            case L'e':
            case L'E':
            case L'f':
            case L'F':
            case L'g':
            case L'G':
                writeFloating(conversion);
                return true;
            case L'p':
                writeNumber(conversion, "", va_arg(m_arguments, void*));
                return true;
            case L'n':
                static_cast<void>(va_arg(m_arguments, void*));
                return true;
            case L's':
            case L'S':
                writeString(conversion, isWide(conversion, L's'));
                return true;
            case L'c':
            case L'C':
                writeCharacter(conversion, isWide(conversion, L'c'));
                return true;
            default:
                return false;
        }
    }

    static bool isWide(const SConversion& conversion, wchar_t wideByDefault)
    {
        if (conversion.length == "l")
        {
            return true;
        }
        return conversion.length != "h" && conversion.conversion == wideByDefault;
    }

    template <typename T>
    void writeNumber(const SConversion& conversion, const char* length, T value)
    {
        std::string format = "%";
        format.append(conversion.flags).append("*");
        if (conversion.precision >= 0)
        {
            format.append(".").append(std::to_string(conversion.precision));
        }
        format += length;
        format += static_cast<char>(conversion.conversion);
        const auto print = [&](char* buffer, std::size_t size) {
            return std::snprintf(buffer, size, format.c_str(), conversion.width, value);
        };
        const int printed = print(nullptr, 0);
        std::string text(static_cast<std::size_t>(std::max(printed, 0)), '\0');
        print(text.data(), text.size() + 1);
        appendAscii(text);
    }

    void writeSigned(const SConversion& conversion)
    {
        std::intmax_t value = 0;
        if (conversion.length == "l")
        {  // NOLINT(bugprone-branch-clone): types that are one only on some systems
            value = va_arg(m_arguments, long);
        }
        else if (conversion.length == "ll")
        {
            value = va_arg(m_arguments, long long);
        }
        else if (conversion.length == "j")
        {
            value = va_arg(m_arguments, std::intmax_t);
        }
        else if (conversion.length == "z" || conversion.length == "t")
        {
            value = va_arg(m_arguments, std::ptrdiff_t);
        }
        else
        {
            const int promoted = va_arg(m_arguments, int);
            value = conversion.length == "hh"  ? static_cast<signed char>(promoted)
                    : conversion.length == "h" ? static_cast<short>(promoted)
                                               : promoted;
        }
        writeNumber(conversion, "j", value);
    }

    void writeUnsigned(const SConversion& conversion)
    {
        std::uintmax_t value = 0;
        if (conversion.length == "l")
        {  // NOLINT(bugprone-branch-clone): types that are one only on some systems
            value = va_arg(m_arguments, unsigned long);
        }
        else if (conversion.length == "ll")
        {
            value = va_arg(m_arguments, unsigned long long);
        }
        else if (conversion.length == "j")
        {
            value = va_arg(m_arguments, std::uintmax_t);
        }
        else if (conversion.length == "z" || conversion.length == "t")
        {
            value = va_arg(m_arguments, std::size_t);
        }
        else
        {
            const unsigned promoted = va_arg(m_arguments, unsigned);
            value = conversion.length == "hh"  ? static_cast<unsigned char>(promoted)
                    : conversion.length == "h" ? static_cast<unsigned short>(promoted)
                                               : promoted;
        }
        writeNumber(conversion, "j", value);
    }

    void writeFloating(const SConversion& conversion)
    {
        if (conversion.length == "L")
        {
            writeNumber(conversion, "L", va_arg(m_arguments, long double));
        }
        else
        {
            writeNumber(conversion, "", va_arg(m_arguments, double));
        }
    }

    void writeString(const SConversion& conversion, bool isWideString)
    {
        const auto readable = [&](auto length) {
            return conversion.precision < 0 ? length()
                                            : static_cast<std::size_t>(conversion.precision);
        };
        if (isWideString)
        {
            const auto* text = va_arg(m_arguments, const wchar_t*);
            text = text != nullptr ? text : L"(null)";
            const std::size_t limit = readable([&] { return std::wcslen(text); });
            writePadded(conversion, std::wstring_view(text, wcsnlen(text, limit)));
        }
        else
        {
            const auto* text = va_arg(m_arguments, const char*);
            text = text != nullptr ? text : "(null)";
            const std::size_t limit =
                readable([&] { return std::char_traits<char>::length(text); });
            writePadded(conversion, Utf8ToWide(std::string_view(text, strnlen(text, limit))));
        }
    }

    void writeCharacter(const SConversion& conversion, bool isWideCharacter)
    {
        if (isWideCharacter)
        {
            const auto character = static_cast<wchar_t>(va_arg(m_arguments, std::wint_t));
            writePadded(conversion, std::wstring_view(&character, 1));
        }
        else
        {
            const auto byte = static_cast<char>(va_arg(m_arguments, int));
            writePadded(conversion, Utf8ToWide(std::string_view(&byte, 1)));
        }
    }

    void writePadded(const SConversion& conversion, std::wstring_view text)
    {
        const auto width = static_cast<std::size_t>(conversion.width);
        const std::wstring padding(width > text.size() ? width - text.size() : 0, L' ');
        const bool isLeftAligned = conversion.flags.find('-') != std::string::npos;
        append(isLeftAligned ? text : std::wstring_view(padding));
        append(isLeftAligned ? std::wstring_view(padding) : text);
    }

    std::va_list m_arguments;
    std::size_t m_maxLength;
    std::wstring m_text;
};

}  // namespace

std::string WideToUtf8(std::wstring_view text)
{
    std::string utf8;
    utf8.reserve(text.size());
    for (const wchar_t wide : text)
    {
        const auto character = static_cast<char32_t>(wide);
        AppendUtf8(utf8, IsScalarValue(character) ? character : c_replacementCharacter);
    }
    return utf8;
}

std::wstring Utf8ToWide(std::string_view text)
{
    std::wstring wide;
    wide.reserve(text.size());
    for (std::size_t position = 0; position < text.size();)
    {
        wide.push_back(static_cast<wchar_t>(DecodeUtf8(text, position)));
    }
    return wide;
}

std::wstring FormatWideText(const wchar_t* format, std::va_list arguments, std::size_t maxLength)
{
    return CWideFormatter(arguments, maxLength).Format(format);
}

}  // namespace Base
