#include "Apps/CommandLine/CNewFolder.h"

#include <system_error>

#include "Application/Files/COutputError.h"

namespace CommandLine
{

namespace fs = std::filesystem;

// What delegates is destroyed as a whole when its body throws.
CNewFolder::CNewFolder(const std::string& folder) : CNewFolder()
{
    fs::path path;
    for (const fs::path& name : fs::path(folder))
    {
        path /= name;
        std::error_code error;
        if (!path.has_filename() || fs::is_directory(path, error))
        {
            continue;
        }
        // Room for it first: nothing may fail between making a folder and remembering it.
        m_made.push_back(path);
        if (!fs::create_directory(path, error))
        {
            m_made.pop_back();
        }
        // One that another process has made meanwhile is as good.
        if (error && !fs::is_directory(path))
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
        fs::remove(m_made.back(), ignored);
        m_made.pop_back();
    }
}

}  // namespace CommandLine
