#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace CommandLine
{

/// A folder for outputs. What had to be made of it goes away with the object where nothing was put
/// into it, so that a command that fails leaves no trace.
class CNewFolder
{
public:
    /// Makes \p folder and those above it, where they are missing.
    /// @throw CUsageError when the name is empty, Application::COutputError when one cannot be
    /// made.
    explicit CNewFolder(const std::string& folder);

    ~CNewFolder();
    CNewFolder(const CNewFolder&) = delete;
    CNewFolder& operator=(const CNewFolder&) = delete;

private:
    CNewFolder() = default;

    std::vector<std::filesystem::path> m_made;  ///< the innermost last
};

}  // namespace CommandLine
