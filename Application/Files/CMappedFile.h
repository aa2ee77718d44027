#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

namespace Application
{

/// A file's bytes in memory without reading them: mapped read-only, paged in as they are used and
/// dropped by the system when memory is short.
///
/// Immutable and safe for concurrent readers. The bytes stay the same and readable when the file is
/// replaced or deleted meanwhile. A process that writes into the file in place changes them, which
/// CheckUnchanged() finds out; one that shortens it makes reading fail with SIGBUS, as with every
/// mapping, for which a host that wants to go on or to say why has a handler that asks FindName().
class CMappedFile
{
public:
    /// Waits for a write into \p file that is going on, as long as that one call takes.
    /// @throw CInputError when \p file is missing, not a regular file, unreadable or empty.
    [[nodiscard]] static std::shared_ptr<const CMappedFile> Open(const std::filesystem::path& file);

    ~CMappedFile() = default;
    CMappedFile(const CMappedFile&) = delete;
    CMappedFile& operator=(const CMappedFile&) = delete;

    [[nodiscard]] const std::filesystem::path& GetPath() const { return m_path; }
    [[nodiscard]] std::span<const std::byte> GetBytes() const
    {
        return {m_mapping.get(), m_mapping.get_deleter().size};
    }

    /// Asked before anything that was made from the bytes is kept.
    /// @throw CInputError when the file was written to or shortened since it was opened. What the
    /// system's clock for files cannot tell apart is not noticed: a few milliseconds, before Linux
    /// 6.13. Nor is one of these that began before: what a program stores through a mapping of the
    /// file, one long write that goes past the system's memory to the disk (O_DIRECT) or comes from
    /// another computer, and one on a file system that lets others look at a file meanwhile. The
    /// file is looked up by its name, as thousands of open files would be more than a process may
    /// have: one that was written to and then renamed, deleted or replaced counts as unchanged.
    void CheckUnchanged() const;

    /// Called when the system could not read from \p address.
    /// @throw CInputError when that is in a mapped file, which was shortened then.
    static void CheckReadable(const void* address);

    /// The name of the file that the process has mapped at \p address, as much of it as \p room
    /// holds; empty when there is none. Async-signal-safe.
    [[nodiscard]] static std::string_view FindName(const void* address,
                                                   std::span<char> room) noexcept;

private:
    /// What tells that a file was written to.
    struct SVersion
    {
        dev_t device = 0;
        ino_t number = 0;
        off_t size = 0;
        timespec changed{};
    };

    struct SUnmapper
    {
        std::size_t size = 0;  ///< in bytes
        void operator()(const std::byte* first) const;
    };

    using Mapping = std::unique_ptr<const std::byte, SUnmapper>;

    CMappedFile(std::filesystem::path path, Mapping mapping, const SVersion& version);

    [[nodiscard]] static SVersion makeVersion(const struct stat& status);

    std::filesystem::path m_path;
    Mapping m_mapping;
    SVersion m_version;
};

}  // namespace Application
