#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "Application/Files/CInputError.h"
#include "Application/Files/CLineReader.h"

namespace Application
{

/// What a line of an OBJ file is to a scan.
enum class ObjStatement
{
    Vertex,
    Normal,
    /// Faces, lines and points: their words are vertex references.
    Face,
    Line,
    Point,
    /// Curves and surfaces, which refer to vertices in ways of their own.
    FreeForm,
    Other,
};

/// Takes the first word off \p rest; empty when there is none before the line's end or a comment. A
/// backslash at a line's end separates as a blank does.
[[nodiscard]] std::string_view TakeObjWord(std::string_view& rest);

/// The numbers of the vertex and of the normal in a corner "v", "v/vt", "v//vn" or "v/vt/vn" as
/// they are written; an absent one is empty.
struct SObjCorner
{
    std::string_view vertex;
    std::string_view normal;
};
[[nodiscard]] SObjCorner SplitObjCorner(std::string_view word);

/// Walks through the statements of an OBJ file. A line that ends with a backslash goes on in the
/// next one, unless it ends in a comment.
class CObjLineReader
{
public:
    /// Both must live; \p file names the text in messages.
    CObjLineReader(const std::filesystem::path& file, std::string_view text)
        : m_file(file), m_text(text), m_lines(text)
    {}

    /// Goes to the next statement; false when there is none.
    /// @throw CInputError when a carriage return stands inside a line.
    [[nodiscard]] bool Next();

    [[nodiscard]] ObjStatement GetStatement() const { return m_statement; }

    /// What follows the statement's first word.
    [[nodiscard]] std::string_view GetWords() const { return m_words; }

    /// The bytes of the statement, its line end included.
    [[nodiscard]] std::size_t GetBegin() const { return m_begin; }
    [[nodiscard]] std::size_t GetEnd() const { return m_lines.GetEnd(); }

    /// The vertex, counted from 0, that \p word refers to when \p before of all \p total vertices
    /// come before the statement: 1 is the first of all, -1 the last one before.
    /// @throw CInputError when it is no such reference; \p what names it.
    [[nodiscard]] std::uint64_t Resolve(std::string_view word, std::uint64_t before,
                                        std::uint64_t total, const char* what) const;

    /// The three numbers that the statement's words begin with.
    /// @throw CInputError when they are none.
    [[nodiscard]] std::array<double, 3> ReadVector() const;

    /// The error "expected ..., found ..." at the statement.
    [[nodiscard]] CInputError MakeError(const std::string& expected, std::string_view found) const;

private:
    void expectNoCarriageReturn() const;

    const std::filesystem::path& m_file;
    std::string_view m_text;
    CLineReader m_lines;
    std::size_t m_begin = 0;
    std::uint64_t m_line = 0;
    ObjStatement m_statement = ObjStatement::Other;
    std::string_view m_words;
};

}  // namespace Application
