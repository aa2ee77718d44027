#pragma once

#include <filesystem>

#include "Application/Files/CFileDescriptor.h"

namespace Application
{

/// Keeps other processes of this program from changing what is in a folder, while it lives.
///
/// The operating system releases it however the process ends. Advisory: programs that do not ask
/// are not kept away, and file systems without locks have none.
class CFolderLock
{
public:
    enum class Kind
    {
        Shared,     ///< for reading; any number at once
        Exclusive,  ///< for changing; alone
    };

    /// \p project is named in messages.
    /// @throw CInputError when the folder is missing.
    /// @throw COutputError when another process holds a lock that excludes this one.
    CFolderLock(const std::filesystem::path& folder, Kind kind,
                const std::filesystem::path& project);

private:
    CFileDescriptor m_folder;
};

}  // namespace Application
