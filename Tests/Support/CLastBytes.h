#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <span>

namespace TestSupport
{

/// Bytes behind which there is no memory: reading one more ends the program.
class CLastBytes
{
public:
    explicit CLastBytes(std::size_t size)
    {
        const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t whole = (size + pageSize - 1) / pageSize * pageSize;
        m_size = whole + pageSize;
        m_pages = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(m_pages, MAP_FAILED);
        auto* const first = static_cast<std::byte*>(m_pages);
        EXPECT_EQ(mprotect(first + whole, pageSize, PROT_NONE), 0);
        m_bytes = {first + (whole - size), size};
    }
    CLastBytes(const CLastBytes&) = delete;
    CLastBytes& operator=(const CLastBytes&) = delete;
    ~CLastBytes() { munmap(m_pages, m_size); }

    [[nodiscard]] std::span<std::byte> Get() const { return m_bytes; }

private:
    std::size_t m_size = 0;
    void* m_pages = nullptr;
    std::span<std::byte> m_bytes;
};

}  // namespace TestSupport
