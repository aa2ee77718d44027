#include "Application/Files/CFileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace Application
{

CFileLock::CFileLock(const std::filesystem::path& file)
{
    struct stat locked = {};
    struct stat named = {};
    do
    {
        // A named pipe without a writer would make open() wait.
        m_descriptor = CFileDescriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        int result = -1;
        do
        {
            result = m_descriptor.IsOpen() ? ::flock(m_descriptor.Get(), LOCK_EX) : -1;
        } while (result != 0 && m_descriptor.IsOpen() && errno == EINTR);
        if (result != 0 || ::fstat(m_descriptor.Get(), &locked) != 0 ||
            ::stat(file.c_str(), &named) != 0)
        {
            return;
        }
        // While this waited, the file may have been replaced: then the lock is on the old one.
    } while (locked.st_ino != named.st_ino || locked.st_dev != named.st_dev);
}

}  // namespace Application
