#pragma once

#include <unistd.h>

#include <utility>

namespace Application
{

/// Owns one file descriptor of the operating system, or none.
class CFileDescriptor
{
public:
    CFileDescriptor() = default;

    /// A negative \p descriptor, as a failed open() gives it, is none.
    explicit CFileDescriptor(int descriptor) : m_descriptor(descriptor) {}

    ~CFileDescriptor() { Close(); }
    CFileDescriptor(CFileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {}
    CFileDescriptor& operator=(CFileDescriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    [[nodiscard]] bool IsOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int Get() const { return m_descriptor; }

    /// False when the system reports an error, as some file systems do only now.
    bool Close()
    {
        const int descriptor = std::exchange(m_descriptor, -1);
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int m_descriptor = -1;
};

}  // namespace Application
