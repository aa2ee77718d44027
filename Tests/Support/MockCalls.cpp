#include "Tests/Support/MockCalls.h"

#include <string>

#include "Tests/Support/CFaultCounter.h"
#include "Tests/Support/RandomDelays.h"

namespace TestSupport
{

namespace
{

CFaultCounter g_faults;

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
    DelayRandomly();
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
    StartRandomDelays(seed);
}

CCallDelays::~CCallDelays()
{
    StopRandomDelays();
}

}  // namespace TestSupport
