#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "Application/Files/CInputError.h"

namespace Application
{

/// Walks through the facets of an ASCII STL file. Keywords may be in either case, words may stand
/// on any lines, and there may be several solids.
class CStlTextReader
{
public:
    using Point = std::array<double, 3>;

    /// Both must live; \p file names the text in messages.
    CStlTextReader(const std::filesystem::path& file, std::string_view text)
        : m_file(file), m_text(text)
    {}

    /// Goes to the next facet; false behind the last solid.
    /// @throw CInputError when there is something else.
    [[nodiscard]] bool Next();

    [[nodiscard]] const std::array<Point, 3>& GetCorners() const { return m_corners; }

    /// The bytes from the word before the facet to the facet's end.
    [[nodiscard]] std::size_t GetBegin() const { return m_begin; }
    [[nodiscard]] std::size_t GetEnd() const { return m_position; }

private:
    [[nodiscard]] std::string_view take();
    void skipLine();
    void expect(std::string_view keyword);
    void readFacet();
    [[nodiscard]] double readNumber();
    [[nodiscard]] CInputError makeError(const std::string& expected, std::string_view found) const;

    const std::filesystem::path& m_file;
    std::string_view m_text;
    std::size_t m_position = 0;
    std::size_t m_begin = 0;
    std::uint64_t m_line = 1;
    bool m_isInSolid = false;
    std::array<Point, 3> m_corners = {};
};

}  // namespace Application
