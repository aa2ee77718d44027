#include "Base/Support/LargePages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Base
{

void PreferLargePages(const void* first, std::size_t numBytes) noexcept
{
#ifdef MADV_HUGEPAGE
    constexpr std::size_t c_smallestRange = std::size_t{4} << 20;
    if (numBytes < c_smallestRange)
    {
        return;
    }
    // Advice is given to whole pages. The two at the ends may be shared with other objects, which
    // are none the worse for it.
    static const auto c_pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(first);
    const std::uintptr_t firstPage = begin - begin % c_pageSize;
    // The range may well be refused, by a system that was built without large pages for one.
    const int savedError = errno;
    static_cast<void>(
        madvise(reinterpret_cast<void*>(firstPage), begin + numBytes - firstPage, MADV_HUGEPAGE));
    errno = savedError;
#else
    static_cast<void>(first);
    static_cast<void>(numBytes);
#endif
}

}  // namespace Base
