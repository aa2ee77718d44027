#include "Tests/Support/Allocations.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include "Tests/Support/CFaultCounter.h"

// In a file of their own: inlined beside a `new` they look like a mismatch to the compiler.
namespace
{

std::atomic<std::size_t> g_numAllocations = 0;
std::atomic<std::size_t> g_numReleases = 0;

constinit TestSupport::CFaultCounter g_faults;

void* Allocate(std::size_t size, std::size_t alignment)
{
    if (g_faults.Count() != 0)
    {
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

void Release(void* memory)
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
    g_faults.Start(number, failing);
}

CAllocationFaults::~CAllocationFaults()
{
    g_faults.Stop();
}

std::size_t CAllocationFaults::GetNumFailed() const
{
    return g_faults.GetNumFailed();
}

}  // namespace TestSupport
