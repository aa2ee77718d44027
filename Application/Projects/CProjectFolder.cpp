#include "Application/Projects/CProjectFolder.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "Application/Files/COutputError.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/ListNames.h"

namespace Application
{

namespace
{

constexpr std::string_view c_flagsEnd = ".flags";
constexpr std::string_view c_editEnd = ".edit";

/// Far more than are ever used, and never so many that counting on would begin again at 0.
constexpr std::uint64_t c_lastNumber = 999'999'999'999'999'999;

/// Takes a number off the front of \p text, as std::to_string() writes it.
std::optional<std::uint64_t> TakeNumber(std::string_view& text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const auto length = static_cast<std::size_t>(end - text.data());
    if (error != std::errc() || (text.front() == '0' && length > 1) || number > c_lastNumber)
    {
        return std::nullopt;
    }
    text.remove_prefix(length);
    return number;
}

/// The step's number in a name of this folder.
std::optional<std::uint64_t> ParseName(std::string_view name)
{
    const auto number = TakeNumber(name);
    if (!number || name == c_editEnd)
    {
        return number;
    }
    if (!name.starts_with('-'))
    {
        return std::nullopt;
    }
    name.remove_prefix(1);
    return TakeNumber(name) && name == c_flagsEnd ? number : std::nullopt;
}

/// Of the kind that is removed with other unfinished files as soon as there is a project.
constexpr std::string_view c_markName = ".veko2-new-project.part";

}  // namespace

CProjectFolder::CProjectFolder(const std::filesystem::path& project, CFolderLock::Kind kind)
    : m_path(Find(project)), m_lock(std::in_place, m_path, kind, project)
{}

CProjectFolder::CProjectFolder(const std::filesystem::path& project) : m_path(Find(project)) {}

std::filesystem::path CProjectFolder::Find(const std::filesystem::path& project)
{
    const std::filesystem::path resolved = CReplacementFile::FollowLinks(project);
    std::string name = resolved.filename().string();
    constexpr std::string_view c_end = ".json";
    if (name.ends_with(c_end))
    {
        name.resize(name.size() - c_end.size());
    }
    return resolved.parent_path() / (name + ".data");
}

bool CProjectFolder::IsFree(const std::filesystem::path& folder)
{
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(folder, error)) ||
        std::filesystem::exists(folder / c_markName, error))
    {
        return true;
    }
    const bool isEmpty = ListNames(folder, error).empty();
    return isEmpty && !error;
}

void CProjectFolder::Mark() const
{
    CReplacementFile mark(m_path / c_markName, true);
    mark.Commit();
}

std::uint64_t CProjectFolder::FindFreeNumber() const
{
    std::uint64_t free = 1;
    std::error_code error;
    const std::vector<std::string> names = ListNames(m_path, error);
    if (error)
    {
        throw COutputError(m_path, "cannot be listed: " + error.message());
    }
    for (const std::string& name : names)
    {
        if (const auto number = ParseName(name))
        {
            free = std::max(free, *number + 1);
        }
    }
    if (free > c_lastNumber)
    {
        throw COutputError(m_path, "holds a file with the last number that there is, " +
                                       std::to_string(c_lastNumber) + "; take that out");
    }
    return free;
}

std::string CProjectFolder::MakeFlagFileName(std::uint64_t number, std::size_t index)
{
    return std::to_string(number) + "-" + std::to_string(index) + std::string(c_flagsEnd);
}

std::string CProjectFolder::MakeEditFileName(std::uint64_t number)
{
    return std::to_string(number) + std::string(c_editEnd);
}

bool CProjectFolder::IsFlagFileName(std::string_view name)
{
    return name.ends_with(c_flagsEnd) && ParseName(name).has_value();
}

bool CProjectFolder::IsEditFileName(std::string_view name)
{
    return name.ends_with(c_editEnd) && ParseName(name).has_value();
}

void CProjectFolder::RemoveAllBut(const std::set<std::string>& names) const
{
    std::error_code ignored;
    for (const std::string& name : ListNames(m_path, ignored))
    {
        if ((ParseName(name).has_value() && names.count(name) == 0) ||
            CReplacementFile::IsUnfinishedName(name))
        {
            std::filesystem::remove(m_path / name, ignored);
        }
    }
}

}  // namespace Application
