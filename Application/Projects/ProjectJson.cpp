#include "Application/Projects/ProjectJson.h"

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <unordered_set>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/JsonErrors.h"
#include "Application/Projects/CProjectFolder.h"
#include "Application/Projects/Placement.h"
#include "Base/Support/WideText.h"

namespace Application
{

namespace
{

using Json = nlohmann::ordered_json;

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

/// The value itself, shortened; of containers in containers only the kind, since they may be nested
/// deeper than printing them could bear.
std::string Describe(const Json& value)
{
    constexpr std::size_t c_maxLength = 60;
    const auto isContainer = [](const Json& element) { return element.is_structured(); };
    if (value.is_structured() && std::any_of(value.begin(), value.end(), isContainer))
    {
        return value.type_name();
    }
    const std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    return text.size() > c_maxLength ? text.substr(0, c_maxLength) + "..." : text;
}

/// Reads the fields of one JSON object, and remembers where it stands for messages.
class CFields
{
public:
    CFields(const Json& object, const std::filesystem::path& file, std::string place)
        : m_object(object), m_file(file), m_place(std::move(place))
    {
        if (!object.is_object())
        {
            Fail("", "an object", object);
        }
    }

    /// Refuses every field that is not among \p known.
    void Allow(std::initializer_list<std::string_view> known) const
    {
        for (const auto& [name, value] : m_object.items())
        {
            if (std::find(known.begin(), known.end(), name) == known.end())
            {
                throw CInputError(m_file, where(name) +
                                              ": the field is not known; take it out, or use the "
                                              "version of veko2 that wrote it");
            }
        }
    }

    [[nodiscard]] const Json& Get(const char* name) const
    {
        const auto found = m_object.find(name);
        if (found == m_object.end())
        {
            throw CInputError(m_file, where(name) + ": the field is missing");
        }
        return *found;
    }

    [[nodiscard]] const Json& GetArray(const char* name) const
    {
        return require(name, Get(name).is_array(), "an array");
    }

    [[nodiscard]] std::string GetText(const char* name) const
    {
        return require(name, Get(name).is_string(), "a text").get<std::string>();
    }

    [[nodiscard]] bool GetBool(const char* name) const
    {
        return require(name, Get(name).is_boolean(), "true or false").get<bool>();
    }

    [[nodiscard]] std::uint64_t GetCount(const char* name) const
    {
        return require(name, Get(name).is_number_unsigned(), "a whole number, not negative")
            .get<std::uint64_t>();
    }

    [[nodiscard]] int GetInt(const char* name) const
    {
        const Json& value = Get(name);
        const bool isHeld = value.is_number_unsigned()
                                ? value.get<std::uint64_t>() <= std::numeric_limits<int>::max()
                                : value.is_number_integer() &&
                                      value.get<std::int64_t>() >= std::numeric_limits<int>::min();
        return require(name, isHeld, "a whole number of 32 bits").get<int>();
    }

    void GetNumbers(const char* name, std::span<double> numbers) const
    {
        const Json& value = Get(name);
        const std::string expected = "an array of " + std::to_string(numbers.size()) + " numbers";
        if (!value.is_array() || value.size() != numbers.size())
        {
            Fail(name, expected, value);
        }
        for (std::size_t index = 0; index < numbers.size(); ++index)
        {
            if (!value[index].is_number())
            {
                Fail(name, expected, value);
            }
            numbers[index] = value[index].get<double>();
        }
    }

    /// "expected ..., found ..." at the field \p name, or at the object itself.
    [[noreturn]] void Fail(const std::string& name, const std::string& expected,
                           const Json& found) const
    {
        throw CInputError(m_file,
                          where(name) + ": expected " + expected + ", found " + Describe(found));
    }

private:
    const Json& require(const char* name, bool isRight, const char* expected) const
    {
        const Json& value = Get(name);
        if (!isRight)
        {
            Fail(name, expected, value);
        }
        return value;
    }

    [[nodiscard]] std::string where(const std::string& name) const
    {
        if (m_place.empty())
        {
            return name.empty() ? "document" : name;
        }
        return name.empty() ? m_place : m_place + "." + name;
    }

    const Json& m_object;
    const std::filesystem::path& m_file;
    std::string m_place;
};

std::string MakePlace(const char* array, std::size_t index)
{
    return std::string(array) + "[" + std::to_string(index) + "]";
}

SProjectScan ReadScan(const CFields& fields)
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

SWorldBox ReadBox(const CFields& fields)
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

SProjectEdit ReadEdit(const CFields& fields)
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

void ReadHistory(const CFields& fields, const std::filesystem::path& name,
                 SProjectDocument& document)
{
    fields.Allow({"budget", "done", "edits"});
    document.historyBudget = fields.GetCount("budget");
    const Json& edits = fields.GetArray("edits");
    for (std::size_t index = 0; index < edits.size(); ++index)
    {
        document.edits.push_back(
            ReadEdit(CFields(edits[index], name, MakePlace("history.edits", index))));
    }
    document.numDone = fields.GetCount("done");
    if (document.numDone > document.edits.size())
    {
        fields.Fail("done", "at most the number of edits, " + std::to_string(edits.size()),
                    fields.Get("done"));
    }
}

void CheckHeader(const CFields& fields)
{
    const Json& format = fields.Get("format");
    if (format != c_format)
    {
        fields.Fail("format", std::string("\"") + c_format + "\"", format);
    }
    const Json& version = fields.Get("version");
    if (version != c_version)
    {
        fields.Fail("version", std::to_string(c_version) + ", the only one that this veko2 knows",
                    version);
    }
}

Json Parse(std::string_view text, const std::filesystem::path& name)
{
    try
    {
        return Json::parse(text);
    }
    catch (const Json::parse_error& error)
    {
        throw CInputError::AtByte(name, error.byte,
                                  "expected a JSON document: " + DescribeJsonError(error.what()));
    }
    catch (const Json::exception& error)
    {
        throw CInputError(name, DescribeJsonError(error.what()));
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
    const Json root = Parse(json, name);
    const CFields fields(root, name, "");
    CheckHeader(fields);
    fields.Allow({"format", "version", "scans", "excluded", "history"});
    SProjectDocument document;
    std::unordered_set<Base::CUniqueID> keys;
    const Json& scans = fields.GetArray("scans");
    for (std::size_t index = 0; index < scans.size(); ++index)
    {
        const CFields scan(scans[index], name, MakePlace("scans", index));
        document.scans.push_back(ReadScan(scan));
        if (!keys.insert(document.scans.back().key).second)
        {
            scan.Fail("key", "a key of its own for each scan", scan.Get("key"));
        }
    }
    if (scans.empty())
    {
        fields.Fail("scans", "at least one scan", scans);
    }
    const Json& boxes = fields.GetArray("excluded");
    for (std::size_t index = 0; index < boxes.size(); ++index)
    {
        document.excluded.push_back(
            ReadBox(CFields(boxes[index], name, MakePlace("excluded", index))));
    }
    ReadHistory(CFields(fields.Get("history"), name, "history"), name, document);
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
    const std::size_t first = begin.find_first_not_of(" \t\r\n");
    return first != std::string::npos && begin[first] == '{' &&
           begin.find(std::string("\"") + c_format + "\"") != std::string::npos;
}

std::string PrintKey(const Base::CUniqueID& key)
{
    return Base::WideToUtf8(key.AsString());
}

}  // namespace Application
