#include "Base/Support/WideText.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <ostream>
#include <string>

namespace
{

std::wstring FormatAtMost(std::size_t maxLength, const wchar_t* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::wstring text = Base::FormatWideText(format, arguments, maxLength);
    va_end(arguments);
    return text;
}

template <typename... Arguments>
std::wstring Format(const wchar_t* format, Arguments... arguments)
{
    return FormatAtMost(100'000, format, arguments...);
}

/// Compares a conversion with what the C library's narrow printf makes of the same one.
template <typename... Arguments>
void ExpectAsTheCLibrary(const std::string& format, Arguments... arguments)
{
    char narrow[2000];
    const int length = std::snprintf(narrow, sizeof narrow, format.c_str(), arguments...);
    ASSERT_GE(length, 0) << format;
    const std::wstring wideFormat(format.begin(), format.end());
    EXPECT_EQ(Format(wideFormat.c_str(), arguments...), Base::Utf8ToWide(narrow)) << format;
}

const char* const c_flagSets[] = {"",   "-",  "+",  " ",  "#",  "0",
                                  "-+", "+0", " 0", "-#", "#0", "+-0 #"};
const char* const c_widths[] = {"", "1", "4", "12", "40"};
const char* const c_precisions[] = {"", ".", ".0", ".1", ".5", ".17"};

/// Every combination of flags, width and precision before the given length and conversion.
template <typename T>
void ExpectAllFormsAsTheCLibrary(const std::string& lengthAndConversion,
                                 std::initializer_list<T> values)
{
    for (const std::string flags : c_flagSets)
    {
        for (const std::string width : c_widths)
        {
            for (const std::string precision : c_precisions)
            {
                for (const T value : values)
                {
                    ExpectAsTheCLibrary(
                        "<%" + flags + width + precision + lengthAndConversion + ">", value);
                }
            }
        }
    }
}

TEST(FormatWideText, SignedIntegers_AreAsTheCLibraryWritesThem)
{
    for (const std::string conversion : {"d", "i"})
    {
        ExpectAllFormsAsTheCLibrary<int>(conversion, {0, 1, -1, 4711, INT_MAX, INT_MIN});
        ExpectAllFormsAsTheCLibrary<int>("hh" + conversion, {0, 127, 128, -129, 1000});
        ExpectAllFormsAsTheCLibrary<int>("h" + conversion, {0, 32767, 32768, -32769, 100'000});
        ExpectAllFormsAsTheCLibrary<long>("l" + conversion, {0, -1, LONG_MAX, LONG_MIN});
        ExpectAllFormsAsTheCLibrary<long long>("ll" + conversion, {0, -1, LLONG_MAX, LLONG_MIN});
        ExpectAllFormsAsTheCLibrary<std::intmax_t>("j" + conversion, {0, -1, INTMAX_MIN});
        ExpectAllFormsAsTheCLibrary<std::ptrdiff_t>("t" + conversion, {0, -1, PTRDIFF_MIN});
        ExpectAllFormsAsTheCLibrary<std::ptrdiff_t>("z" + conversion, {0, -1, PTRDIFF_MAX});
    }
}

TEST(FormatWideText, UnsignedIntegers_AreAsTheCLibraryWritesThem)
{
    for (const std::string conversion : {"u", "o", "x", "X"})
    {
        ExpectAllFormsAsTheCLibrary<unsigned>(conversion, {0U, 1U, 4711U, UINT_MAX});
        ExpectAllFormsAsTheCLibrary<unsigned>("hh" + conversion, {0U, 255U, 256U, 70'000U});
        ExpectAllFormsAsTheCLibrary<unsigned>("h" + conversion, {0U, 65'535U, 65'536U});
        ExpectAllFormsAsTheCLibrary<unsigned long>("l" + conversion, {0UL, ULONG_MAX});
        ExpectAllFormsAsTheCLibrary<unsigned long long>("ll" + conversion, {0ULL, ULLONG_MAX});
        ExpectAllFormsAsTheCLibrary<std::uintmax_t>("j" + conversion, {0U, UINTMAX_MAX});
        ExpectAllFormsAsTheCLibrary<std::size_t>("z" + conversion, {0U, SIZE_MAX});
        ExpectAllFormsAsTheCLibrary<std::size_t>("t" + conversion, {0U, SIZE_MAX});
    }
}

TEST(FormatWideText, FloatingPoint_IsAsTheCLibraryWritesIt)
{
    const double infinity = std::numeric_limits<double>::infinity();
    for (const std::string conversion : {"a", "A", "e", "E", "f", "F", "g", "G"})
    {
        ExpectAllFormsAsTheCLibrary<double>(
            conversion, {0.0, -0.0, 1.0, -2.5, 1.0 / 3.0, 9.995, 1e-300, 1e20, 123456789.0, DBL_MAX,
                         infinity, -infinity, std::nan("")});
        ExpectAllFormsAsTheCLibrary<double>("l" + conversion, {0.1, -1e10});
        ExpectAllFormsAsTheCLibrary<long double>("L" + conversion, {0.1L, -1e10L, 1e300L});
    }
}

TEST(FormatWideText, Pointers_AreAsTheCLibraryWritesThem)
{
    int place = 0;
    ExpectAsTheCLibrary("%p", static_cast<void*>(&place));
    ExpectAsTheCLibrary("%30p|%-30p|", static_cast<void*>(&place), static_cast<void*>(nullptr));
}

TEST(FormatWideText, WidthAndPrecisionFromArguments_AreAsTheCLibraryTakesThem)
{
    ExpectAsTheCLibrary("%*d|%-*d|%*d|", 6, 42, 6, 42, -6, 42);
    ExpectAsTheCLibrary("%.*f|%.*f|%*.*f|", 3, 1.23456, -1, 1.23456, 12, 2, 1.23456);
}

TEST(FormatWideText, FixedSizeLengths_AreUnderstood)
{
    EXPECT_EQ(Format(L"%I64d %I64u", std::int64_t{INT64_MIN}, std::uint64_t{UINT64_MAX}),
              L"-9223372036854775808 18446744073709551615");
    EXPECT_EQ(Format(L"%I32d %I32x", std::int32_t{INT32_MIN}, std::uint32_t{0xABCD}),
              L"-2147483648 abcd");
}

TEST(FormatWideText, Strings_AreWideUnlessTheFormatSaysNarrow)
{
    EXPECT_EQ(Format(L"%s|%ls|%S|%hs|%hS|%lS", L"\u00E4", L"\u00F6", "\xC3\xBC", "\xE2\x82\xAC",
                     "x", L"y"),
              L"\u00E4|\u00F6|\u00FC|\u20AC|x|y");
}

TEST(FormatWideText, Characters_AreWideUnlessTheFormatSaysNarrow)
{
    EXPECT_EQ(Format(L"%c|%lc|%C|%hc|%hC|%lC", L'\u00E4', L'\u20AC', 'a', 'b', 'c', L'\u00F6'),
              L"\u00E4|\u20AC|a|b|c|\u00F6");
}

TEST(FormatWideText, NarrowCharacterThatIsNoText_IsReplaced)
{
    EXPECT_EQ(Format(L"%C|%hc", 0xE4, 0xFF), L"\uFFFD|\uFFFD");
}

TEST(FormatWideText, StringWidths_PadOnTheSideTheFlagSays)
{
    EXPECT_EQ(Format(L"[%5s][%-5s][%2s]", L"\u00E4b", L"\u00E4b", L"abc"),
              L"[   \u00E4b][\u00E4b   ][abc]");
    EXPECT_EQ(Format(L"[%5S][%-5S]", "\xC3\xA4", "b"), L"[    \u00E4][b    ]");
    EXPECT_EQ(Format(L"[%3c][%-3c]", L'x', L'y'), L"[  x][y  ]");
    EXPECT_EQ(Format(L"[%*s][%*s]", 4, L"a", -4, L"b"), L"[   a][b   ]");
}

TEST(FormatWideText, StringPrecision_CutsTheText)
{
    EXPECT_EQ(Format(L"[%.2s][%.0s][%.9s][%5.1s]", L"abc", L"abc", L"abc", L"abc"),
              L"[ab][][abc][    a]");
    EXPECT_EQ(Format(L"[%.2S][%.*s][%.*s]", "abc", 1, L"abc", -1, L"abc"), L"[ab][a][abc]");
}

TEST(FormatWideText, StringPrecision_ReadsNoFurtherThanItSays)
{
    const wchar_t unterminated[] = {L'a', L'b'};
    const char unterminatedNarrow[] = {'c', 'd'};
    EXPECT_EQ(Format(L"%.2s%.2S", unterminated, unterminatedNarrow), L"abcd");
}

TEST(FormatWideText, NullStrings_AreNamed)
{
    EXPECT_EQ(Format(L"%s|%S|%8s", static_cast<const wchar_t*>(nullptr),
                     static_cast<const char*>(nullptr), static_cast<const wchar_t*>(nullptr)),
              L"(null)|(null)|  (null)");
}

TEST(FormatWideText, NarrowTextThatIsNotUtf8_IsReplacedByteByByte)
{
    EXPECT_EQ(Format(L"%S", "a\xFF\xC3(b"), L"a\uFFFD\uFFFD(b");
}

TEST(FormatWideText, PercentSigns_AreWritten)
{
    EXPECT_EQ(Format(L"%%|100%%|%%d"), L"%|100%|%d");
}

TEST(FormatWideText, UnknownConversion_IsCopiedAsItStands)
{
    EXPECT_EQ(Format(L"%y %5.2q %d", 7), L"%y %5.2q 7");
}

TEST(FormatWideText, FormatThatEndsInsideAConversion_IsCopiedAsItStands)
{
    EXPECT_EQ(Format(L"50%"), L"50%");
    EXPECT_EQ(Format(L"50%-08.3l"), L"50%-08.3l");
}

TEST(FormatWideText, CountConversion_WritesNothingAnywhere)
{
    int count = -1;
    EXPECT_EQ(Format(L"ab%nc%d", &count, 5), L"abc5");
    EXPECT_EQ(count, -1);
}

TEST(FormatWideText, ManyArguments_AreTakenInOrder)
{
    EXPECT_EQ(Format(L"%d %s %.1f %S %u %c %lld %g %s", 1, L"two", 3.0, "four", 5U, L'6', 7LL, 8.5,
                     L"nine"),
              L"1 two 3.0 four 5 6 7 8.5 nine");
}

TEST(FormatWideText, LongerText_IsCutAtTheLength)
{
    EXPECT_EQ(FormatAtMost(5, L"abcdefgh"), L"abcde");
    EXPECT_EQ(FormatAtMost(5, L"ab%s", L"cdefgh"), L"abcde");
    EXPECT_EQ(FormatAtMost(5, L"ab%d", 123456), L"ab123");
    EXPECT_EQ(FormatAtMost(5, L"%8d", 1), L"     ");
    EXPECT_EQ(FormatAtMost(5, L"%-8s|", L"a"), L"a    ");
    EXPECT_EQ(FormatAtMost(5, L"abcd%%%%"), L"abcd%");
    EXPECT_EQ(FormatAtMost(0, L"abc%d", 1), L"");
}

TEST(FormatWideText, AbsurdWidthAndPrecision_CostNoMoreThanTheLength)
{
    EXPECT_EQ(FormatAtMost(8, L"%2147483647d", 1), L"        ");
    EXPECT_EQ(FormatAtMost(8, L"%99999999999999999999s", L"a"), L"        ");
    EXPECT_EQ(FormatAtMost(8, L"%.2147483647d", 1), L"00000000");
    EXPECT_EQ(FormatAtMost(8, L"%*s", INT_MIN, L"a"), L"a       ");
}

TEST(FormatWideText, Locale_DoesNotMatterToWideText)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(Format(L"\u65E5 %s %S", L"\u20AC", "\xC3\xA4"), L"\u65E5 \u20AC \u00E4");
    std::setlocale(LC_ALL, before.c_str());
}

struct SUtf8Case
{
    const char* name;
    std::string utf8;
    std::wstring wide;
};

std::ostream& operator<<(std::ostream& stream, const SUtf8Case& utf8Case)
{
    return stream << utf8Case.name;
}

class Utf8Test : public testing::TestWithParam<SUtf8Case>
{};

TEST_P(Utf8Test, WideText_BecomesUtf8)
{
    EXPECT_EQ(Base::WideToUtf8(GetParam().wide), GetParam().utf8);
}

TEST_P(Utf8Test, Utf8_BecomesWideText)
{
    EXPECT_EQ(Base::Utf8ToWide(GetParam().utf8), GetParam().wide);
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, Utf8Test,
    testing::Values(SUtf8Case{"Empty", "", L""}, SUtf8Case{"LastOfOneByte", "\x7F", L"\x7F"},
                    SUtf8Case{"FirstOfTwoBytes", "\xC2\x80", {wchar_t(0x80)}},
                    SUtf8Case{"LastOfTwoBytes", "\xDF\xBF", {wchar_t(0x7FF)}},
                    SUtf8Case{"FirstOfThreeBytes", "\xE0\xA0\x80", {wchar_t(0x800)}},
                    SUtf8Case{"BelowTheSurrogates", "\xED\x9F\xBF", {wchar_t(0xD7FF)}},
                    SUtf8Case{"AboveTheSurrogates", "\xEE\x80\x80", {wchar_t(0xE000)}},
                    SUtf8Case{"LastOfThreeBytes", "\xEF\xBF\xBF", {wchar_t(0xFFFF)}},
                    SUtf8Case{"FirstOfFourBytes", "\xF0\x90\x80\x80", {wchar_t(0x10000)}},
                    SUtf8Case{"LastCodePoint", "\xF4\x8F\xBF\xBF", {wchar_t(0x10FFFF)}},
                    SUtf8Case{"NullCharacter", std::string("a\0b", 3), std::wstring(L"a\0b", 3)}),
    [](const auto& test) { return std::string(test.param.name); });

class BrokenUtf8Test : public testing::TestWithParam<SUtf8Case>
{};

TEST_P(BrokenUtf8Test, EachByteThatIsNoText_IsReplaced)
{
    EXPECT_EQ(Base::Utf8ToWide(GetParam().utf8), GetParam().wide);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BrokenUtf8Test,
    testing::Values(SUtf8Case{"ContinuationFirst", "\x80", L"\uFFFD"},
                    SUtf8Case{"OverlongTwoBytes", "\xC1\xBF", L"\uFFFD\uFFFD"},
                    SUtf8Case{"OverlongThreeBytes", "\xE0\x9F\xBF", L"\uFFFD\uFFFD\uFFFD"},
                    SUtf8Case{"OverlongFourBytes", "\xF0\x8F\xBF\xBF", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
                    SUtf8Case{"Surrogate", "\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},
                    SUtf8Case{"BeyondTheLast", "\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
                    SUtf8Case{"NeverALead", "\xFEz", L"\uFFFDz"},
                    SUtf8Case{"EndsEarly", "a\xE2\x82", L"a\uFFFD\uFFFD"},
                    SUtf8Case{"LeadThenLetter", "\xC3z", L"\uFFFDz"}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
