// Races on purpose. Run under the thread sanitizer, which must report it: that shows that nothing
// in the way loops are run hides the races of the items.

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <thread>

#include "Base/Support/ParallelFor.h"

int main()
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, 8);
    tbb::task_arena arena(8);
    std::uint64_t unprotected = 0;
    arena.execute([&] {
        Base::ParallelFor(64, [&](std::uint32_t index) {
            // Long enough for other threads to take a share.
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            unprotected += index;
        });
    });
    std::printf("%llu\n", static_cast<unsigned long long>(unprotected));
}
