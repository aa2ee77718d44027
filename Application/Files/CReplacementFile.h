#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Application/Files/CFileDescriptor.h"
#include "Application/Files/CUnfinishedFile.h"

namespace Application
{

/// A file that appears under its name complete or not at all.
///
///     CReplacementFile file(target, force);
///     file.Write(bytes);
///     file.Commit();
///
/// The bytes go to a file without a name in the target's folder, which Commit() makes permanent and
/// gives the name. Until then, and whatever fails or is killed, the target is what it was; an
/// unfinished file goes away by itself. Where the file system knows no files without a name, and
/// for the moment in which an old file is replaced, it is called .veko2-*.part; RemoveStale()
/// removes what a process that was killed then has left. One thread at a time.
class CReplacementFile
{
public:
    /// When the file gets a name, its own or another.
    enum class Naming
    {
        WhenComplete,  ///< where the file system can do that, and from the start elsewhere
        FromTheStart,
    };

    /// When Commit() waits until the disk has the file.
    enum class Permanence
    {
        Now,
        Later,  ///< in MakePermanent()
    };

    /// A target that is a symbolic link stands for the file it points to, see FollowLinks(); a
    /// replaced file's permissions are kept.
    /// @throw COutputError when the target exists and not \p force, when it is not a regular file,
    /// or when its folder is missing or cannot be written to.
    CReplacementFile(const std::filesystem::path& target, bool force,
                     Naming naming = Naming::WhenComplete);

    ~CReplacementFile();
    CReplacementFile(const CReplacementFile&) = delete;
    CReplacementFile& operator=(const CReplacementFile&) = delete;

    /// Appends. Small pieces are gathered, large ones written as they lie.
    /// @throw COutputError when the system cannot store them, such as on a full disk; CInputError
    /// when a large piece lies in a mapped file that was shortened.
    void Write(std::span<const std::byte> bytes);

    /// Appends text as it is.
    /// @throw COutputError as above.
    void Write(std::string_view text) { Write(std::as_bytes(std::span(text))); }

    /// Stores everything permanently and gives it the target's name.
    /// @throw COutputError when it cannot be stored, or the target has come into being since and
    /// was not to be replaced. Whatever it throws, the target is what it was.
    void Commit(Permanence permanence = Permanence::Now);

    /// Makes files of one folder permanent that were committed for later. For many of them it
    /// takes hardly longer than for one.
    /// @throw COutputError when they cannot be stored.
    static void MakePermanent(const std::filesystem::path& folder,
                              const std::vector<std::string>& names);

    /// The file that a symbolic link points to, over other links if need be, whether it exists or
    /// not; \p file itself when that is no link.
    [[nodiscard]] static std::filesystem::path FollowLinks(const std::filesystem::path& file);

    /// Removes from \p folder what processes that no longer live have left unfinished. What cannot
    /// be removed stays.
    static void RemoveStale(const std::filesystem::path& folder);

    /// Whether a name is one that unfinished files have.
    [[nodiscard]] static bool IsUnfinishedName(std::string_view name);

private:
    [[nodiscard]] bool openUnnamed();
    void openNamed();
    [[nodiscard]] bool nameUnnamed();
    void flush();
    void writeThrough(std::span<const std::byte> bytes);
    void rename();

    std::filesystem::path m_target;     ///< as given, for messages
    std::filesystem::path m_resolved;   ///< behind symbolic links
    std::filesystem::path m_temporary;  ///< the unfinished file, once it has a name
    std::optional<CUnfinishedFile> m_unfinished;
    bool m_force;
    CFileDescriptor m_descriptor;
    std::unique_ptr<std::byte[]> m_buffer;
    std::size_t m_buffered = 0;
    std::uint64_t m_written = 0;
    std::uint64_t m_pushed = 0;
};

}  // namespace Application
