#include "Tests/Support/MockCalls.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace TestSupport
{

namespace
{

// Numbers of calls, counted from the moment at which faults are asked for; the first one that
// fails, 0 for none, and the first behind it that does not.
std::atomic<std::size_t> g_firstFailing = 0;
std::atomic<std::size_t> g_endFailing = 0;
std::atomic<std::size_t> g_numCounted = 0;
std::atomic<std::size_t> g_numFailed = 0;

/// The state of the delays' random numbers; 0 when there are no delays.
std::atomic<std::uint64_t> g_random = 0;

void delay()
{
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

}  // namespace

CCallFault::CCallFault(std::size_t number)
    : std::runtime_error("call " + std::to_string(number)), m_number(number)
{}

void OnMockCall()
{
    if (const std::size_t first = g_firstFailing; first != 0)
    {
        const std::size_t number = ++g_numCounted;
        if (number >= first && number < g_endFailing)
        {
            ++g_numFailed;
            throw CCallFault(number);
        }
    }
    if (g_random != 0)
    {
        delay();
    }
}

CCallFaults::CCallFaults(std::size_t number, EFailing failing)
{
    g_numCounted = 0;
    g_numFailed = 0;
    g_endFailing = failing == EFailing::Once ? number + 1 : static_cast<std::size_t>(-1);
    g_firstFailing = number;
}

CCallFaults::~CCallFaults()
{
    g_firstFailing = 0;
}

std::size_t CCallFaults::GetNumFailed() const
{
    return g_numFailed;
}

CCallDelays::CCallDelays(std::uint64_t seed)
{
    g_random = seed | 1;
}

CCallDelays::~CCallDelays()
{
    g_random = 0;
}

}  // namespace TestSupport
