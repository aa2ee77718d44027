#include "Application/Projects/ProjectJson.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <span>
#include <unordered_set>

#include "Application/Files/CInputError.h"
#include "Application/Files/CJsonFields.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/TextTokens.h"
#include "Application/Projects/CProjectFolder.h"
#include "Application/Projects/Placement.h"
#include "Base/Support/WideText.h"

namespace Application
{

namespace
{

using Json = CJsonFields::Json;

constexpr const char* c_format = "veko2-project";
constexpr std::uint64_t c_version = 1;

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
    if (scan.file.empty())
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
    if (format != c_format)
    {
        fields.Fail("format", std::string("\"") + c_format + "\"", format);
    }
}

void CheckVersion(const CJsonFields& fields, const Json& version)
{
    if (version != c_version)
    {
        fields.Fail("version", std::to_string(c_version) + ", the only one that this veko2 knows",
                    version);
    }
}

/// Reads a document while it is parsed: each scan, box and edit as soon as it is whole, so that no
/// more than one of them is in memory as JSON. Of anything else only as much is kept as is needed
/// to say what is wrong with it, however much there is.
class CDocumentReader
{
public:
    CDocumentReader(const std::filesystem::path& name, SProjectDocument& document)
        : m_name(name), m_document(document)
    {}

    /// What the parser asks for each part: whether it is to be kept.
    bool Take(int depth, Json::parse_event_t event, const Json& part)
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

    /// The first field of the document itself that is not known.
    [[nodiscard]] const std::optional<std::string>& GetUnknownName() const { return m_unknownName; }

private:
    /// How deep a number in an edit or in a scan's transform is, and one more to see a surplus.
    static constexpr int c_depths = 6;
    /// One more than any object has fields, or any array but the lists has elements, so that a
    /// surplus shows. No more, since the parser goes through all of them for each object that is
    /// not kept.
    static constexpr std::size_t c_mostParts = 17;
    /// Bounds what the parser itself needs for each level.
    static constexpr int c_deepest = 1 << 19;

    bool takeName(int depth, const std::string& name)
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

    bool beginContainer(int depth, bool isArray)
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

    bool takeValue(int depth, const Json& value)
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

    /// Whether to keep one more part of its container. For the value of a field that was decided
    /// when its name was read.
    bool isNeeded(int depth)
    {
        return depth < c_depths &&
               (!m_areElements[depth] || isListed(depth) || ++m_numParts[depth] <= c_mostParts);
    }

    /// Whether the part that begins there is an element of one of the document's lists.
    [[nodiscard]] bool isListed(int depth) const
    {
        if (depth == 2)
        {
            return m_areElements[2] && (m_field == "scans" || m_field == "excluded");
        }
        return depth == 3 && m_areElements[3] && !m_areElements[2] && !m_areElements[1] &&
               m_field == "history" && m_historyField == "edits";
    }

    /// A list that comes twice counts as it comes last.
    void clearList()
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

    void readListed(const Json& part)
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
            m_document.excluded.push_back(ReadBox(
                CJsonFields(part, m_name, MakePlace("excluded", m_document.excluded.size()))));
        }
        else
        {
            m_document.edits.push_back(ReadEdit(
                CJsonFields(part, m_name, MakePlace("history.edits", m_document.edits.size()))));
        }
    }

    const std::filesystem::path& m_name;
    SProjectDocument& m_document;
    std::unordered_set<Base::CUniqueID> m_keys;
    /// The names read last of the document's and of the history's fields.
    std::string m_field;
    std::string m_historyField;
    std::optional<std::string> m_unknownName;
    /// Of the container around each depth: whether it is an array, and how much of it was kept.
    bool m_areElements[c_depths] = {};
    std::size_t m_numParts[c_depths] = {};
};

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

Json ToJson(const SProjectScan& scan)
{
    const double* const elements = scan.transform.data();
    return {{"file", scan.file.string()},
            {"key", PrintKey(scan.key)},
            {"transform", std::vector<double>(elements, elements + 16)},
            {"points", scan.points},
            {"flags", scan.flags.empty() ? Json(nullptr) : Json(scan.flags)},
            {"optimizationLevel", scan.optimizationLevel},
            {"skeleton", scan.isSkeleton}};
}

}  // namespace

SProjectDocument ParseProject(std::string_view json, const std::filesystem::path& name)
{
    SProjectDocument document;
    CDocumentReader reader(name, document);
    const Json root =
        CJsonFields::Parse(json, name, [&](int depth, Json::parse_event_t event, const Json& part) {
            return reader.Take(depth, event, part);
        });
    const CJsonFields fields(root, name, "");
    CheckFormat(fields, fields.Get("format"));
    CheckVersion(fields, fields.Get("version"));
    if (reader.GetUnknownName())
    {
        fields.FailUnknown(*reader.GetUnknownName());
    }
    const Json& scans = fields.GetArray("scans");
    if (document.scans.empty())
    {
        fields.Fail("scans", "at least one scan", scans);
    }
    static_cast<void>(fields.GetArray("excluded"));
    ReadHistory(CJsonFields(fields.Get("history"), name, "history"), document);
    return document;
}

std::string PrintProject(const SProjectDocument& document, const std::filesystem::path& name)
{
    Json scans = Json::array();
    for (const SProjectScan& scan : document.scans)
    {
        scans.push_back(ToJson(scan));
    }
    Json boxes = Json::array();
    for (const SWorldBox& box : document.excluded)
    {
        boxes.push_back({{"min", box.min}, {"max", box.max}});
    }
    Json edits = Json::array();
    for (const SProjectEdit& edit : document.edits)
    {
        edits.push_back({{"file", edit.file}, {"command", edit.command}, {"bytes", edit.bytes}});
    }
    const Json root = {{"format", c_format},
                       {"version", c_version},
                       {"scans", std::move(scans)},
                       {"excluded", std::move(boxes)},
                       {"history",
                        {{"budget", document.historyBudget},
                         {"done", document.numDone},
                         {"edits", std::move(edits)}}}};
    try
    {
        return root.dump(2) + "\n";
    }
    catch (const Json::exception&)
    {
        throw COutputError(name,
                           "a project holds only file names that are UTF-8; rename the scan, or "
                           "the folder it is in");
    }
}

bool IsProjectFile(const std::filesystem::path& file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error))
    {
        return false;
    }
    std::ifstream stream(file, std::ios::binary);
    // The format is the first field that PrintProject() writes; an edited file may have moved it.
    std::string begin(4096, '\0');
    stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    begin.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    const std::string_view text = WithoutByteOrderMark(begin);
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && text[first] == '{' &&
           text.find(std::string("\"") + c_format + "\"") != std::string_view::npos;
}

std::string PrintKey(const Base::CUniqueID& key)
{
    return Base::WideToUtf8(key.AsString());
}

}  // namespace Application
