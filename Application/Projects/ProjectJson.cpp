#include "Application/Projects/ProjectJson.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

#include "Application/Files/CJsonFields.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/TextTokens.h"
#include "Application/Projects/CProjectReader.h"
#include "Base/Support/WideText.h"

namespace Application
{

namespace
{

using Json = CJsonFields::Json;

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
    return CProjectReader(name).Read(json);
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
    const Json root = {{"format", SProjectDocument::c_format},
                       {"version", SProjectDocument::c_version},
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
           text.find(std::string("\"") + SProjectDocument::c_format + "\"") !=
               std::string_view::npos;
}

std::string PrintKey(const Base::CUniqueID& key)
{
    return Base::WideToUtf8(key.AsString());
}

}  // namespace Application
