#pragma once

#include <filesystem>
#include <span>
#include <string>

namespace Fuzzing
{

/// An empty folder for the files of one input, removed with them. In the folder for temporary
/// files, which should be memory: scripts/fuzz sees to that.
class CScratchFolder
{
public:
    CScratchFolder();
    ~CScratchFolder();
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;

    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const
    {
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

[[nodiscard]] std::string ReadFile(const std::filesystem::path& file);
void WriteFile(const std::filesystem::path& file, std::span<const std::uint8_t> content);

}  // namespace Fuzzing
