#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <thread>

#include "Application/Files/CFileDescriptor.h"

namespace FileTest
{

/// One write into a file in place that has begun and does not end before it is told to: the system
/// asks for the second page of what it has to write, and waits for it. By a thread of its own.
class CHeldUpWrite
{
public:
    /// How much is written: two pages.
    [[nodiscard]] static std::size_t GetSize();

    /// Begins to fill the first GetSize() bytes of \p file with \p character.
    CHeldUpWrite(const std::filesystem::path& file, char character);

    ~CHeldUpWrite() { Finish(); }
    CHeldUpWrite(const CHeldUpWrite&) = delete;
    CHeldUpWrite& operator=(const CHeldUpWrite&) = delete;

    /// False where the system lets this process hold up no write; then there is none.
    [[nodiscard]] bool HasBegun() const { return m_writer.joinable(); }

    /// Returns when the whole is written.
    void Finish();

private:
    [[nodiscard]] bool holdBackSecondPage();
    void waitForFault() const;

    char m_character = 0;
    std::span<char> m_source;
    Application::CFileDescriptor m_file;
    Application::CFileDescriptor m_faults;
    std::thread m_writer;
};

}  // namespace FileTest
