#include "Application/Files/CLineReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using Application::CLineReader;

[[nodiscard]] std::vector<std::string> LinesOf(std::string_view text)
{
    std::vector<std::string> lines;
    CLineReader reader(text);
    while (reader.Next())
    {
        lines.emplace_back(reader.GetLine());
    }
    return lines;
}

TEST(CLineReader, Next_TakesEitherLineEnd)
{
    EXPECT_EQ(LinesOf("a\nb\r\n\nc"), (std::vector<std::string>{"a", "b", "", "c"}));
}

TEST(CLineReader, Next_EmptyTextHasNoLine)
{
    EXPECT_TRUE(LinesOf("").empty());
}

TEST(CLineReader, Next_NoLineBehindTheLastEnd)
{
    EXPECT_EQ(LinesOf("a\n"), (std::vector<std::string>{"a"}));
}

TEST(CLineReader, GetLine_CarriageReturnElsewhereStays)
{
    EXPECT_EQ(LinesOf("a\rb\r\r\n"), (std::vector<std::string>{"a\rb\r"}));
}

TEST(CLineReader, PlacesAreThoseOfTheCurrentLine)
{
    CLineReader reader("ab\r\ncd", 7);

    ASSERT_TRUE(reader.Next());
    EXPECT_EQ(reader.GetNumber(), 7U);
    EXPECT_EQ(reader.GetBegin(), 0U);
    EXPECT_EQ(reader.GetEnd(), 4U);
    EXPECT_EQ(reader.GetRawLine(), "ab\r\n");
    ASSERT_TRUE(reader.Next());
    EXPECT_EQ(reader.GetNumber(), 8U);
    EXPECT_EQ(reader.GetRawLine(), "cd");
    EXPECT_FALSE(reader.Next());
}

}  // namespace
