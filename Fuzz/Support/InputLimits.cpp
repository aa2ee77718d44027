#include "Fuzz/Support/InputLimits.h"

#include <sanitizer/allocator_interface.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <limits>

#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

constexpr std::int64_t c_bytesPerInputByte = 10;
constexpr std::int64_t c_bytesPerInput = std::int64_t{16} << 20;

constexpr double c_secondsPerByte = 1e-6;
constexpr double c_leastSeconds = 0.5;

constexpr std::int64_t c_noLimit = std::numeric_limits<std::int64_t>::max();

// Constant-initialised: the hooks below run before any constructor.
std::atomic<std::int64_t> g_bytesTaken = 0;
std::atomic<std::int64_t> g_limit = c_noLimit;

void CountTaken(const volatile void* /*address*/, std::size_t size)
{
    const auto bytes = static_cast<std::int64_t>(size);
    const std::int64_t taken = g_bytesTaken.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    if (taken > g_limit.load(std::memory_order_relaxed))
    {
        // The report takes memory, too.
        g_limit.store(c_noLimit, std::memory_order_relaxed);
        Fail("an input takes at most ten times its size and 16 MiB of memory");
    }
}

void CountFreed(const volatile void* address)
{
    if (address != nullptr)
    {
        g_bytesTaken.fetch_sub(static_cast<std::int64_t>(__sanitizer_get_allocated_size(
                                   const_cast<const void*>(address))),
                               std::memory_order_relaxed);
    }
}

}  // namespace

void CountMemory()
{
    Require(__sanitizer_install_malloc_and_free_hooks(CountTaken, CountFreed) != 0,
            "the sanitizer lets its allocations be counted");
}

CMemoryLimit::CMemoryLimit(std::size_t inputSize)
{
    g_limit.store(g_bytesTaken.load(std::memory_order_relaxed) + c_bytesPerInput +
                      c_bytesPerInputByte * static_cast<std::int64_t>(inputSize),
                  std::memory_order_relaxed);
}

CMemoryLimit::~CMemoryLimit()
{
    g_limit.store(c_noLimit, std::memory_order_relaxed);
}

double GetSecondsAllowed(std::size_t inputSize)
{
    return std::max(c_leastSeconds, c_secondsPerByte * static_cast<double>(inputSize));
}

double GetProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

}  // namespace Fuzzing
