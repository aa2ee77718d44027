#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "Application/Projects/CFolderLock.h"

namespace Application
{

/// The data folder of a project: its flag files and the edits of its history, under names that are
/// never used again. Only the project file says which of them count.
///
/// It lies beside the project file: "site.veko2.data" beside "site.veko2.json". The object keeps it
/// locked while it lives.
class CProjectFolder
{
public:
    /// @throw CInputError when the folder is missing, COutputError when another process is in it.
    CProjectFolder(const std::filesystem::path& project, CFolderLock::Kind kind);

    /// Only names the data folder of a project, which is missing.
    explicit CProjectFolder(const std::filesystem::path& project);

    [[nodiscard]] bool IsMissing() const { return !m_lock.has_value(); }

    /// Where the data folder of a project is.
    [[nodiscard]] static std::filesystem::path Find(const std::filesystem::path& project);

    /// Whether a new project may take that folder without losing anything: it is missing, empty, or
    /// marked by a Create() that never came to its end.
    [[nodiscard]] static bool IsFree(const std::filesystem::path& folder);

    /// Marks the folder as one whose project does not exist yet. RemoveAllBut() takes that back.
    /// @throw COutputError when it cannot be written.
    void Mark() const;

    [[nodiscard]] const std::filesystem::path& GetPath() const { return m_path; }
    [[nodiscard]] std::filesystem::path GetPath(std::string_view name) const
    {
        return m_path / name;
    }

    /// A number whose names no file in the folder has.
    /// @throw COutputError when there is none left, or the folder cannot be listed whole.
    [[nodiscard]] std::uint64_t FindFreeNumber() const;

    /// The names of the flags of scan \p index, and of the edit, of the step \p number.
    [[nodiscard]] static std::string MakeFlagFileName(std::uint64_t number, std::size_t index);
    [[nodiscard]] static std::string MakeEditFileName(std::uint64_t number);

    /// Whether a name is of that kind. Nothing else in the folder is ever read or removed, whatever
    /// a project file says.
    [[nodiscard]] static bool IsFlagFileName(std::string_view name);
    [[nodiscard]] static bool IsEditFileName(std::string_view name);

    /// Removes the files of this class's names, and what a process that was killed has left
    /// unfinished, but for those in \p names. What cannot be removed is left for the next time.
    void RemoveAllBut(const std::set<std::string>& names) const;

private:
    std::filesystem::path m_path;
    std::optional<CFolderLock> m_lock;
};

}  // namespace Application
