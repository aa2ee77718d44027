#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>

namespace Application
{

/// A file's bytes in memory without reading them: mapped read-only, paged in as they are used and
/// dropped by the system when memory is short.
///
/// Immutable and safe for concurrent readers. The bytes stay readable when the file is replaced or
/// deleted meanwhile; a process that shortens the file in place while it is mapped makes reading
/// fail with SIGBUS, as with every mapping.
class CMappedFile
{
public:
    /// @throw CInputError when \p file is missing, not a regular file, unreadable or empty.
    [[nodiscard]] static std::shared_ptr<const CMappedFile> Open(const std::filesystem::path& file);

    ~CMappedFile();
    CMappedFile(const CMappedFile&) = delete;
    CMappedFile& operator=(const CMappedFile&) = delete;

    [[nodiscard]] const std::filesystem::path& GetPath() const { return m_path; }
    [[nodiscard]] std::span<const std::byte> GetBytes() const { return m_bytes; }

private:
    CMappedFile(std::filesystem::path path, std::span<const std::byte> bytes);

    std::filesystem::path m_path;
    std::span<const std::byte> m_bytes;
};

}  // namespace Application
