#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "Base/Export.h"

namespace Base
{

/// What ParallelFor() calls; use that one.
using ParallelForItem = void (*)(const void* body, std::uint32_t index);
VEKO2_BASE_EXPORT void RunParallelFor(std::uint32_t count, ParallelForItem item, const void* body);

/// Calls \p body for every index from 0 to \p count - 1 and returns when all calls have ended.
///
/// \p body is anything that can be called with an index: a lambda, an object, a function by its
/// name. The calls run on the worker threads of the platform's task scheduler and on the calling
/// thread, in no particular order; a single item runs directly on the calling thread. \p body is
/// shared by all of them and called as const. Calls may themselves call ParallelFor(): an inner
/// loop shares the same workers, and a thread that waits for it runs only items of that inner loop.
/// Safe from any number of threads at once.
///
/// When a call throws, the items that have not started are cancelled, those that have are waited
/// for, the inner loops they run included, and the first exception that was captured leaves with
/// its own type and text.
template <typename Body>
void ParallelFor(std::uint32_t count, const Body& body)
{
    if constexpr (std::is_function_v<Body>)
    {
        // A function is no object that void pointers could stand for.
        ParallelFor(count, [&body](std::uint32_t index) { body(index); });
    }
    else
    {
        RunParallelFor(
            count,
            [](const void* erasedBody, std::uint32_t index) {
                (*static_cast<const Body*>(erasedBody))(index);
            },
            std::addressof(body));
    }
}

}  // namespace Base
