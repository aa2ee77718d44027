#include "Apps/CommandLine/CEarlyWorkers.h"

#include <cstdint>
#include <exception>

#include "Base/Support/ParallelFor.h"

namespace CommandLine
{

namespace
{

void StartWorkers() noexcept
{
    try
    {
        Base::ParallelFor(2, [](std::uint32_t /*index*/) {});
    }
    catch (const std::exception&)
    {
        // Nobody waits for it. If it lasts, the first loop that is needed tells of it, or runs with
        // fewer threads.
    }
}

}  // namespace

CEarlyWorkers::CEarlyWorkers() noexcept
{
    try
    {
        m_starter = std::thread(StartWorkers);
    }
    catch (const std::exception&)
    {
        // The workers come with the first loop then.
    }
}

CEarlyWorkers::~CEarlyWorkers()
{
    if (m_starter.joinable())
    {
        m_starter.join();
    }
}

}  // namespace CommandLine
