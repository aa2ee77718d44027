#include "Application/Scans/CStlTextReader.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "Application/Files/TextTokens.h"

namespace Application
{

namespace
{

[[nodiscard]] char Lower(char character)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

[[nodiscard]] bool IsKeyword(std::string_view word, std::string_view keyword)
{
    return std::equal(word.begin(), word.end(), keyword.begin(), keyword.end(),
                      [](char left, char right) { return Lower(left) == right; });
}

}  // namespace

bool CStlTextReader::Next()
{
    while (true)
    {
        m_begin = m_position;
        const std::string_view word = take();
        if (m_isInSolid && IsKeyword(word, "facet"))
        {
            readFacet();
            return true;
        }
        if (m_isInSolid && IsKeyword(word, "endsolid"))
        {
            m_isInSolid = false;
        }
        else if (!m_isInSolid && IsKeyword(word, "solid"))
        {
            m_isInSolid = true;
        }
        else if (!m_isInSolid && word.empty())
        {
            return false;
        }
        else
        {
            throw makeError(m_isInSolid ? "expected 'facet' or 'endsolid'" : "expected 'solid'",
                            word);
        }
        skipLine();
    }
}

std::string_view CStlTextReader::take()
{
    while (m_position < m_text.size() && IsBlank(m_text[m_position]))
    {
        m_line += m_text[m_position] == '\n' ? 1U : 0U;
        ++m_position;
    }
    const std::size_t begin = m_position;
    while (m_position < m_text.size() && !IsBlank(m_text[m_position]))
    {
        ++m_position;
    }
    return m_text.substr(begin, m_position - begin);
}

void CStlTextReader::skipLine()
{
    m_position = std::min(m_text.find('\n', m_position), m_text.size());
}

void CStlTextReader::expect(std::string_view keyword)
{
    const std::string_view word = take();
    if (!IsKeyword(word, keyword))
    {
        throw makeError("expected '" + std::string(keyword) + "'", word);
    }
}

void CStlTextReader::readFacet()
{
    expect("normal");
    for (int axis = 0; axis < 3; ++axis)
    {
        // Normals are not used, and degenerate facets have some that are spelled in many ways.
        const std::string_view word = take();
        if (!ParseReal(word).has_value() && word.find("nan") == std::string_view::npos)
        {
            throw makeError("expected a number", word);
        }
    }
    expect("outer");
    expect("loop");
    for (Point& corner : m_corners)
    {
        expect("vertex");
        for (double& coordinate : corner)
        {
            coordinate = readNumber();
        }
    }
    expect("endloop");
    expect("endfacet");
}

double CStlTextReader::readNumber()
{
    const std::string_view word = take();
    const std::optional<double> number = ParseReal(word);
    if (!number.has_value())
    {
        throw makeError("expected a number", word);
    }
    return *number;
}

CInputError CStlTextReader::makeError(const std::string& expected, std::string_view found) const
{
    return CInputError::AtLine(
        m_file, m_line,
        expected + ", found " + (found.empty() ? "the end of the file" : Quote(found)));
}

}  // namespace Application
