// Base::RunParallelFor() once more: what a program defines itself its libraries call as well. So
// random delays reach the items of all loops, also of those that call nothing of the tests'.

#include <dlfcn.h>

#include <cstdint>

#include "Base/Support/ParallelFor.h"
#include "Tests/Support/RandomDelays.h"

namespace Base
{

namespace
{

using RunFunction = void (*)(std::uint32_t count, ParallelForItem item, const void* body);

/// The one of the library.
const auto c_runParallelFor =
    reinterpret_cast<RunFunction>(dlsym(RTLD_NEXT, "_ZN4Base14RunParallelForEjPFvPKvjES1_"));

struct SLoop
{
    ParallelForItem item;
    const void* body;
};

}  // namespace

void RunParallelFor(std::uint32_t count, ParallelForItem item, const void* body)
{
    const SLoop loop{item, body};
    c_runParallelFor(
        count,
        [](const void* data, std::uint32_t index) {
            TestSupport::DelayRandomly();
            const auto& delayed = *static_cast<const SLoop*>(data);
            delayed.item(delayed.body, index);
        },
        &loop);
}

}  // namespace Base
