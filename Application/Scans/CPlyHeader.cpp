#include "Application/Scans/CPlyHeader.h"

#include <algorithm>
#include <set>

#include "Application/Files/CInputError.h"
#include "Application/Files/CLineReader.h"
#include "Application/Files/TextTokens.h"

namespace Application
{

namespace
{

/// No real header comes near it; it bounds what a file of header lines only can make of memory.
constexpr std::size_t c_largestHeader = std::size_t{1} << 20;

/// The state of reading one header, line by line.
class CPlyHeaderParser
{
public:
    CPlyHeaderParser(const std::filesystem::path& file, std::string_view text)
        : m_file(file), m_lines(text.substr(0, c_largestHeader))
    {}

    void Parse()
    {
        if (!m_lines.Next() || m_lines.GetLine() != "ply")
        {
            fail("expected 'ply'", m_lines.GetLine());
        }
        do
        {
            if (!m_lines.Next())
            {
                throw CInputError::AtLine(m_file, m_lines.GetNumber() + 1,
                                          "expected 'end_header', found the end of the header's "
                                          "text (it may have 1 MiB)");
            }
            m_rest = m_lines.GetLine();
        } while (parseLine(TakeToken(m_rest)));
        if (!format.has_value())
        {
            fail("expected a line 'format' before the header's end", "end_header");
        }
    }

    [[nodiscard]] std::size_t GetSize() const { return m_lines.GetEnd(); }
    [[nodiscard]] std::uint64_t GetLineCount() const { return m_lines.GetNumber(); }

    std::optional<PlyFormat> format;
    std::vector<SPlyElement> elements;
    std::vector<std::string> comments;

private:
    [[nodiscard]] bool parseLine(std::string_view keyword)
    {
        if (keyword == "comment" || keyword == "obj_info")
        {
            comments.emplace_back(m_rest.empty() ? m_rest : m_rest.substr(1));
            return true;
        }
        if (keyword == "end_header")
        {
            expectLineEnd();
            return false;
        }
        if (keyword == "format")
        {
            parseFormat();
        }
        else if (keyword == "element")
        {
            parseElement();
        }
        else if (keyword == "property")
        {
            parseProperty();
        }
        else
        {
            fail(
                "expected 'format', 'comment', 'obj_info', 'element', 'property' or "
                "'end_header'",
                keyword);
        }
        expectLineEnd();
        return true;
    }

    void parseFormat()
    {
        const std::string_view name = TakeToken(m_rest);
        if (format.has_value())
        {
            fail("expected one line 'format'", "another");
        }
        if (name == "ascii")
        {
            format = PlyFormat::Ascii;
        }
        else if (name == "binary_little_endian")
        {
            format = PlyFormat::BinaryLittleEndian;
        }
        else if (name == "binary_big_endian")
        {
            format = PlyFormat::BinaryBigEndian;
        }
        else
        {
            fail("expected 'ascii', 'binary_little_endian' or 'binary_big_endian'", name);
        }
        const std::string_view version = TakeToken(m_rest);
        if (version != "1.0")
        {
            fail("expected the format version '1.0'", version);
        }
    }

    void parseElement()
    {
        SPlyElement element;
        element.name = TakeToken(m_rest);
        if (element.name.empty())
        {
            fail("expected the element's name", "");
        }
        if (!m_elementNames.insert(element.name).second)
        {
            fail("expected each element once", element.name);
        }
        const std::string_view count = TakeToken(m_rest);
        const std::optional<std::int64_t> value = ParseInteger(count);
        if (!value.has_value() || *value < 0)
        {
            fail("expected the number of records of element '" + element.name + "'", count);
        }
        element.count = static_cast<std::uint64_t>(*value);
        element.countSize = count.size();
        const std::string_view line = m_lines.GetLine();
        element.countBegin =
            m_lines.GetBegin() + static_cast<std::size_t>(count.data() - line.data());
        elements.push_back(std::move(element));
        m_propertyNames.clear();
    }

    void parseProperty()
    {
        if (elements.empty())
        {
            fail("expected an element before its properties", "property");
        }
        SPlyProperty property;
        std::string_view type = TakeToken(m_rest);
        if (type == "list")
        {
            const std::string_view countType = TakeToken(m_rest);
            property.countType = parseType(countType);
            if (!IsIntegerType(*property.countType))
            {
                fail("expected an integer type for the length of a list", countType);
            }
            type = TakeToken(m_rest);
        }
        property.type = parseType(type);
        property.name = TakeToken(m_rest);
        if (property.name.empty())
        {
            fail("expected the property's name", "");
        }
        if (!m_propertyNames.insert(property.name).second)
        {
            fail("expected each property of an element once", property.name);
        }
        elements.back().properties.push_back(std::move(property));
    }

    [[nodiscard]] PlyType parseType(std::string_view name)
    {
        const std::optional<PlyType> type = ParsePlyType(name);
        if (!type.has_value())
        {
            fail("expected a number type such as 'uchar', 'int', 'float' or 'float64'", name);
        }
        return *type;
    }

    void expectLineEnd()
    {
        const std::string_view token = TakeToken(m_rest);
        if (!token.empty())
        {
            fail("expected the end of the line", token);
        }
    }

    [[noreturn]] void fail(const std::string& expected, std::string_view found) const
    {
        throw CInputError::AtLine(m_file, m_lines.GetNumber(),
                                  expected + ", found " + Quote(found));
    }

    const std::filesystem::path& m_file;
    CLineReader m_lines;
    std::string_view m_rest;
    std::set<std::string, std::less<>> m_elementNames;
    std::set<std::string, std::less<>> m_propertyNames;
};

[[nodiscard]] std::string_view PrintType(PlyType type)
{
    constexpr std::string_view c_names[] = {"char", "uchar", "short", "ushort",
                                            "int",  "uint",  "float", "double"};
    return c_names[static_cast<std::size_t>(type)];
}

}  // namespace

std::optional<std::size_t> SPlyElement::FindProperty(std::string_view propertyName) const
{
    const auto found =
        std::find_if(properties.begin(), properties.end(),
                     [&](const SPlyProperty& property) { return property.name == propertyName; });
    return found == properties.end()
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(found - properties.begin()));
}

bool SPlyElement::HasLists() const
{
    return std::any_of(properties.begin(), properties.end(),
                       [](const SPlyProperty& property) { return property.IsList(); });
}

std::size_t SPlyElement::GetRecordSize() const
{
    return GetPropertyOffset(properties.size());
}

std::size_t SPlyElement::GetPropertyOffset(std::size_t index) const
{
    std::size_t size = 0;
    for (std::size_t before = 0; before < index; ++before)
    {
        size += GetPlyTypeSize(properties[before].countType.value_or(properties[before].type));
    }
    return size;
}

CPlyHeader CPlyHeader::Parse(const std::filesystem::path& file, std::string_view text)
{
    CPlyHeaderParser parser(file, text);
    parser.Parse();
    CPlyHeader header;
    header.m_text = text.substr(0, parser.GetSize());
    header.m_lineCount = parser.GetLineCount();
    header.m_format = *parser.format;
    header.m_elements = std::move(parser.elements);
    header.m_comments = std::move(parser.comments);
    return header;
}

std::optional<std::size_t> CPlyHeader::FindElement(std::string_view name) const
{
    const auto found =
        std::find_if(m_elements.begin(), m_elements.end(),
                     [&](const SPlyElement& element) { return element.name == name; });
    return found == m_elements.end()
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(found - m_elements.begin()));
}

std::string CPlyHeader::Print(std::span<const std::uint64_t> counts) const
{
    std::string printed;
    std::size_t copied = 0;
    for (std::size_t index = 0; index < m_elements.size(); ++index)
    {
        const SPlyElement& element = m_elements[index];
        if (counts[index] != element.count)
        {
            printed += m_text.substr(copied, element.countBegin - copied);
            printed += std::to_string(counts[index]);
            copied = element.countBegin + element.countSize;
        }
    }
    return printed.append(m_text.substr(copied));
}

std::string PrintPlyProperty(const SPlyProperty& property)
{
    std::string printed;
    if (property.IsList())
    {
        printed.append("list ").append(PrintType(*property.countType)).append(" ");
    }
    return printed.append(PrintType(property.type)).append(" ").append(property.name);
}

}  // namespace Application
