#include "Tests/Support/MockCalls.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "Tests/Support/CFaultCounter.h"

namespace TestSupport
{

namespace
{

CFaultCounter g_faults;

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
    if (const std::size_t number = g_faults.Count(); number != 0)
    {
        throw CCallFault(number);
    }
    if (g_random != 0)
    {
        delay();
    }
}

CCallFaults::CCallFaults(std::size_t number, EFailing failing)
{
    g_faults.Start(number, failing);
}

CCallFaults::~CCallFaults()
{
    g_faults.Stop();
}

std::size_t CCallFaults::GetNumFailed() const
{
    return g_faults.GetNumFailed();
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
