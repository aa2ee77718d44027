#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/Support/CLogger.h"
#include "Base/Support/VekoException.h"
#include "Fuzz/Support/CInputBytes.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

constexpr std::size_t c_mostCharacters = 8191;
constexpr int c_largestField = 1 << 20;
constexpr std::size_t c_mostArguments = 3;
/// A message is copied several times here, in characters of four bytes each.
constexpr std::size_t c_longestFormat = 1 << 16;

enum class EKind
{
    Int,
    Long,
    LongLong,
    Double,
    LongDouble,
    Pointer,
    Wide,
    Narrow,
    Count,
};

/// One argument, of its kind.
struct SArgument
{
    EKind kind = EKind::Int;
    long long integer = 0;
    double real = 0.0;
    std::wstring wide;
    std::string narrow;
    bool isNull = false;
};

/// A format with its arguments, and the text that it has to give.
struct SCall
{
    std::wstring format;
    std::vector<SArgument> arguments;
    std::wstring expected;
    /// Whether a field is wider than a thrown message is long.
    bool hasLargeField = false;
};

constexpr char c_file[] = "File";
constexpr char c_function[] = "Function";
constexpr int c_line = 7;

/// Calls \p call with the arguments \p first to the last, each as the type that its format reads.
template <typename Call, typename... Arguments>
void PassArguments(const Call& call, const std::vector<SArgument>& arguments, Arguments... passed)
{
    if (sizeof...(passed) == arguments.size())
    {
        call(passed...);
        return;
    }
    if constexpr (sizeof...(passed) < c_mostArguments)
    {
        const SArgument& argument = arguments[sizeof...(passed)];
        const auto pass = [&](auto value) { PassArguments(call, arguments, passed..., value); };
        switch (argument.kind)
        {
            case EKind::Int:
                return pass(static_cast<int>(argument.integer));
            case EKind::Long:
                return pass(static_cast<long>(argument.integer));
            case EKind::LongLong:
                return pass(argument.integer);
            case EKind::Double:
                return pass(argument.real);
            case EKind::LongDouble:
                return pass(static_cast<long double>(argument.real));
            case EKind::Pointer:
                return pass(static_cast<void*>(nullptr));
            case EKind::Wide:
                return pass(argument.isNull ? nullptr : argument.wide.c_str());
            default:
                return pass(argument.isNull ? nullptr : argument.narrow.c_str());
        }
    }
}

/// A conversion as it is written, and how its value is printed by the C library.
class CConversion
{
public:
    CConversion(CInputBytes& bytes, SCall& call) : m_bytes(bytes), m_call(call)
    {
        takeFlags();
        m_width = takeNumber();
        if (m_width < 0)
        {
            m_flags += '-';
            m_width = -m_width;
        }
        if (bytes.TakeBelow(3) == 0)
        {
            m_text += '.';
            m_precision = takeNumber();
        }
        call.hasLargeField = call.hasLargeField ||
                             std::max(m_width, m_precision) > static_cast<int>(c_mostCharacters);
        write();
    }

private:
    /// Room for the numbers of * and for the value.
    [[nodiscard]] bool hasRoomFor(std::size_t number) const
    {
        return m_call.arguments.size() + number <= c_mostArguments;
    }

    void takeFlags()
    {
        m_text = "%";
        for (std::uint32_t count = m_bytes.TakeBelow(3); count > 0; --count)
        {
            constexpr std::string_view c_flags = "-+ #0";
            m_flags += c_flags[m_bytes.TakeBelow(c_flags.size())];
        }
        m_text += m_flags;
    }

    /// A width or a precision.
    int takeNumber()
    {
        std::int32_t number = 0;
        switch (m_bytes.TakeBelow(5))
        {
            case 0:
                number = m_bytes.Take<std::uint8_t>();
                break;
            case 1:
                number = m_bytes.Take<std::uint16_t>() % 16384;
                break;
            case 2:
                if (hasRoomFor(2))
                {
                    number = m_bytes.Take<std::int32_t>();
                    m_call.arguments.push_back({EKind::Int, number, 0.0, {}, {}, false});
                    m_text += '*';
                }
                return std::clamp(number, -c_largestField, c_largestField);
            case 3:
                // Seldom, since it takes long.
                if (m_bytes.TakeBelow(64) == 63)
                {
                    m_text += m_bytes.TakeBelow(2) == 0 ? "99999999999999999999" : "1048577";
                    return c_largestField;
                }
                break;
            default:
                break;
        }
        // Written with a 0 in front it would be a flag.
        m_text += number == 0 ? "" : std::to_string(number);
        return number;
    }

    void write()
    {
        const std::uint32_t kind = m_bytes.TakeBelow(8);
        if (kind == 0)
        {
            finish("%", L"%");
        }
        else if (kind == 1 || !hasRoomFor(1))
        {
            // No conversion: it is copied as it stands.
            const std::string_view c_others = "yQ!,";
            const std::string text(1, c_others[m_bytes.TakeBelow(c_others.size())]);
            const std::string whole = m_text + text;
            finish(text, std::wstring(whole.begin(), whole.end()));
        }
        else if (kind == 2)
        {
            writeReal();
        }
        else if (kind == 3)
        {
            m_call.arguments.push_back({EKind::Pointer, 0, 0.0, {}, {}, false});
            const bool isPrinted = m_bytes.TakeBelow(2) == 0;
            finish(isPrinted ? "p" : "n",
                   isPrinted ? print("", 'p', static_cast<void*>(nullptr)) : L"");
        }
        else if (kind == 4)
        {
            writeString();
        }
        else
        {
            writeInteger();
        }
    }

    void finish(const std::string& text, std::wstring_view expected)
    {
        m_text += text;
        m_call.format.append(m_text.begin(), m_text.end());
        m_call.expected += expected;
    }

    template <typename T>
    [[nodiscard]] std::wstring print(const char* length, char conversion, T value) const
    {
        std::string format = "%" + m_flags + "*";
        if (m_precision >= 0)
        {
            format += "." + std::to_string(m_precision);
        }
        format += length;
        format += conversion;
        const int size = std::snprintf(nullptr, 0, format.c_str(), m_width, value);
        std::string text(static_cast<std::size_t>(std::max(size, 0)), '\0');
        std::snprintf(text.data(), text.size() + 1, format.c_str(), m_width, value);
        text.resize(std::min(text.size(), c_mostCharacters));
        return {text.begin(), text.end()};
    }

    void writeReal()
    {
        constexpr std::string_view c_conversions = "aAeEfFgG";
        const char conversion = c_conversions[m_bytes.TakeBelow(c_conversions.size())];
        const bool isLong = m_bytes.TakeBelow(2) == 1;
        const auto value = m_bytes.Take<double>();
        m_call.arguments.push_back(
            {isLong ? EKind::LongDouble : EKind::Double, 0, value, {}, {}, false});
        finish(std::string(isLong ? "L" : "") + conversion,
               isLong ? print("L", conversion, static_cast<long double>(value))
                      : print("", conversion, value));
    }

    void writeInteger()
    {
        struct SLength
        {
            std::string_view text;
            EKind kind;
            /// As the C library writes it.
            const char* printed;
        };
        static constexpr SLength c_lengths[] = {
            {"", EKind::Int, ""},           {"hh", EKind::Int, "hh"}, {"h", EKind::Int, "h"},
            {"I32", EKind::Int, ""},        {"l", EKind::Long, "l"},  {"j", EKind::Long, "l"},
            {"z", EKind::Long, "l"},        {"t", EKind::Long, "l"},  {"ll", EKind::LongLong, "ll"},
            {"I64", EKind::LongLong, "ll"},
        };
        constexpr std::string_view c_conversions = "diuoxX";
        const char conversion = c_conversions[m_bytes.TakeBelow(c_conversions.size())];
        const SLength& length = c_lengths[m_bytes.TakeBelow(std::size(c_lengths))];
        const auto value = m_bytes.Take<long long>();
        m_call.arguments.push_back({length.kind, value, 0.0, {}, {}, false});
        const std::string text = std::string(length.text) + conversion;
        switch (length.kind)
        {
            case EKind::Int:
                return finish(text, print(length.printed, conversion, static_cast<int>(value)));
            case EKind::Long:
                return finish(text, print(length.printed, conversion, static_cast<long>(value)));
            default:
                return finish(text, print(length.printed, conversion, value));
        }
    }

    void writeString()
    {
        const bool isCharacter = m_bytes.TakeBelow(4) == 0;
        const bool isWide = m_bytes.TakeBelow(2) == 0;
        SArgument argument;
        std::wstring value;
        // Plain characters, so that narrow ones are as many as wide ones.
        for (const std::uint8_t byte : m_bytes.TakeBytes(isCharacter ? 1 : m_bytes.TakeBelow(40)))
        {
            value += static_cast<wchar_t>(byte % 127 + 1);
        }
        if (isCharacter)
        {
            value.resize(1, L'c');
            argument.kind = EKind::Int;
            argument.integer = value[0];
        }
        else
        {
            argument.kind = isWide ? EKind::Wide : EKind::Narrow;
            argument.isNull = m_bytes.TakeBelow(8) == 0;
            argument.wide = value;
            argument.narrow.assign(value.begin(), value.end());
            value = argument.isNull ? L"(null)" : value;
            if (m_precision >= 0)
            {
                value.resize(std::min(value.size(), static_cast<std::size_t>(m_precision)));
            }
        }
        m_call.arguments.push_back(argument);
        const int missing = m_width - static_cast<int>(value.size());
        const std::wstring padding(
            static_cast<std::size_t>(std::clamp(missing, 0, static_cast<int>(c_mostCharacters))),
            L' ');
        const bool isLeft = m_flags.find('-') != std::string::npos;
        const std::string letter = isCharacter ? "c" : "s";
        const std::string upper = isCharacter ? "C" : "S";
        const std::string wideTexts[] = {letter, "l" + letter};
        const std::string narrowTexts[] = {upper, "h" + letter};
        const std::uint32_t form = m_bytes.TakeBelow(2);
        finish(isWide ? wideTexts[form] : narrowTexts[form],
               isLeft ? value + padding : padding + value);
    }

    CInputBytes& m_bytes;
    SCall& m_call;
    std::string m_text;
    std::string m_flags;
    int m_width = 0;
    int m_precision = -1;
};

SCall TakeCall(CInputBytes& bytes)
{
    SCall call;
    while (!bytes.IsAtEnd() && call.format.size() < c_longestFormat)
    {
        const std::uint32_t kind = bytes.TakeBelow(4);
        if (kind == 0)
        {
            CConversion(bytes, call);
            continue;
        }
        for (const std::uint8_t byte : bytes.TakeBytes(bytes.TakeBelow(kind == 1 ? 250 : 12)))
        {
            // Anything but the end and what begins a conversion.
            const auto character = static_cast<wchar_t>(kind == 3 ? byte * 0x1101U : byte);
            const bool isText = character != L'\0' && character != L'%';
            call.format += isText ? character : L'x';
            call.expected += isText ? character : L'x';
        }
    }
    return call;
}

void AppendUtf8(std::string& text, char32_t character)
{
    const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
    const bool isScalar = character < 0xD800 || (character > 0xDFFF && character <= 0x10FFFF);
    const char32_t value = isScalar ? character : 0xFFFD;
    if (value < 0x80)
    {
        append(value);
        return;
    }
    const int numMore = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    constexpr char32_t c_leads[] = {0, 0xC0, 0xE0, 0xF0};
    append(c_leads[numMore] | value >> 6 * numMore);
    for (int more = numMore - 1; more >= 0; --more)
    {
        append(0x80 | (value >> 6 * more & 0x3F));
    }
}

void TestThrow(const SCall& call)
{
    // The limit holds only for what is formatted.
    const bool isFormatted = call.format.find(L'%') != std::wstring::npos;
    const std::wstring expected =
        isFormatted ? call.expected.substr(0, c_mostCharacters) : call.format;
    try
    {
        PassArguments(
            [&](auto... arguments) {
                ThrowVekoException(c_file, c_line, c_function, call.format.c_str(), arguments...);
            },
            call.arguments);
    }
    catch (const VekoException& exception)
    {
        Require(exception.GetMessageText() == expected, "a message is the formatted text");
        std::string narrow;
        for (const wchar_t character : expected)
        {
            AppendUtf8(narrow, static_cast<char32_t>(character));
        }
        Require(exception.what() == (narrow.empty() ? "Unknown exception" : narrow),
                "what() is the message in UTF-8");
        const auto clone = exception.Clone();
        Require(exception.GetFilename() == c_file && clone->GetFilename() == c_file &&
                    exception.GetFunctionName() == c_function &&
                    exception.GetCodeLine() == static_cast<unsigned>(c_line) &&
                    clone->GetCodeLine() == exception.GetCodeLine(),
                "an exception says where it comes from");
        return;
    }
    Fail("the throw routine throws");
}

void TestLog(const SCall& call)
{
    std::wstring logged;
    Logging::SetLogSink([&](const Logging::SLogRecord& record) { logged = record.message; });
    static const Logging::CLogger logger(L"Fuzz");
    PassArguments(
        [&](auto... arguments) {
            logger.Warn(c_file, c_line, c_function, call.format.c_str(), arguments...);
        },
        call.arguments);
    Logging::SetLogSink({});
    const std::size_t size = std::min(logged.size(), c_mostCharacters);
    Require(logged.substr(0, size) == call.expected.substr(0, size) &&
                (size == c_mostCharacters || size == call.expected.size()),
            "a logged message is the formatted text");
}

}  // namespace

/// A wide format of any text and conversions, with arguments of the types that it reads, thrown and
/// logged.
void TestInput(std::span<const std::uint8_t> input)
{
    CInputBytes bytes(input);
    const SCall call = TakeCall(bytes);
    TestThrow(call);
    // Log messages have no limit.
    if (!call.hasLargeField)
    {
        TestLog(call);
    }
}

}  // namespace Fuzzing
