#pragma once

#include <cstddef>
#include <filesystem>

namespace Application
{

/// Remembers, while it lives, the name of a file that must not outlast the process.
///
/// Files that are not finished are normally removed by whoever writes them, on the way out. A
/// process that has to end at once, from a signal handler, calls RemoveAll() instead.
class CUnfinishedFile
{
public:
    /// Remembers nothing when sixteen others live, or the name is longer than the system's limit.
    explicit CUnfinishedFile(const std::filesystem::path& file);
    ~CUnfinishedFile();
    CUnfinishedFile(const CUnfinishedFile&) = delete;
    CUnfinishedFile& operator=(const CUnfinishedFile&) = delete;

    /// Removes all remembered files. Async-signal-safe: takes no lock, reserves no memory.
    static void RemoveAll() noexcept;

private:
    std::size_t m_slot;
};

}  // namespace Application
