#include "Tests/Support/RandomDelays.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace TestSupport
{

namespace
{

/// The state of the random numbers; 0 when there are no delays.
std::atomic<std::uint64_t> g_random = 0;
std::atomic<std::size_t> g_numDelays = 0;

}  // namespace

void StartRandomDelays(std::uint64_t seed)
{
    g_random = seed | 1;
}

void StopRandomDelays()
{
    g_random = 0;
}

void DelayRandomly()
{
    if (g_random == 0)
    {
        return;
    }
    ++g_numDelays;
    // An addition and a mix (SplitMix64), so that threads share one sequence without a lock.
    std::uint64_t value = g_random += 0x9E3779B97F4A7C15ULL;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
    if (value % 4 == 0)
    {
        std::this_thread::sleep_for(std::chrono::microseconds((value >> 32) % 100));
    }
    else
    {
        std::this_thread::yield();
    }
}

std::size_t GetDelayCount()
{
    return g_numDelays;
}

}  // namespace TestSupport
