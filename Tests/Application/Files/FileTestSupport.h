#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace FileTest
{

/// A fresh folder that is removed with everything in it.
class CTemporaryFolder
{
public:
    CTemporaryFolder();
    ~CTemporaryFolder();
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& GetPath() const { return m_path; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const
    {
        return m_path / name;
    }

    /// The names of all files in it, sorted.
    [[nodiscard]] std::vector<std::string> List() const;

private:
    std::filesystem::path m_path;
};

[[nodiscard]] std::string ReadAll(const std::filesystem::path& file);
void WriteAll(const std::filesystem::path& file, std::string_view content);

}  // namespace FileTest
