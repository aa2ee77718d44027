#include "Application/Scans/CXyzReader.h"

#include <algorithm>
#include <optional>
#include <string>

#include "Application/Files/CInputError.h"
#include "Application/Files/TextTokens.h"

namespace Application
{

namespace
{

[[nodiscard]] bool IsSeparator(char character)
{
    return IsBlank(character) || character == ',' || character == ';';
}

/// Takes the first column off \p rest, and the blanks, the comma or the semicolon behind it. Empty
/// where there is none, or nothing in front of the comma or the semicolon.
[[nodiscard]] std::string_view TakeColumn(std::string_view& rest)
{
    const auto skipBlanks = [&rest](std::size_t position) {
        while (position < rest.size() && IsBlank(rest[position]))
        {
            ++position;
        }
        return position;
    };
    const std::size_t begin = skipBlanks(0);
    std::size_t end = begin;
    while (end < rest.size() && !IsSeparator(rest[end]))
    {
        ++end;
    }
    const std::string_view column = rest.substr(begin, end - begin);
    const std::size_t next = skipBlanks(end);
    rest.remove_prefix(next < rest.size() && IsSeparator(rest[next]) ? next + 1 : next);
    return column;
}

/// Whether commas in the first three words of a line, between blanks or semicolons, are decimal
/// ones, as some countries write them, that would be taken for separators: at most one in a word,
/// none at a word's end, and no word with a point, unless all three have a comma.
[[nodiscard]] bool HasDecimalCommas(std::string_view line)
{
    int numCommas = 0;
    bool hasPoint = false;
    for (int count = 0; count < 3; ++count)
    {
        const auto isBetweenWords = [](char character) {
            return IsBlank(character) || character == ';';
        };
        const auto begin = std::find_if_not(line.begin(), line.end(), isBetweenWords);
        const auto end = std::find_if(begin, line.end(), isBetweenWords);
        const auto comma = std::find(begin, end, ',');
        if (comma == begin ||
            (comma != end && (comma + 1 == end || std::find(comma + 1, end, ',') != end)))
        {
            return false;
        }
        numCommas += comma != end ? 1 : 0;
        hasPoint = hasPoint || std::find(begin, end, '.') != end;
        line.remove_prefix(static_cast<std::size_t>(end - line.begin()));
    }
    return numCommas == 3 || (numCommas > 0 && !hasPoint);
}

}  // namespace

bool CXyzReader::Next()
{
    while (m_lines.Next())
    {
        std::string_view rest = getLine();
        // It would make all points of an old text file further columns of its first.
        if (rest.find('\r') != std::string_view::npos)
        {
            throw CInputError::AtLine(m_file, m_lines.GetNumber(),
                                      "expected lines that end with a line feed, found a carriage "
                                      "return without one");
        }
        const std::string_view column = TakeColumn(rest);
        // Tables have blank lines with all their commas.
        const bool isBlank = column.empty() && std::all_of(rest.begin(), rest.end(), IsSeparator);
        if (isBlank || column.starts_with('#') || column.starts_with("//"))
        {
            continue;
        }
        // A first line with a number in another column is a damaged point, not names.
        const bool isNames = m_isFirst && !ParseReal(column).has_value() &&
                             !ParseReal(TakeColumn(rest)).has_value() &&
                             !ParseReal(TakeColumn(rest)).has_value();
        m_isFirst = false;
        if (!isNames)
        {
            return true;
        }
    }
    return false;
}

std::string_view CXyzReader::getLine() const
{
    const std::string_view line = m_lines.GetLine();
    return m_lines.GetBegin() == 0 ? WithoutByteOrderMark(line) : line;
}

std::array<double, 3> CXyzReader::ReadPoint() const
{
    std::string_view rest = getLine();
    if (rest.find(',') != std::string_view::npos && HasDecimalCommas(rest))
    {
        throw CInputError::AtLine(
            m_file, m_lines.GetNumber(),
            "expected numbers with a decimal point, found decimal commas in " + Quote(rest));
    }
    std::array<double, 3> point = {};
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        const std::string_view column = TakeColumn(rest);
        const std::optional<double> value = ParseReal(column);
        if (!value.has_value())
        {
            throw CInputError::AtLine(
                m_file, m_lines.GetNumber(),
                std::string("expected the number ") + "xyz"[axis] + " of a point, found " +
                    (column.empty() && !rest.empty() ? "nothing" : Quote(column)));
        }
        point[axis] = *value;
    }
    return point;
}

}  // namespace Application
