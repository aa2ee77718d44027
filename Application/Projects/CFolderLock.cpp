#include "Application/Projects/CFolderLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"

namespace Application
{

CFolderLock::CFolderLock(const std::filesystem::path& folder, Kind kind,
                         const std::filesystem::path& project)
    : m_folder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (!m_folder.IsOpen())
    {
        throw CInputError(folder,
                          "the data folder of the project '" + project.string() +
                              "' cannot be opened: " + std::generic_category().message(errno) +
                              "; put it back beside the project file");
    }
    const int operation = kind == Kind::Exclusive ? LOCK_EX : LOCK_SH;
    if (::flock(m_folder.Get(), operation | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    {
        throw COutputError(project, "is in use by another veko2; try again when that has ended");
    }
}

}  // namespace Application
