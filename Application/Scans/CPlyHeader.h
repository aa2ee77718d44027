#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Application/Scans/PlyType.h"

namespace Application
{

/// How the records of a PLY file are written.
enum class PlyFormat
{
    Ascii,
    BinaryLittleEndian,
    BinaryBigEndian,
};

/// One property of a PLY element: a number, or a list of numbers behind their count.
struct SPlyProperty
{
    std::string name;
    PlyType type = PlyType::Float32;
    std::optional<PlyType> countType;

    [[nodiscard]] bool IsList() const { return countType.has_value(); }
};

/// One element of a PLY file: a table of records with the same properties.
struct SPlyElement
{
    std::string name;
    std::uint64_t count = 0;
    std::vector<SPlyProperty> properties;

    /// Where the header spells the count.
    std::size_t countBegin = 0;
    std::size_t countSize = 0;

    [[nodiscard]] std::optional<std::size_t> FindProperty(std::string_view propertyName) const;

    [[nodiscard]] bool HasLists() const;

    /// The bytes of a binary record; with lists, of one whose lists are all empty.
    [[nodiscard]] std::size_t GetRecordSize() const;

    /// The bytes of property \p index from the start of a binary record without lists.
    [[nodiscard]] std::size_t GetPropertyOffset(std::size_t index) const;
};

/// The header of a PLY file, which can be printed again with other counts.
class CPlyHeader
{
public:
    /// Reads the header at the start of \p text; it is kept by reference, so its bytes must live.
    /// \p file names it in messages.
    /// @throw CInputError with the line when it is not a valid header.
    [[nodiscard]] static CPlyHeader Parse(const std::filesystem::path& file, std::string_view text);

    [[nodiscard]] PlyFormat GetFormat() const { return m_format; }
    [[nodiscard]] const std::vector<SPlyElement>& GetElements() const { return m_elements; }
    [[nodiscard]] std::optional<std::size_t> FindElement(std::string_view name) const;

    /// The texts of the lines "comment" and "obj_info".
    [[nodiscard]] const std::vector<std::string>& GetComments() const { return m_comments; }

    /// Bytes and lines of the header, the last line end included.
    [[nodiscard]] std::size_t GetSize() const { return m_text.size(); }
    [[nodiscard]] std::uint64_t GetLineCount() const { return m_lineCount; }

    /// The header as it was but for the counts of its elements; one that stays keeps its spelling.
    [[nodiscard]] std::string Print(std::span<const std::uint64_t> counts) const;

private:
    CPlyHeader() = default;

    std::string_view m_text;
    std::uint64_t m_lineCount = 0;
    PlyFormat m_format = PlyFormat::Ascii;
    std::vector<SPlyElement> m_elements;
    std::vector<std::string> m_comments;
};

/// A property as the header declares it, such as "list uchar int vertex_indices".
[[nodiscard]] std::string PrintPlyProperty(const SPlyProperty& property);

}  // namespace Application
