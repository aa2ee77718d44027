#include "Application/Scans/CPlyRecordReader.h"

namespace Application
{

CPlyRecordReader::CPlyRecordReader(const SPlyDocument& document, std::size_t elementIndex)
    : m_document(document),
      m_element(document.header.GetElements()[elementIndex]),
      m_text(AsText(document.source.bytes)),
      m_bytes(document.source.bytes.data()),
      m_isText(document.IsText()),
      m_isSwapped(document.IsSwapped()),
      m_tableBegin(document.tables[elementIndex].begin),
      m_lines(m_text.substr(m_tableBegin), document.tables[elementIndex].line),
      m_fields(m_element.properties.size()),
      m_begin(m_tableBegin),
      m_end(m_tableBegin)
{
    // A character and a separator for each value of a line; the last line may lack its end.
    const std::size_t smallest =
        m_isText ? 2 * m_element.properties.size() : m_element.GetRecordSize();
    const std::size_t available = m_text.size() - m_begin + (m_isText ? 1 : 0);
    if (smallest > 0 && m_element.count > available / smallest)
    {
        const bool isLeast = m_isText || m_element.HasLists();
        const std::string message =
            "expected " + std::to_string(m_element.count) + " records of element '" +
            m_element.name + "' with " + (isLeast ? "at least " : "") + std::to_string(smallest) +
            " bytes each, found " + std::to_string(m_text.size() - m_begin) + " bytes";
        throw m_isText
            ? CInputError::AtLine(document.source.path, document.tables[elementIndex].line, message)
            : CInputError::AtByte(document.source.path, m_begin, message);
    }
}

bool CPlyRecordReader::Next()
{
    // Records without properties take no room, however many there are.
    if (m_record == m_element.count || m_fields.empty())
    {
        return false;
    }
    if (m_isText)
    {
        readText();
    }
    else
    {
        readBinary();
    }
    ++m_record;
    return true;
}

void CPlyRecordReader::readBinary()
{
    m_begin = m_end;
    std::size_t position = m_begin;
    for (std::size_t index = 0; index < m_fields.size(); ++index)
    {
        const SPlyProperty& property = m_element.properties[index];
        const std::size_t size = GetPlyTypeSize(property.type);
        const std::size_t lengthBegin = position;
        std::int64_t length = 1;
        if (property.IsList())
        {
            const std::size_t lengthSize = GetPlyTypeSize(*property.countType);
            if (m_text.size() - position < lengthSize)
            {
                throw MakeError("expected " + nameRecord(), "the end of the file");
            }
            length = LoadPlyInteger(m_bytes + position, *property.countType, m_isSwapped);
            position += lengthSize;
            if (length < 0)
            {
                throw MakeError("expected the length of list '" + property.name + "'",
                                std::to_string(length));
            }
        }
        const std::size_t available = (m_text.size() - position) / size;
        if (static_cast<std::uint64_t>(length) > available)
        {
            throw MakeError("expected " + std::to_string(length) + " values of '" + property.name +
                                "' in " + nameRecord(),
                            "the end of the file after " + std::to_string(available));
        }
        m_fields[index] = {lengthBegin, position, static_cast<std::uint64_t>(length)};
        position += static_cast<std::size_t>(length) * size;
    }
    m_end = position;
}

void CPlyRecordReader::readText()
{
    do
    {
        if (!m_lines.Next())
        {
            throw CInputError::AtLine(m_document.source.path, m_lines.GetNumber() + 1,
                                      "expected " + nameRecord() + ", found the end of the file");
        }
    } while (IsBlankText(m_lines.GetLine()));
    m_begin = m_tableBegin + m_lines.GetBegin();
    m_end = m_tableBegin + m_lines.GetEnd();
    std::string_view rest = m_lines.GetRawLine();
    for (std::size_t index = 0; index < m_fields.size(); ++index)
    {
        const SPlyProperty& property = m_element.properties[index];
        std::size_t lengthBegin = 0;
        std::uint64_t length = 1;
        if (property.IsList())
        {
            const std::string_view token = TakeToken(rest);
            lengthBegin = m_end - rest.size() - token.size();
            length = takeLength(token);
        }
        m_fields[index] = {lengthBegin, m_end - rest.size(), length};
        for (std::uint64_t value = 0; value < length; ++value)
        {
            if (TakeToken(rest).empty())
            {
                throw MakeError("expected a value of '" + property.name + "' in " + nameRecord(),
                                "the end of the line");
            }
        }
    }
    const std::string_view surplus = TakeToken(rest);
    if (!surplus.empty())
    {
        throw MakeError("expected the end of " + nameRecord(), Quote(surplus));
    }
}

std::uint64_t CPlyRecordReader::takeLength(std::string_view token) const
{
    const std::int64_t length = parseInteger(token);
    if (length < 0)
    {
        throw MakeError("expected the length of a list", Quote(token));
    }
    return static_cast<std::uint64_t>(length);
}

std::int64_t CPlyRecordReader::parseInteger(std::string_view token) const
{
    const std::optional<std::int64_t> value = ParseInteger(token);
    if (!value.has_value())
    {
        throw MakeError("expected a whole number", Quote(token));
    }
    return *value;
}

double CPlyRecordReader::ReadReal(std::size_t property) const
{
    const std::size_t begin = m_fields[property].begin;
    if (!m_isText)
    {
        return LoadPlyReal(m_bytes + begin, m_element.properties[property].type, m_isSwapped);
    }
    std::string_view rest = m_text.substr(begin, m_end - begin);
    const std::string_view token = TakeToken(rest);
    const std::optional<double> value = ParseReal(token);
    if (!value.has_value())
    {
        throw MakeError("expected a number for '" + m_element.properties[property].name + "'",
                        Quote(token));
    }
    return *value;
}

CInputError CPlyRecordReader::MakeError(const std::string& expected, const std::string& found) const
{
    const std::string message = expected + ", found " + found;
    return m_isText ? CInputError::AtLine(m_document.source.path, m_lines.GetNumber(), message)
                    : CInputError::AtByte(m_document.source.path, m_begin, message);
}

std::string CPlyRecordReader::nameRecord() const
{
    return "record " + std::to_string(m_record) + " of element '" + m_element.name + "'";
}

}  // namespace Application
