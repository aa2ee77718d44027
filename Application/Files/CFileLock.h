#pragma once

#include <filesystem>

#include "Application/Files/CFileDescriptor.h"

namespace Application
{

/// Keeps other holders of a lock on the same file waiting while it lives: for reading a file,
/// changing what was read, and replacing the file, without losing what another process writes in
/// between. Who takes no lock is not kept from anything.
class CFileLock
{
public:
    /// Waits until no other process or object holds the lock on what \p file names then. A file
    /// that cannot be opened, or that its file system cannot lock, is not locked; reading it tells
    /// why.
    explicit CFileLock(const std::filesystem::path& file);

private:
    CFileDescriptor m_descriptor;
};

}  // namespace Application
