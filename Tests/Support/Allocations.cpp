#include "Tests/Support/Allocations.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

// In a file of their own: inlined beside a `new` they look like a mismatch to the compiler.
namespace
{

std::atomic<std::size_t> g_numAllocations = 0;
std::atomic<std::size_t> g_numReleases = 0;

// Numbers of allocations, counted from the moment at which faults are asked for; the first one that
// fails, 0 for none, and the first behind it that does not.
std::atomic<std::size_t> g_firstFailing = 0;
std::atomic<std::size_t> g_endFailing = 0;
std::atomic<std::size_t> g_numCounted = 0;
std::atomic<std::size_t> g_numFailed = 0;

bool isToFail()
{
    const std::size_t first = g_firstFailing;
    if (first == 0)
    {
        return false;
    }
    const std::size_t number = ++g_numCounted;
    return number >= first && number < g_endFailing;
}

void* allocate(std::size_t size, std::size_t alignment)
{
    if (isToFail())
    {
        ++g_numFailed;
        throw std::bad_alloc();
    }
    const std::size_t wholeBlocks = (std::max<std::size_t>(size, 1) + alignment - 1) / alignment;
    void* const memory = std::aligned_alloc(alignment, wholeBlocks * alignment);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    ++g_numAllocations;
    return memory;
}

void release(void* memory)
{
    if (memory != nullptr)
    {
        ++g_numReleases;
        std::free(memory);
    }
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
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    release(memory);
}

namespace TestSupport
{

std::size_t GetAllocationCount()
{
    return g_numAllocations;
}

std::size_t GetLiveAllocationCount()
{
    return g_numAllocations - g_numReleases;
}

CAllocationFaults::CAllocationFaults(std::size_t number, EFailing failing)
{
    g_numCounted = 0;
    g_numFailed = 0;
    g_endFailing = failing == EFailing::Once ? number + 1 : static_cast<std::size_t>(-1);
    g_firstFailing = number;
}

CAllocationFaults::~CAllocationFaults()
{
    g_firstFailing = 0;
}

std::size_t CAllocationFaults::GetNumFailed() const
{
    return g_numFailed;
}

}  // namespace TestSupport
