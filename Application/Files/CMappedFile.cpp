#include "Application/Files/CMappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include "Application/Files/CFileDescriptor.h"
#include "Application/Files/CInputError.h"

namespace Application
{

namespace
{

[[nodiscard]] CInputError unreadable(const std::filesystem::path& file, int error)
{
    return {file, "cannot be read: " + std::generic_category().message(error)};
}

}  // namespace

std::shared_ptr<const CMappedFile> CMappedFile::Open(const std::filesystem::path& file)
{
    // A named pipe without a writer would make open() wait; it is refused below instead.
    const CFileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!descriptor.IsOpen() || ::fstat(descriptor.Get(), &status) != 0)
    {
        throw unreadable(file, errno);
    }
    if (S_ISDIR(status.st_mode))
    {
        throw CInputError(file, "expected a file, found a directory");
    }
    if (!S_ISREG(status.st_mode))
    {
        throw CInputError(file, "expected a regular file, found a device or pipe");
    }
    if (status.st_size == 0)
    {
        throw CInputError(file, "expected data, found an empty file");
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor.Get(), 0);
    if (address == MAP_FAILED)
    {
        throw unreadable(file, errno);
    }
    return std::shared_ptr<const CMappedFile>(
        new CMappedFile(file, {static_cast<const std::byte*>(address), size}));
}

CMappedFile::CMappedFile(std::filesystem::path path, std::span<const std::byte> bytes)
    : m_path(std::move(path)), m_bytes(bytes)
{}

CMappedFile::~CMappedFile()
{
    ::munmap(const_cast<std::byte*>(m_bytes.data()), m_bytes.size());
}

}  // namespace Application
