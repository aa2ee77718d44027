#include "Application/Files/TextTokens.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <string>

namespace
{

using Application::ParseInteger;
using Application::ParseReal;
using Application::Quote;
using Application::TakeToken;

TEST(TakeToken, SplitsAtBlanks)
{
    std::string_view rest = " \ta  b\r\n";

    EXPECT_EQ(TakeToken(rest), "a");
    EXPECT_EQ(TakeToken(rest), "b");
    EXPECT_EQ(TakeToken(rest), "");
    EXPECT_EQ(TakeToken(rest), "");
}

TEST(ParseReal, EverySpelling)
{
    EXPECT_EQ(ParseReal("1"), 1.0);
    EXPECT_EQ(ParseReal("+1.5"), 1.5);
    EXPECT_EQ(ParseReal("-.5e-3"), -0.5e-3);
    EXPECT_EQ(ParseReal("5."), 5.0);
    EXPECT_EQ(ParseReal("0.1"), 0.1);
    EXPECT_EQ(ParseReal("-inf"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(ParseReal("nan").value()));
    EXPECT_TRUE(std::isnan(ParseReal("-NaN").value()));
}

TEST(ParseReal, WhatIsNoNumber)
{
    for (const char* const text :
         {"", "+", "-", "+-1", "1,5", "1x", " 1", "1 ", "0x10", "e5", "--1"})
    {
        EXPECT_EQ(ParseReal(text), std::nullopt) << text;
    }
}

TEST(ParseReal, BeyondTheRangeIsInfinityOrZero)
{
    const double infinity = std::numeric_limits<double>::infinity();

    EXPECT_EQ(ParseReal("1e999"), infinity);
    EXPECT_EQ(ParseReal("-1E+999"), -infinity);
    EXPECT_EQ(ParseReal("1e-999"), 0.0);
    EXPECT_EQ(ParseReal("1" + std::string(400, '0')), infinity);
    EXPECT_EQ(ParseReal("0." + std::string(400, '0') + "1"), 0.0);
    EXPECT_EQ(ParseReal("5e-324"), 5e-324);
    EXPECT_EQ(ParseReal("0e999"), 0.0);
}

TEST(ParseReal, BeyondTheRangeTheFirstDigitCountsWithTheExponent)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const std::string zeros(400, '0');

    EXPECT_EQ(ParseReal("0." + zeros + "1e5"), 0.0);
    EXPECT_EQ(ParseReal("1" + zeros + "e-5"), infinity);
    EXPECT_EQ(ParseReal("-00." + zeros + "1E+5"), 0.0);
    EXPECT_TRUE(std::signbit(ParseReal("-00." + zeros + "1E+5").value()));
    EXPECT_EQ(ParseReal("-001" + zeros + ".5e-5"), -infinity);
    EXPECT_EQ(ParseReal("1e-99999999999999999999"), 0.0);
    EXPECT_EQ(ParseReal("0.001e+99999999999999999999"), infinity);
}

TEST(ParseReal, AnExponentMayBringLongDigitsBackIntoTheRange)
{
    const std::string zeros(400, '0');

    EXPECT_EQ(ParseReal("0." + zeros + "1e401"), 1.0);
    EXPECT_EQ(ParseReal("1" + zeros + "e-400"), 1.0);
}

TEST(ParseReal, LocaleDoesNotMatter)
{
    const std::string before = std::setlocale(LC_NUMERIC, nullptr);
    for (const char* const name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"})
    {
        if (std::setlocale(LC_NUMERIC, name) != nullptr)
        {
            break;
        }
    }

    EXPECT_EQ(ParseReal("1.5"), 1.5);
    std::setlocale(LC_NUMERIC, before.c_str());
}

TEST(ParseInteger, WholeNumbersOf64Bits)
{
    EXPECT_EQ(ParseInteger("0"), 0);
    EXPECT_EQ(ParseInteger("+7"), 7);
    EXPECT_EQ(ParseInteger("-0012"), -12);
    EXPECT_EQ(ParseInteger("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(ParseInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
}

TEST(ParseInteger, WhatIsNone)
{
    for (const char* const text : {"", "+", "+-1", "1.0", "1e3", "9223372036854775808", "a", "1 "})
    {
        EXPECT_EQ(ParseInteger(text), std::nullopt) << text;
    }
}

TEST(Quote, ShortensAndHidesControlCharacters)
{
    EXPECT_EQ(Quote("a b"), "'a b'");
    EXPECT_EQ(Quote("a\x01z\nz\x7F"), "'a?z?z?'");
    EXPECT_EQ(Quote("a\xC2\x9Bz\xC2\xA0"), "'a?z\xC2\xA0'");
    EXPECT_EQ(Quote(""), "the end of the line");
    EXPECT_EQ(Quote(std::string(40, 'a')), "'" + std::string(40, 'a') + "'");
    EXPECT_EQ(Quote(std::string(41, 'a')), "'" + std::string(40, 'a') + "...'");
}

TEST(Quote, ShortensBetweenCharacters)
{
    const std::string cut = "'" + std::string(39, 'a') + "...'";
    EXPECT_EQ(Quote(std::string(39, 'a') + "\xC3\xA4z"), cut);
    EXPECT_EQ(Quote(std::string(39, 'a') + "\xE2\x82\xACz"), cut);
    EXPECT_EQ(Quote(std::string(39, 'a') + "\xC2\x9Bz"), cut);
    EXPECT_EQ(Quote(std::string(37, 'a') + "\xF0\x9F\x98\x80z"),
              "'" + std::string(37, 'a') + "...'");
    EXPECT_EQ(Quote(std::string(36, 'a') + "\xF0\x9F\x98\x80z"),
              "'" + std::string(36, 'a') + "\xF0\x9F\x98\x80...'");
}

TEST(Quote, ShortensWhatIsNoText)
{
    EXPECT_EQ(Quote(std::string(100, '\x80')), "'" + std::string(37, '\x80') + "...'");
    EXPECT_EQ(Quote(std::string(100, '\xFF')), "'" + std::string(40, '\xFF') + "...'");
}

}  // namespace
