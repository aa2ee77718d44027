#include "Base/Support/ParallelFor.h"

#include <dlfcn.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>
#include <tbb/version.h>

// Defined by the thread sanitizer's runtime, null in every other build.
extern "C" [[gnu::weak]] void __tsan_acquire(void* address);
extern "C" [[gnu::weak]] void __tsan_release(void* address);

namespace Base
{

namespace
{

/// Tells the thread sanitizer what the scheduler orders: all that a loop's caller did happens
/// before its items, and all that they did before the caller goes on. The packaged scheduler is not
/// instrumented, and neither is this file, which holds its inlined half; so the sanitizer cannot
/// see the order by itself, but checks every item in full.
class CHandOver
{
public:
    void ReleaseToItems() { announce(__tsan_release, m_toItems); }
    void AcquireInItem() { announce(__tsan_acquire, m_toItems); }
    void ReleaseFromItem() { announce(__tsan_release, m_fromItems); }
    void AcquireFromItems() { announce(__tsan_acquire, m_fromItems); }

private:
    static void announce(void (*operation)(void*), char& place)
    {
        if (operation != nullptr)
        {
            operation(&place);
        }
    }

    char m_toItems = 0;
    char m_fromItems = 0;
};

/// Runs a block of items, announcing the hand-over on its way in and, also when it throws, out.
class CItemBlock
{
public:
    explicit CItemBlock(CHandOver& handOver) : m_handOver(handOver) { m_handOver.AcquireInItem(); }
    ~CItemBlock() { m_handOver.ReleaseFromItem(); }
    CItemBlock(const CItemBlock&) = delete;
    CItemBlock& operator=(const CItemBlock&) = delete;

private:
    CHandOver& m_handOver;
};

/// Keeps the scheduler in memory until the process ends. Its workers outlive the loops that started
/// them; if it left with the last library that uses it, as when an application unloads a plug-in,
/// they would wake up without their code.
void KeepSchedulerLoaded()
{
    [[maybe_unused]] static void* const c_scheduler = [] {
        Dl_info place{};
        const auto* const function = reinterpret_cast<const void*>(&TBB_runtime_interface_version);
        return dladdr(function, &place) != 0
                   ? dlopen(place.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE)
                   : nullptr;
    }();
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
    KeepSchedulerLoaded();
    CHandOver handOver;
    handOver.ReleaseToItems();
    struct SAcquireAtEnd
    {
        CHandOver& handOver;
        ~SAcquireAtEnd() { handOver.AcquireFromItems(); }
    } const acquireAtEnd{handOver};

    // Isolated, so that an outer loop that is cancelled does not cut short the inner loops of the
    // items that run: whoever started an item relies on all that the item started.
    tbb::task_group_context context(tbb::task_group_context::isolated);
    const auto runBlock = [&](const tbb::blocked_range<std::uint32_t>& block) {
        const CItemBlock announced(handOver);
        for (std::uint32_t index = block.begin(); index != block.end(); ++index)
        {
            if (context.is_group_execution_cancelled())
            {
                return;
            }
            item(body, index);
        }
    };
    // Isolated as well, so that a thread that waits for an inner loop does not start an outer item:
    // its stack and the memory in flight stay bounded by the depth of the nesting.
    tbb::this_task_arena::isolate([&] {
        tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, count), runBlock,
                          tbb::auto_partitioner(), context);
    });
}

}  // namespace Base
