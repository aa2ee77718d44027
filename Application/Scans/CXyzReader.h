#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <string_view>

#include "Application/Files/CLineReader.h"

namespace Application
{

/// Walks through the points of an XYZ text file, one per line: x y z and any further columns,
/// separated by blanks, or by a comma or a semicolon, which leaves an empty column where it has
/// nothing in front of it.
///
/// Passed over are lines that are blank or have empty columns alone, comments (lines that begin
/// with "#" or "//") and, before the first point, one line of column names (none of its first three
/// columns is a number). A byte order mark is no part of the first line.
class CXyzReader
{
public:
    /// Both must live; \p file names the text in messages.
    CXyzReader(const std::filesystem::path& file, std::string_view text)
        : m_file(file), m_lines(text)
    {}

    /// Goes to the next point's line; false when there is none.
    /// @throw CInputError when a carriage return stands inside a line.
    [[nodiscard]] bool Next();

    /// The bytes of the line, its end included.
    [[nodiscard]] std::size_t GetBegin() const { return m_lines.GetBegin(); }
    [[nodiscard]] std::size_t GetEnd() const { return m_lines.GetEnd(); }

    /// x, y and z.
    /// @throw CInputError when the line does not begin with three numbers.
    [[nodiscard]] std::array<double, 3> ReadPoint() const;

private:
    [[nodiscard]] std::string_view getLine() const;

    const std::filesystem::path& m_file;
    CLineReader m_lines;
    bool m_isFirst = true;
};

}  // namespace Application
