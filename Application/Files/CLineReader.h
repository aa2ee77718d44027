#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Application
{

/// Walks through text line by line, for messages that name the line. Lines end with LF or CR LF;
/// the last one may lack its end.
class CLineReader
{
public:
    /// \p firstLine is the number of the first line of \p text in its file.
    explicit CLineReader(std::string_view text, std::uint64_t firstLine = 1)
        : m_text(text), m_number(firstLine - 1)
    {}

    /// Goes to the next line; false when there is none.
    [[nodiscard]] bool Next()
    {
        if (m_end == m_text.size())
        {
            return false;
        }
        m_begin = m_end;
        const std::size_t newline = m_text.find('\n', m_begin);
        m_end = newline == std::string_view::npos ? m_text.size() : newline + 1;
        ++m_number;
        return true;
    }

    /// The line without its end.
    [[nodiscard]] std::string_view GetLine() const
    {
        std::string_view line = GetRawLine();
        for (const char end : {'\n', '\r'})
        {
            if (!line.empty() && line.back() == end)
            {
                line.remove_suffix(1);
            }
        }
        return line;
    }

    /// The line with its end.
    [[nodiscard]] std::string_view GetRawLine() const
    {
        return m_text.substr(m_begin, m_end - m_begin);
    }

    [[nodiscard]] std::uint64_t GetNumber() const { return m_number; }

    /// Where the line begins in the text, and where the next one does.
    [[nodiscard]] std::size_t GetBegin() const { return m_begin; }
    [[nodiscard]] std::size_t GetEnd() const { return m_end; }

private:
    std::string_view m_text;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::uint64_t m_number;
};

}  // namespace Application
