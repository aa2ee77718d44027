#include "Apps/CommandLine/OutputFiles.h"

#include <algorithm>
#include <map>
#include <set>
#include <system_error>

#include "Application/Files/CReplacementFile.h"
#include "Application/Pictures/CPicture.h"
#include "Application/Projects/CProjectFolder.h"
#include "Apps/CommandLine/CUsageError.h"

namespace CommandLine
{

std::filesystem::path ToTrueName(const std::filesystem::path& file)
{
    std::error_code error;
    // A link to a file that is not there yet is that file's name all the same.
    const auto absolute =
        std::filesystem::absolute(Application::CReplacementFile::FollowLinks(file), error);
    const auto canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : canonical;
}

void CheckOutputs(const std::vector<SOutputFile>& outputs, const std::vector<std::string>& inputs)
{
    std::map<std::filesystem::path, std::string> named;
    std::map<std::filesystem::path, std::string> read;
    for (const std::string& input : inputs)
    {
        if (!input.empty())
        {
            read.emplace(ToTrueName(input), input);
        }
    }
    std::set<std::filesystem::path> folders;
    for (const SOutputFile& output : outputs)
    {
        if (output.file.empty())
        {
            continue;
        }
        const std::filesystem::path name = ToTrueName(output.file);
        if (folders.insert(name.parent_path()).second)
        {
            Application::CReplacementFile::RemoveStale(name.parent_path());
        }
        const auto [earlier, isFirst] = named.emplace(name, output.option);
        if (!isFirst)
        {
            throw CUsageError(earlier->second + " and " + output.option + " name the same file '" +
                              output.file + "'");
        }
        const auto input = read.find(name);
        if (input != read.end() && (output.ownInput.empty() || ToTrueName(output.ownInput) != name))
        {
            throw CUsageError(output.option + " would replace the input '" + input->second +
                              "' by something else");
        }
        // Made and taken back: an unfinished file that is never committed leaves no trace.
        const Application::CReplacementFile probe(output.file, output.isReplaced);
    }
}

void CheckOutsideData(const std::string& option, const std::string& file,
                      const std::string& project)
{
    const auto data = ToTrueName(Application::CProjectFolder::Find(project));
    const auto name = ToTrueName(file);
    const auto [end, ignored] = std::mismatch(data.begin(), data.end(), name.begin(), name.end());
    if (!file.empty() && end == data.end())
    {
        throw CUsageError(option + ": '" + file + "' is in the project's own data folder '" +
                          data.string() + "', which only its edits may change");
    }
}

void WriteBytes(const std::string& file, std::span<const std::byte> bytes, bool force)
{
    Application::CReplacementFile output(file, force);
    output.Write(bytes);
    output.Commit();
}

void WriteText(const std::string& file, std::string_view text, bool force)
{
    WriteBytes(file, std::as_bytes(std::span(text)), force);
}

void WritePicture(const std::string& file, const Application::CPicture& picture, bool force)
{
    WriteBytes(file, picture.ToPng(), force);
}

}  // namespace CommandLine
