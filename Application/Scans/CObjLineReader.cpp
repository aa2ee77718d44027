#include "Application/Scans/CObjLineReader.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "Application/Files/TextTokens.h"

namespace Application
{

namespace
{

[[nodiscard]] ObjStatement Classify(std::string_view keyword)
{
    static constexpr std::array<std::pair<std::string_view, ObjStatement>, 12> c_statements = {{
        {"v", ObjStatement::Vertex},
        {"vn", ObjStatement::Normal},
        {"f", ObjStatement::Face},
        {"fo", ObjStatement::Face},
        {"l", ObjStatement::Line},
        {"p", ObjStatement::Point},
        {"curv", ObjStatement::FreeForm},
        {"surf", ObjStatement::FreeForm},
        {"bzp", ObjStatement::FreeForm},
        {"bsp", ObjStatement::FreeForm},
        {"cdc", ObjStatement::FreeForm},
        {"cdp", ObjStatement::FreeForm},
    }};
    const auto found =
        std::find_if(c_statements.begin(), c_statements.end(),
                     [&](const auto& statement) { return statement.first == keyword; });
    return found == c_statements.end() ? ObjStatement::Other : found->second;
}

[[nodiscard]] bool IsSeparator(std::string_view text, std::size_t position)
{
    const bool isContinuation =
        text[position] == '\\' &&
        (position + 1 == text.size() || text[position + 1] == '\n' || text[position + 1] == '\r');
    return isContinuation || IsBlank(text[position]);
}

[[nodiscard]] bool HasComment(std::string_view line)
{
    std::size_t sign = line.find('#');
    while (sign != std::string_view::npos && sign > 0 && !IsSeparator(line, sign - 1))
    {
        sign = line.find('#', sign + 1);
    }
    return sign != std::string_view::npos;
}

/// A comment may end with anything, such as a folder of another system.
[[nodiscard]] bool IsContinued(std::string_view line)
{
    return line.ends_with('\\') && !HasComment(line);
}

}  // namespace

std::string_view TakeObjWord(std::string_view& rest)
{
    std::size_t begin = 0;
    while (begin < rest.size() && IsSeparator(rest, begin))
    {
        ++begin;
    }
    std::size_t end = begin;
    while (end < rest.size() && !IsSeparator(rest, end))
    {
        ++end;
    }
    const std::string_view word = rest.substr(begin, end - begin);
    if (word.starts_with('#'))
    {
        rest = {};
        return {};
    }
    rest.remove_prefix(end);
    return word;
}

SObjCorner SplitObjCorner(std::string_view word)
{
    const std::size_t first = std::min(word.find('/'), word.size());
    const std::size_t second = std::min(word.find('/', first + 1), word.size());
    SObjCorner corner;
    corner.vertex = word.substr(0, first);
    if (second < word.size())
    {
        corner.normal = word.substr(second + 1);
    }
    return corner;
}

bool CObjLineReader::Next()
{
    if (!m_lines.Next())
    {
        return false;
    }
    m_begin = m_lines.GetBegin();
    m_line = m_lines.GetNumber();
    expectNoCarriageReturn();
    std::string_view line = m_lines.GetLine();
    line = m_begin == 0 ? WithoutByteOrderMark(line) : line;
    while (IsContinued(line) && m_lines.Next())
    {
        expectNoCarriageReturn();
        line = m_lines.GetLine();
    }
    m_words = m_text.substr(m_begin, m_lines.GetEnd() - m_begin);
    m_words = m_begin == 0 ? WithoutByteOrderMark(m_words) : m_words;
    m_statement = Classify(TakeObjWord(m_words));
    return true;
}

/// It would make all of an old text file further words of its first statement.
void CObjLineReader::expectNoCarriageReturn() const
{
    if (m_lines.GetLine().find('\r') != std::string_view::npos)
    {
        throw CInputError::AtLine(m_file, m_lines.GetNumber(),
                                  "expected lines that end with a line feed, found a carriage "
                                  "return without one");
    }
}

std::uint64_t CObjLineReader::Resolve(std::string_view word, std::uint64_t before,
                                      std::uint64_t total, const char* what) const
{
    const std::optional<std::int64_t> number = ParseInteger(word);
    const bool isPositive = number.has_value() && *number > 0;
    const std::uint64_t magnitude =
        isPositive ? static_cast<std::uint64_t>(*number)
                   : std::uint64_t{0} - static_cast<std::uint64_t>(number.value_or(0));
    const std::uint64_t available = isPositive ? total : before;
    if (magnitude == 0 || magnitude > available)
    {
        const std::string range =
            isPositive || magnitude == 0
                ? "from 1 to " + std::to_string(total)
                : "of one of the " + std::to_string(before) + " before this line";
        throw MakeError(std::string("expected the number of a ") + what + " " + range, word);
    }
    return isPositive ? magnitude - 1 : before - magnitude;
}

std::array<double, 3> CObjLineReader::ReadVector() const
{
    std::string_view rest = m_words;
    std::array<double, 3> vector = {};
    for (double& coordinate : vector)
    {
        const std::string_view word = TakeObjWord(rest);
        const std::optional<double> number = ParseReal(word);
        if (!number.has_value())
        {
            throw MakeError("expected a number", word);
        }
        coordinate = *number;
    }
    return vector;
}

CInputError CObjLineReader::MakeError(const std::string& expected, std::string_view found) const
{
    return CInputError::AtLine(m_file, m_line, expected + ", found " + Quote(found));
}

}  // namespace Application
