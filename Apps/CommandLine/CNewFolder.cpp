#include "Apps/CommandLine/CNewFolder.h"

#include <system_error>

#include "Application/Files/COutputError.h"
#include "Apps/CommandLine/CUsageError.h"

namespace CommandLine
{

// What delegates is destroyed as a whole when its body throws.
CNewFolder::CNewFolder(const std::string& folder) : CNewFolder()
{
    if (folder.empty())
    {
        throw CUsageError("where to? an empty name is no folder's; '.' is the current one");
    }
    std::filesystem::path path;
    for (const std::filesystem::path& name : std::filesystem::path(folder))
    {
        path /= name;
        std::error_code error;
        if (!path.has_filename() || std::filesystem::is_directory(path, error))
        {
            continue;
        }
        // Room for it first: nothing may fail between making a folder and remembering it.
        m_made.push_back(path);
        if (!std::filesystem::create_directory(path, error))
        {
            m_made.pop_back();
        }
        // One that another process has made meanwhile is as good.
        std::error_code ignored;
        if (error && !std::filesystem::is_directory(path, ignored))
        {
            throw Application::COutputError(folder, "cannot be made: " + error.message());
        }
    }
}

CNewFolder::~CNewFolder()
{
    std::error_code ignored;
    while (!m_made.empty())
    {
        // Leaves a folder that is not empty.
        std::filesystem::remove(m_made.back(), ignored);
        m_made.pop_back();
    }
}

}  // namespace CommandLine
