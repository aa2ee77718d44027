#include "Benchmarks/PeakMemory.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace
{

// Read by every allocation, so that those that are timed cost no more than a look.
std::atomic<bool> g_isCounting = false;
std::atomic<std::int64_t> g_current = 0;
std::atomic<std::int64_t> g_peak = 0;

void Add(std::int64_t numBytes)
{
    const std::int64_t current = g_current += numBytes;
    std::int64_t peak = g_peak;
    while (current > peak && !g_peak.compare_exchange_weak(peak, current))
    {}
}

void* Allocate(std::size_t size, std::size_t alignment)
{
    const std::size_t wholeBlocks = (std::max<std::size_t>(size, 1) + alignment - 1) / alignment;
    void* const memory = alignment <= alignof(std::max_align_t)
                             ? std::malloc(std::max<std::size_t>(size, 1))
                             : std::aligned_alloc(alignment, wholeBlocks * alignment);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    if (g_isCounting.load(std::memory_order_relaxed))
    {
        Add(static_cast<std::int64_t>(malloc_usable_size(memory)));
    }
    return memory;
}

void Release(void* memory)
{
    if (memory != nullptr && g_isCounting.load(std::memory_order_relaxed))
    {
        Add(-static_cast<std::int64_t>(malloc_usable_size(memory)));
    }
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size)
{
    return Allocate(size, alignof(std::max_align_t));
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    Release(memory);
}

namespace PeakMemory
{

CScope::CScope()
{
    g_current = 0;
    g_peak = 0;
    g_isCounting = true;
}

CScope::~CScope()
{
    g_isCounting = false;
}

std::size_t CScope::GetPeak() const
{
    return static_cast<std::size_t>(g_peak.load());
}

}  // namespace PeakMemory
