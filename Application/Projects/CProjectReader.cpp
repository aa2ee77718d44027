#include "Application/Projects/CProjectReader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Projects/CProjectFolder.h"
#include "Application/Projects/Placement.h"

namespace Application
{

namespace
{

using Json = CJsonFields::Json;

std::optional<std::uint8_t> ToHexDigit(char character)
{
    if (character >= '0' && character <= '9')
    {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'a' && character <= 'f')
    {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    return std::nullopt;
}

std::optional<Base::CUniqueID> ParseKey(std::string_view text)
{
    constexpr std::size_t c_length = 36;
    if (text.size() != c_length)
    {
        return std::nullopt;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t numDigits = 0;
    for (std::size_t index = 0; index < c_length; ++index)
    {
        if (index == 8 || index == 13 || index == 18 || index == 23)
        {
            if (text[index] != '-')
            {
                return std::nullopt;
            }
            continue;
        }
        const auto digit = ToHexDigit(text[index]);
        if (!digit)
        {
            return std::nullopt;
        }
        std::uint8_t& byte = bytes[numDigits++ / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | *digit);
    }
    return Base::CUniqueID(bytes);
}

std::string MakePlace(const char* array, std::size_t index)
{
    return std::string(array) + "[" + std::to_string(index) + "]";
}

SProjectScan ReadScan(const CJsonFields& fields)
{
    fields.Allow({"file", "key", "transform", "points", "flags", "optimizationLevel", "skeleton"});
    SProjectScan scan;
    scan.file = fields.GetText("file");
    // The system takes a name to end in front of a zero.
    if (scan.file.empty() || scan.file.native().find('\0') != std::string::npos)
    {
        fields.Fail("file", "the name of a scan file", fields.Get("file"));
    }
    const auto key = ParseKey(fields.GetText("key"));
    if (!key)
    {
        fields.Fail("key",
                    "an identifier of 32 lower-case hexadecimal digits in groups of 8, 4, "
                    "4, 4 and 12",
                    fields.Get("key"));
    }
    scan.key = *key;
    fields.GetNumbers("transform", std::span<double>(scan.transform.data(), 16));
    if (!IsPlacement(scan.transform))
    {
        fields.Fail("transform",
                    "a transform of finite numbers with an inverse, the translation at 12, 13, 14 "
                    "and 0, 0, 0, 1 at 3, 7, 11, 15",
                    fields.Get("transform"));
    }
    scan.points = fields.GetCount("points");
    if (!fields.Get("flags").is_null())
    {
        scan.flags = fields.GetText("flags");
        if (!CProjectFolder::IsFlagFileName(scan.flags))
        {
            fields.Fail("flags", "null or a file name NUMBER-NUMBER.flags", fields.Get("flags"));
        }
    }
    scan.optimizationLevel = fields.GetInt("optimizationLevel");
    scan.isSkeleton = fields.GetBool("skeleton");
    return scan;
}

SWorldBox ReadBox(const CJsonFields& fields)
{
    fields.Allow({"min", "max"});
    SWorldBox box;
    fields.GetNumbers("min", box.min);
    fields.GetNumbers("max", box.max);
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        if (!(box.min[axis] <= box.max[axis]))
        {
            fields.Fail("max", "nothing below min", fields.Get("max"));
        }
    }
    return box;
}

SProjectEdit ReadEdit(const CJsonFields& fields)
{
    fields.Allow({"file", "command", "bytes"});
    SProjectEdit edit;
    edit.file = fields.GetText("file");
    if (!CProjectFolder::IsEditFileName(edit.file))
    {
        fields.Fail("file", "a file name NUMBER.edit", fields.Get("file"));
    }
    edit.command = fields.GetText("command");
    edit.bytes = fields.GetCount("bytes");
    return edit;
}

void CheckFormat(const CJsonFields& fields, const Json& format)
{
    if (format != SProjectDocument::c_format)
    {
        fields.Fail("format", std::string("\"") + SProjectDocument::c_format + "\"", format);
    }
}

void CheckVersion(const CJsonFields& fields, const Json& version)
{
    if (version != SProjectDocument::c_version)
    {
        fields.Fail(
            "version",
            std::to_string(SProjectDocument::c_version) + ", the only one that this veko2 knows",
            version);
    }
}

void ReadHistory(const CJsonFields& fields, SProjectDocument& document)
{
    fields.Allow({"budget", "done", "edits"});
    document.historyBudget = fields.GetCount("budget");
    static_cast<void>(fields.GetArray("edits"));
    document.numDone = fields.GetCount("done");
    if (document.numDone > document.edits.size())
    {
        fields.Fail("done", "at most the number of edits, " + std::to_string(document.edits.size()),
                    fields.Get("done"));
    }
}

}  // namespace

SProjectDocument CProjectReader::Read(std::string_view json)
{
    const Json root = CJsonFields::Parse(
        json, m_name, [this](int depth, Json::parse_event_t event, const Json& part) {
            return take(depth, event, part);
        });
    const CJsonFields fields(root, m_name, "");
    CheckFormat(fields, fields.Get("format"));
    CheckVersion(fields, fields.Get("version"));
    if (m_unknownName)
    {
        fields.FailUnknown(*m_unknownName);
    }
    const Json& scans = fields.GetArray("scans");
    if (m_document.scans.empty())
    {
        fields.Fail("scans", "at least one scan", scans);
    }
    static_cast<void>(fields.GetArray("excluded"));
    ReadHistory(CJsonFields(fields.Get("history"), m_name, "history"), m_document);
    return std::move(m_document);
}

bool CProjectReader::take(int depth, Json::parse_event_t event, const Json& part)
{
    switch (event)
    {
        case Json::parse_event_t::key:
            return takeName(depth, part.get_ref<const std::string&>());
        case Json::parse_event_t::object_start:
        case Json::parse_event_t::array_start:
            return beginContainer(depth, event == Json::parse_event_t::array_start);
        case Json::parse_event_t::value:
            return takeValue(depth, part);
        case Json::parse_event_t::object_end:
            if (isListed(depth))
            {
                readListed(part);
                return false;
            }
            return true;
        default:
            return true;
    }
}

bool CProjectReader::takeName(int depth, const std::string& name)
{
    if (depth == 1)
    {
        constexpr std::string_view c_known[] = {"format", "version", "scans", "excluded",
                                                "history"};
        m_field = name;
        const bool isKnown =
            std::find(std::begin(c_known), std::end(c_known), name) != std::end(c_known);
        if (!isKnown && !m_unknownName)
        {
            m_unknownName = name;
        }
        return isKnown;
    }
    if (depth == 2)
    {
        m_historyField = name;
    }
    return depth < c_depths && ++m_numParts[depth] <= c_mostParts;
}

bool CProjectReader::beginContainer(int depth, bool isArray)
{
    if (depth > c_deepest)
    {
        throw CInputError(m_name, "expected at most " + std::to_string(c_deepest) +
                                      " levels of nesting, found more");
    }
    if (isListed(depth) && isArray)
    {
        readListed(Json::array({Json::array()}));
    }
    const bool isKept = isNeeded(depth);
    if (depth + 1 < c_depths)
    {
        m_numParts[depth + 1] = 0;
        m_areElements[depth + 1] = isArray;
        if (isArray && isListed(depth + 1))
        {
            clearList();
        }
    }
    return isKept;
}

bool CProjectReader::takeValue(int depth, const Json& value)
{
    if (isListed(depth))
    {
        readListed(value);
    }
    if (depth == 1 && !m_areElements[1] && (m_field == "format" || m_field == "version"))
    {
        // At once, since a file of another kind has other fields.
        const Json none = Json::object();
        const CJsonFields fields(none, m_name, "");
        m_field == "format" ? CheckFormat(fields, value) : CheckVersion(fields, value);
    }
    return isNeeded(depth);
}

bool CProjectReader::isNeeded(int depth)
{
    return depth < c_depths &&
           (!m_areElements[depth] || isListed(depth) || ++m_numParts[depth] <= c_mostParts);
}

bool CProjectReader::isListed(int depth) const
{
    if (depth == 2)
    {
        return m_areElements[2] && (m_field == "scans" || m_field == "excluded");
    }
    return depth == 3 && m_areElements[3] && !m_areElements[2] && !m_areElements[1] &&
           m_field == "history" && m_historyField == "edits";
}

void CProjectReader::clearList()
{
    if (m_field == "scans")
    {
        m_document.scans.clear();
        m_keys.clear();
    }
    else if (m_field == "excluded")
    {
        m_document.excluded.clear();
    }
    else
    {
        m_document.edits.clear();
    }
}

void CProjectReader::readListed(const Json& part)
{
    if (m_field == "scans")
    {
        const CJsonFields fields(part, m_name, MakePlace("scans", m_document.scans.size()));
        m_document.scans.push_back(ReadScan(fields));
        if (!m_keys.insert(m_document.scans.back().key).second)
        {
            fields.Fail("key", "a key of its own for each scan", fields.Get("key"));
        }
    }
    else if (m_field == "excluded")
    {
        m_document.excluded.push_back(
            ReadBox(CJsonFields(part, m_name, MakePlace("excluded", m_document.excluded.size()))));
    }
    else
    {
        m_document.edits.push_back(ReadEdit(
            CJsonFields(part, m_name, MakePlace("history.edits", m_document.edits.size()))));
    }
}

}  // namespace Application
