#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

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
/// The bytes go to a file of a unique name beside the target, which Commit() makes permanent and
/// renames. Until then, and whatever fails or is killed, the target is what it was; destruction
/// without Commit() removes the unfinished file. One thread at a time.
class CReplacementFile
{
public:
    /// A target that is a symbolic link stands for the file it points to; a replaced file's
    /// permissions are kept.
    /// @throw COutputError when the target exists and not \p force, when it is not a regular file,
    /// or when its folder is missing or cannot be written to.
    CReplacementFile(const std::filesystem::path& target, bool force);

    ~CReplacementFile();
    CReplacementFile(const CReplacementFile&) = delete;
    CReplacementFile& operator=(const CReplacementFile&) = delete;

    /// Appends. Small pieces are gathered, large ones written as they lie.
    /// @throw COutputError when the system cannot store them, such as on a full disk.
    void Write(std::span<const std::byte> bytes);

    /// Appends text as it is.
    /// @throw COutputError as above.
    void Write(std::string_view text) { Write(std::as_bytes(std::span(text))); }

    /// Stores everything permanently and gives it the target's name.
    /// @throw COutputError when it cannot be stored, or the target has come into being since and
    /// was not to be replaced.
    void Commit();

private:
    void openTemporary();
    void flush();
    void writeThrough(std::span<const std::byte> bytes);
    void rename();

    std::filesystem::path m_target;    ///< as given, for messages
    std::filesystem::path m_resolved;  ///< behind symbolic links
    std::filesystem::path m_temporary;
    std::optional<CUnfinishedFile> m_unfinished;
    bool m_force;
    CFileDescriptor m_descriptor;
    std::unique_ptr<std::byte[]> m_buffer;
    std::size_t m_buffered = 0;
    std::uint64_t m_written = 0;
    std::uint64_t m_pushed = 0;
};

}  // namespace Application
