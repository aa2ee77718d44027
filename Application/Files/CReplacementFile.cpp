#include "Application/Files/CReplacementFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <system_error>

#include "Application/Files/CMappedFile.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/ListNames.h"

namespace Application
{

namespace
{

constexpr std::size_t c_bufferSize = std::size_t{1} << 20;
/// From this size on, copying a piece into the buffer costs more than a system call for it.
constexpr std::size_t c_directSize = std::size_t{128} << 10;
/// Written data is handed to the disk in steps of this size, so that making it permanent in the end
/// does not wait for all of it.
constexpr std::uint64_t c_pushSize = std::uint64_t{16} << 20;

constexpr std::string_view c_unfinishedBegin = ".veko2-";
constexpr std::string_view c_unfinishedEnd = ".part";

[[nodiscard]] COutputError Failure(const std::filesystem::path& target, int error)
{
    return {target, "cannot be written: " + std::generic_category().message(error)};
}

[[nodiscard]] COutputError Existing(const std::filesystem::path& target)
{
    return {target, "exists already and is replaced only with --force"};
}

[[nodiscard]] std::string UniqueName()
{
    static constexpr char c_digits[] = "0123456789abcdef";
    std::random_device random;
    std::string name(c_unfinishedBegin);
    for (int index = 0; index < 16; ++index)
    {
        name += c_digits[random() & 15U];
    }
    return name.append(c_unfinishedEnd);
}

[[nodiscard]] std::filesystem::path FolderOf(const std::filesystem::path& file)
{
    const std::filesystem::path folder = file.parent_path();
    return folder.empty() ? "." : folder;
}

[[nodiscard]] int OpenFolder(const std::filesystem::path& folder)
{
    return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Makes the names in a folder permanent. The files are complete either way, so a folder that
/// cannot be synchronised is no failure.
void SyncFolder(const std::filesystem::path& folder)
{
    const CFileDescriptor descriptor(OpenFolder(folder));
    if (descriptor.IsOpen())
    {
        ::fsync(descriptor.Get());
    }
}

/// A name under which this process reaches an open file.
[[nodiscard]] std::string SelfName(const CFileDescriptor& descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor.Get());
}

/// Locks a new file against CReplacementFile::RemoveStale(). False when that has come first.
[[nodiscard]] bool IsHeld(const CFileDescriptor& descriptor)
{
    if (::flock(descriptor.Get(), LOCK_EX | LOCK_NB) != 0)
    {
        return errno != EWOULDBLOCK;
    }
    struct stat status = {};
    return ::fstat(descriptor.Get(), &status) == 0 && status.st_nlink > 0;
}

}  // namespace

CReplacementFile::CReplacementFile(const std::filesystem::path& target, bool force, Naming naming)
    : m_target(target),
      m_resolved(FollowLinks(target)),
      m_force(force),
      m_buffer(std::make_unique_for_overwrite<std::byte[]>(c_bufferSize))
{
    struct stat status = {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    if (!exists && errno != ENOENT)
    {
        throw Failure(m_target, errno);
    }
    if (exists && S_ISDIR(status.st_mode))
    {
        throw COutputError(m_target, "expected a file to write, found a directory");
    }
    if (exists && !S_ISREG(status.st_mode))
    {
        throw COutputError(m_target, "expected a regular file to write, found a device or pipe");
    }
    if (exists && !force)
    {
        throw Existing(m_target);
    }
    if (!m_resolved.has_filename())
    {
        throw Failure(m_target, EISDIR);
    }
    if (naming == Naming::FromTheStart || !openUnnamed())
    {
        openNamed();
    }
    if (exists && ::fchmod(m_descriptor.Get(), status.st_mode & 07777) != 0)
    {
        const int reason = errno;
        if (!m_temporary.empty())
        {
            ::unlink(m_temporary.c_str());
        }
        throw Failure(m_target, reason);
    }
}

std::filesystem::path CReplacementFile::FollowLinks(const std::filesystem::path& file)
{
    // As many as the system follows; it refuses what is left of longer chains, and rings.
    constexpr int c_mostLinks = 40;
    std::filesystem::path end = file;
    for (int count = 0; count < c_mostLinks; ++count)
    {
        std::error_code noLink;
        const std::filesystem::path next = std::filesystem::read_symlink(end, noLink);
        if (noLink)
        {
            break;
        }
        end = end.parent_path() / next;
    }
    return end;
}

CReplacementFile::~CReplacementFile()
{
    if (!m_temporary.empty())
    {
        ::unlink(m_temporary.c_str());
    }
}

bool CReplacementFile::openUnnamed()
{
    const std::filesystem::path folder = FolderOf(m_resolved);
    m_descriptor = CFileDescriptor(::open(folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
    // Without this folder the file could never get its name.
    if (m_descriptor.IsOpen() && ::access(SelfName(m_descriptor).c_str(), F_OK) != 0)
    {
        m_descriptor.Close();
    }
    if (!m_descriptor.IsOpen())
    {
        return false;
    }
    // Held before there is a name to find it by.
    ::flock(m_descriptor.Get(), LOCK_EX | LOCK_NB);
    return true;
}

void CReplacementFile::openNamed()
{
    for (;;)
    {
        m_temporary = m_resolved.parent_path() / UniqueName();
        // Before it exists, so that there is no moment at which it could be left behind.
        m_unfinished.emplace(m_temporary);
        m_descriptor = CFileDescriptor(
            ::open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (m_descriptor.IsOpen() && IsHeld(m_descriptor))
        {
            return;
        }
        if (!m_descriptor.IsOpen() && errno != EEXIST)
        {
            const int reason = errno;
            m_temporary.clear();
            throw Failure(m_target, reason);
        }
    }
}

void CReplacementFile::Write(std::span<const std::byte> bytes)
{
    if (bytes.size() >= c_directSize)
    {
        flush();
        writeThrough(bytes);
        return;
    }
    if (bytes.size() > c_bufferSize - m_buffered)
    {
        flush();
    }
    if (!bytes.empty())
    {
        std::memcpy(m_buffer.get() + m_buffered, bytes.data(), bytes.size());
        m_buffered += bytes.size();
    }
}

void CReplacementFile::flush()
{
    writeThrough({m_buffer.get(), m_buffered});
    m_buffered = 0;
}

void CReplacementFile::writeThrough(std::span<const std::byte> bytes)
{
    while (!bytes.empty())
    {
        const std::size_t piece = std::min<std::size_t>(bytes.size(), c_pushSize);
        const ssize_t count = ::write(m_descriptor.Get(), bytes.data(), piece);
        if (count < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            const int reason = errno;
            if (reason == EFAULT)
            {
                CMappedFile::CheckReadable(bytes.data());
            }
            throw Failure(m_target, reason);
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        m_written += static_cast<std::uint64_t>(count);
        if (m_written - m_pushed >= c_pushSize)
        {
            // Only a hint: where it is not supported, Commit() waits longer.
            ::sync_file_range(m_descriptor.Get(), static_cast<off64_t>(m_pushed),
                              static_cast<off64_t>(m_written - m_pushed), SYNC_FILE_RANGE_WRITE);
            m_pushed = m_written;
        }
    }
}

void CReplacementFile::Commit(Permanence permanence)
{
    flush();
    if (permanence == Permanence::Later)
    {
        ::sync_file_range(m_descriptor.Get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    }
    else if (::fsync(m_descriptor.Get()) != 0)
    {
        throw Failure(m_target, errno);
    }
    // Some file systems say only as a file is closed that they cannot store it. The descriptor
    // itself is needed for the name, and holds the lock until then.
    CFileDescriptor second(::fcntl(m_descriptor.Get(), F_DUPFD_CLOEXEC, 0));
    if (!second.IsOpen() || !second.Close())
    {
        throw Failure(m_target, errno);
    }
    const std::filesystem::path folder = FolderOf(m_resolved);
    rename();
    // The target is replaced: nothing from here on may fail.
    m_temporary.clear();
    m_descriptor.Close();
    if (permanence == Permanence::Now)
    {
        SyncFolder(folder);
    }
}

void CReplacementFile::MakePermanent(const std::filesystem::path& folder,
                                     const std::vector<std::string>& names)
{
    if (names.empty())
    {
        return;
    }
    // One by one they take a few milliseconds each; all at once, as long as the disk needs for
    // everything that anybody is writing to it.
    constexpr std::size_t c_maxNumSingle = 8;
    if (names.size() > c_maxNumSingle)
    {
        const CFileDescriptor descriptor(OpenFolder(folder));
        if (descriptor.IsOpen() && ::syncfs(descriptor.Get()) == 0)
        {
            return;
        }
    }
    for (const std::string& name : names)
    {
        const std::filesystem::path file = folder / name;
        const CFileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        if (!descriptor.IsOpen() || ::fsync(descriptor.Get()) != 0)
        {
            throw Failure(file, errno);
        }
    }
    SyncFolder(folder);
}

void CReplacementFile::RemoveStale(const std::filesystem::path& folder)
{
    std::error_code ignored;
    for (const std::string& name : ListNames(folder.empty() ? "." : folder, ignored))
    {
        if (!IsUnfinishedName(name))
        {
            continue;
        }
        const std::filesystem::path file = folder / name;
        const CFileDescriptor descriptor(
            ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat status = {};
        // Whoever is still writing it holds the lock.
        if (descriptor.IsOpen() && ::fstat(descriptor.Get(), &status) == 0 &&
            S_ISREG(status.st_mode) && ::flock(descriptor.Get(), LOCK_EX | LOCK_NB) == 0)
        {
            ::unlink(file.c_str());
        }
    }
}

bool CReplacementFile::IsUnfinishedName(std::string_view name)
{
    return name.starts_with(c_unfinishedBegin) && name.ends_with(c_unfinishedEnd);
}

/// Gives a file without a name that of the target, or one that rename() can replace the target
/// with. True when the former.
bool CReplacementFile::nameUnnamed()
{
    const std::string self = SelfName(m_descriptor);
    const auto link = [&](const std::filesystem::path& name) {
        return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    };
    if (link(m_resolved))
    {
        return true;
    }
    if (errno == EEXIST && !m_force)
    {
        throw Existing(m_target);
    }
    while (errno == EEXIST)
    {
        m_temporary = m_resolved.parent_path() / UniqueName();
        m_unfinished.emplace(m_temporary);
        if (link(m_temporary))
        {
            return false;
        }
        const int reason = errno;
        m_temporary.clear();
        errno = reason;
    }
    throw Failure(m_target, errno);
}

void CReplacementFile::rename()
{
    if (m_temporary.empty() && nameUnnamed())
    {
        return;
    }
    if (m_force)
    {
        if (::rename(m_temporary.c_str(), m_resolved.c_str()) != 0)
        {
            throw Failure(m_target, errno);
        }
        return;
    }
    // A hard link never replaces anything, so it also holds against whoever made the target since.
    if (::link(m_temporary.c_str(), m_resolved.c_str()) == 0)
    {
        ::unlink(m_temporary.c_str());
        return;
    }
    if (errno == EEXIST)
    {
        throw Existing(m_target);
    }
    // No hard links here: the newer call does the same where the file system knows it.
    if (::renameat2(AT_FDCWD, m_temporary.c_str(), AT_FDCWD, m_resolved.c_str(),
                    RENAME_NOREPLACE) == 0)
    {
        return;
    }
    if (errno == EEXIST)
    {
        throw Existing(m_target);
    }
    if (::access(m_resolved.c_str(), F_OK) == 0)
    {
        throw Existing(m_target);
    }
    if (::rename(m_temporary.c_str(), m_resolved.c_str()) != 0)
    {
        throw Failure(m_target, errno);
    }
}

}  // namespace Application
