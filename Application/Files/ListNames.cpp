#include "Application/Files/ListNames.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace Application
{

namespace
{

struct SFolderCloser
{
    void operator()(DIR* folder) const { ::closedir(folder); }
};

}  // namespace

std::vector<std::string> ListNames(const std::filesystem::path& folder, std::error_code& error)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, SFolderCloser> opened(::opendir(folder.c_str()));
    while (opened)
    {
        errno = 0;
        const dirent* const entry = ::readdir(opened.get());
        if (entry == nullptr)
        {
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
        {
            names.emplace_back(name);
        }
    }
    error.assign(errno, std::generic_category());
    return names;
}

}  // namespace Application
