#include "Apps/CommandLine/CConsole.h"

#include <gtest/gtest.h>

namespace
{

using CommandLine::EscapeControlCharacters;

TEST(EscapeControlCharacters, OneByteOfAscii)
{
    EXPECT_EQ(EscapeControlCharacters("a\x01\x1F\x7F z~"), "a\\x01\\x1f\\x7f z~");
    EXPECT_EQ(EscapeControlCharacters("a\nb"), "a\nb");
}

TEST(EscapeControlCharacters, TwoBytesOfUtf8)
{
    EXPECT_EQ(EscapeControlCharacters("a\xC2\x9B[31mb"), "a\\xc2\\x9b[31mb");
    EXPECT_EQ(EscapeControlCharacters("\xC2\x80"), "\\xc2\\x80");
    EXPECT_EQ(EscapeControlCharacters("\xC2\x9F"), "\\xc2\\x9f");
}

TEST(EscapeControlCharacters, OtherCharactersOfTheSameBytesAreShown)
{
    // No-break space, a capital U with a circumflex, and the euro.
    for (const char* const text : {"\xC2\xA0", "\xC3\x9B", "\xE2\x82\xAC"})
    {
        EXPECT_EQ(EscapeControlCharacters(text), text);
    }
}

TEST(EscapeControlCharacters, TextThatEndsInTheMiddleOfACharacter)
{
    EXPECT_EQ(EscapeControlCharacters(std::string_view("a\xC2\x9B", 2)), "a\xC2");
}

}  // namespace
