#include <sched.h>

#include <algorithm>
#include <cstdint>
#include <thread>

#include "Base/Support/CLoopThreads.h"
#include "Base/Support/ParallelFor.h"

// Takes the place of ParallelFor.cpp in a program that brings its own threads. The answers are the
// same.

namespace Base
{

namespace
{

/// How many cores the process may use.
std::uint32_t CountCores()
{
    cpu_set_t cores;
    return sched_getaffinity(0, sizeof cores, &cores) == 0
               ? static_cast<std::uint32_t>(std::max(CPU_COUNT(&cores), 1))
               : std::max(std::thread::hardware_concurrency(), 1U);
}

}  // namespace

void RunParallelFor(std::uint32_t count, ParallelForItem item, const void* body)
{
    if (count == 0)
    {
        return;
    }
    if (count == 1)
    {
        item(body, 0);
        return;
    }
    // Never destroyed: a loop may run for as long as the process does.
    static CLoopThreads& threads = *new CLoopThreads(CountCores());
    threads.Run(count, item, body);
}

}  // namespace Base
