#include "Tests/Application/Files/CHeldUpWrite.h"

#include <fcntl.h>
#include <linux/userfaultfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace FileTest
{

namespace
{

[[nodiscard]] std::size_t PageSize()
{
    static const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

[[nodiscard]] std::uint64_t AddressOf(const char* character)
{
    return reinterpret_cast<std::uintptr_t>(character);
}

}  // namespace

std::size_t CHeldUpWrite::GetSize()
{
    return 2 * PageSize();
}

CHeldUpWrite::CHeldUpWrite(const std::filesystem::path& file, char character)
    : m_character(character), m_file(::open(file.c_str(), O_WRONLY | O_CLOEXEC))
{
    void* const source =
        ::mmap(nullptr, GetSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (!m_file.IsOpen() || source == MAP_FAILED)
    {
        throw std::runtime_error("no write can begin");
    }
    m_source = {static_cast<char*>(source), GetSize()};
    std::fill_n(m_source.begin(), PageSize(), character);
    if (holdBackSecondPage())
    {
        m_writer = std::thread([this] {
            // Where it fails, the file lacks what the test expects in it.
            [[maybe_unused]] const ssize_t written =
                ::pwrite(m_file.Get(), m_source.data(), m_source.size(), 0);
        });
        waitForFault();
    }
}

bool CHeldUpWrite::holdBackSecondPage()
{
    m_faults =
        Application::CFileDescriptor(static_cast<int>(::syscall(SYS_userfaultfd, O_CLOEXEC)));
    uffdio_api interface = {};
    interface.api = UFFD_API;
    uffdio_register page = {};
    page.range = {AddressOf(m_source.data() + PageSize()), PageSize()};
    page.mode = UFFDIO_REGISTER_MODE_MISSING;
    return m_faults.IsOpen() && ::ioctl(m_faults.Get(), UFFDIO_API, &interface) == 0 &&
           ::ioctl(m_faults.Get(), UFFDIO_REGISTER, &page) == 0;
}

void CHeldUpWrite::waitForFault() const
{
    uffd_msg fault = {};
    if (::read(m_faults.Get(), &fault, sizeof fault) != sizeof fault)
    {
        throw std::runtime_error("the write was not held up");
    }
}

void CHeldUpWrite::Finish()
{
    if (m_writer.joinable())
    {
        const std::vector<char> page(PageSize(), m_character);
        uffdio_copy copy = {};
        copy.src = AddressOf(page.data());
        copy.dst = AddressOf(m_source.data() + PageSize());
        copy.len = PageSize();
        (void)::ioctl(m_faults.Get(), UFFDIO_COPY, &copy);
        m_writer.join();
    }
    if (!m_source.empty())
    {
        ::munmap(m_source.data(), m_source.size());
        m_source = {};
    }
}

}  // namespace FileTest
