#include "Application/Files/CMappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <system_error>
#include <utility>

#include "Application/Files/CFileDescriptor.h"
#include "Application/Files/CInputError.h"

namespace Application
{

namespace
{

[[nodiscard]] CInputError Unreadable(const std::filesystem::path& file, int error)
{
    return {file, "cannot be read: " + std::generic_category().message(error)};
}

/// Returns when the writes into a file that are going on have ended. A system dates a write when it
/// begins, so that the rest of a long one does not show in the file's time of change.
///
/// File systems keep others from a file for the length of a write, but not from everything: the ext
/// family, Btrfs, tmpfs and overlays from asking where data is, XFS and NFS from reading. Neither
/// needs a right beyond reading, nor does it matter that somebody only holds the file open.
void WaitForWrites(int descriptor)
{
    char byte = 0;
    // What is wrong with the file, its reader tells.
    (void)::lseek(descriptor, 0, SEEK_DATA);
    [[maybe_unused]] const ssize_t count = ::pread(descriptor, &byte, 1, 0);
}

/// Reads the system's list of mappings, character by character, up to the line about an address:
///
///     7f1c8a000000-7f1c8a100000 r--p 00000000 fe:00 1310737        /data/scan.ply
class CMappingLine
{
public:
    CMappingLine(std::uintptr_t address, std::span<char> room) : m_address(address), m_room(room) {}

    /// True at the end of the line that was looked for.
    [[nodiscard]] bool Take(char character) noexcept
    {
        if (character == '\n')
        {
            if (m_begin <= m_address && m_address < m_end)
            {
                return true;
            }
            *this = CMappingLine(m_address, m_room);
        }
        else if (character == ' ' && m_field < c_nameField)
        {
            ++m_field;
        }
        else if (character != ' ' || m_length > 0)
        {
            // Any number of blanks are in front of a name.
            add(character);
        }
        return false;
    }

    /// Empty for memory that is no file's.
    [[nodiscard]] std::string_view GetName() const noexcept
    {
        const std::string_view name(m_room.data(), m_length);
        return name.starts_with('/') ? name : std::string_view();
    }

private:
    /// Behind addresses, permissions, offset, device and number.
    static constexpr int c_nameField = 5;

    void add(char character) noexcept
    {
        if (m_field == 0 && character == '-')
        {
            m_begin = std::exchange(m_end, 0);
        }
        else if (m_field == 0)
        {
            const int digit = character <= '9' ? character - '0' : character - 'a' + 10;
            m_end = m_end << 4 | static_cast<std::uintptr_t>(digit);
        }
        else if (m_field == c_nameField && m_length < m_room.size())
        {
            m_room[m_length++] = character;
        }
    }

    std::uintptr_t m_address;
    std::span<char> m_room;
    std::uintptr_t m_begin = 0;
    std::uintptr_t m_end = 0;
    std::size_t m_length = 0;
    int m_field = 0;
};

}  // namespace

std::shared_ptr<const CMappedFile> CMappedFile::Open(const std::filesystem::path& file)
{
    // A named pipe without a writer would make open() wait; it is refused below instead.
    const CFileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!descriptor.IsOpen() || ::fstat(descriptor.Get(), &status) != 0)
    {
        throw Unreadable(file, errno);
    }
    if (S_ISDIR(status.st_mode))
    {
        throw CInputError(file, "expected a file, found a directory");
    }
    if (!S_ISREG(status.st_mode))
    {
        throw CInputError(file, "expected a regular file, found a device or pipe");
    }
    // What begins to be written from here on shows in the time; what had begun may still make the
    // file longer.
    const timespec changed = status.st_mtim;
    WaitForWrites(descriptor.Get());
    if (::fstat(descriptor.Get(), &status) != 0)
    {
        throw Unreadable(file, errno);
    }
    status.st_mtim = changed;
    if (status.st_size == 0)
    {
        throw CInputError(file, "expected data, found an empty file");
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor.Get(), 0);
    if (address == MAP_FAILED)
    {
        throw Unreadable(file, errno);
    }
    // What is not in memory yet is then read ahead in larger steps, and mapped in larger pages.
    // Where a system has none for files, nothing changes.
    (void)::madvise(address, size, MADV_HUGEPAGE);
    Mapping mapping(static_cast<const std::byte*>(address), {size});
    return std::shared_ptr<const CMappedFile>(
        new CMappedFile(file, std::move(mapping), makeVersion(status)));
}

CMappedFile::CMappedFile(std::filesystem::path path, Mapping mapping, const SVersion& version)
    : m_path(std::move(path)), m_mapping(std::move(mapping)), m_version(version)
{}

CMappedFile::SVersion CMappedFile::makeVersion(const struct stat& status)
{
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

void CMappedFile::CheckUnchanged() const
{
    struct stat status = {};
    if (::stat(m_path.c_str(), &status) != 0)
    {
        return;
    }
    const SVersion now = makeVersion(status);
    const bool isReplaced = now.device != m_version.device || now.number != m_version.number;
    if (isReplaced ||
        (now.size == m_version.size && now.changed.tv_sec == m_version.changed.tv_sec &&
         now.changed.tv_nsec == m_version.changed.tv_nsec))
    {
        return;
    }
    throw CInputError(m_path,
                      "was written to by another program while it was being read; try "
                      "again when that has ended");
}

void CMappedFile::CheckReadable(const void* address)
{
    char room[PATH_MAX];
    const std::string_view name = FindName(address, room);
    if (!name.empty())
    {
        throw CInputError(name, "was shortened, or its disk failed, while it was being read");
    }
}

std::string_view CMappedFile::FindName(const void* address, std::span<char> room) noexcept
{
    const int maps = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (maps < 0)
    {
        return {};
    }
    CMappingLine line(reinterpret_cast<std::uintptr_t>(address), room);
    char block[512];
    bool isFound = false;
    for (ssize_t count = 0; !isFound && (count = ::read(maps, block, sizeof block)) > 0;)
    {
        for (ssize_t index = 0; index < count && !isFound; ++index)
        {
            isFound = line.Take(block[index]);
        }
    }
    ::close(maps);
    return isFound ? line.GetName() : std::string_view();
}

void CMappedFile::SUnmapper::operator()(const std::byte* first) const
{
    ::munmap(const_cast<std::byte*>(first), size);
}

}  // namespace Application
