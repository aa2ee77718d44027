#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Files/CLineReader.h"
#include "Application/Files/TextTokens.h"
#include "Application/Scans/SPlyDocument.h"

namespace Application
{

/// Walks through the records of one element of a PLY file, checking that each is there, whatever
/// the format. A record of an ASCII file is one line; blank lines between records are passed over.
class CPlyRecordReader
{
public:
    /// Reads from document.tables[elementIndex] on; the document must live.
    /// @throw CInputError when the file is too short for the element's records, each taken at its
    /// smallest.
    CPlyRecordReader(const SPlyDocument& document, std::size_t elementIndex);

    /// Goes to the next record; false behind the last one.
    /// @throw CInputError when there is no whole record.
    [[nodiscard]] bool Next();

    /// The bytes of the record in the file, the line end of an ASCII file included.
    [[nodiscard]] std::size_t GetBegin() const { return m_begin; }
    [[nodiscard]] std::size_t GetEnd() const { return m_end; }

    /// Where the next element begins, once Next() was false.
    [[nodiscard]] SPlyTable GetEndOfTable() const { return {m_end, m_lines.GetNumber() + 1}; }

    /// The length of a list, 1 for a number.
    [[nodiscard]] std::uint64_t GetLength(std::size_t property) const
    {
        return m_fields[property].length;
    }

    /// Where in the file a list's length stands, and behind it.
    [[nodiscard]] std::size_t GetLengthBegin(std::size_t property) const
    {
        return m_fields[property].lengthBegin;
    }
    [[nodiscard]] std::size_t GetLengthEnd(std::size_t property) const
    {
        return m_fields[property].begin;
    }

    /// A property that is no list, as a number.
    /// @throw CInputError when it is not one.
    [[nodiscard]] double ReadReal(std::size_t property) const;

    /// Calls \p function(value, begin, end) for each whole number of a property, in order, with the
    /// place of its bytes in the file.
    /// @throw CInputError when a value is not a whole number.
    template <typename Function>
    void ForEachInteger(std::size_t property, Function&& function) const
    {
        const PlyType type = m_element.properties[property].type;
        const std::size_t size = GetPlyTypeSize(type);
        std::size_t position = m_fields[property].begin;
        for (std::uint64_t index = 0; index < m_fields[property].length; ++index)
        {
            if (m_isText)
            {
                std::string_view rest = m_text.substr(position, m_end - position);
                const std::string_view token = TakeToken(rest);
                position = m_end - rest.size();
                function(parseInteger(token), position - token.size(), position);
            }
            else
            {
                function(LoadPlyInteger(m_bytes + position, type, m_isSwapped), position,
                         position + size);
                position += size;
            }
        }
    }

    /// The error "expected ..., found ..." at the record.
    [[nodiscard]] CInputError MakeError(const std::string& expected,
                                        const std::string& found) const;

private:
    struct SField
    {
        std::size_t lengthBegin = 0;
        std::size_t begin = 0;
        std::uint64_t length = 1;
    };

    void readBinary();
    void readText();
    std::uint64_t takeLength(std::string_view token) const;
    [[nodiscard]] std::int64_t parseInteger(std::string_view token) const;
    [[nodiscard]] std::string nameRecord() const;

    const SPlyDocument& m_document;
    const SPlyElement& m_element;
    std::string_view m_text;
    const std::byte* m_bytes;
    bool m_isText;
    bool m_isSwapped;
    std::size_t m_tableBegin;
    CLineReader m_lines;
    std::vector<SField> m_fields;
    std::uint64_t m_record = 0;
    std::size_t m_begin;
    std::size_t m_end;
};

}  // namespace Application
