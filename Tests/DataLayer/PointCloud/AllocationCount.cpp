#include "Tests/DataLayer/PointCloud/AllocationCount.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// In a file of their own: inlined beside a `new` they look like a mismatch to the compiler.
namespace
{

std::atomic<std::size_t> g_allocationCount = 0;

void* allocate(std::size_t size, std::size_t alignment)
{
    ++g_allocationCount;
    const std::size_t wholeBlocks = (std::max<std::size_t>(size, 1) + alignment - 1) / alignment;
    void* const memory = std::aligned_alloc(alignment, wholeBlocks * alignment);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size)
{
    return allocate(size, alignof(std::max_align_t));
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    std::free(memory);
}

std::size_t GetAllocationCount()
{
    return g_allocationCount;
}
