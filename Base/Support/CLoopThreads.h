#pragma once

#include <pthread.h>
#include <sched.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "Base/Support/ParallelFor.h"

namespace Base
{

/// Threads that run loops as ParallelFor() describes them: for a program that has begun its first
/// loop before a task scheduler would be loaded.
class CLoopThreads
{
public:
    /// \p numThreads, at least 1, are those that run loops, a single caller included. They begin
    /// one after the other with the loops that need them, on the cores that the calling thread may
    /// use now; where one cannot be made, those that are there do the work.
    explicit CLoopThreads(std::uint32_t numThreads);
    /// No loop may be running.
    ~CLoopThreads();
    CLoopThreads(const CLoopThreads&) = delete;
    CLoopThreads& operator=(const CLoopThreads&) = delete;

    /// Calls \p item for \p body and every index below \p count. Safe from any number of threads
    /// at once, also from within an item.
    void Run(std::uint32_t count, ParallelForItem item, const void* body);

private:
    class CLoop;

    struct SHelper
    {
        pthread_t thread = {};
        bool hasBegun = false;
    };

    [[nodiscard]] SHelper* takeHelper();
    void beginHelper(SHelper* helper);
    static void* helpOthers(void* threads);
    void help();
    [[nodiscard]] CLoop* findLoop() const;
    void remove(const CLoop& loop);

    const std::uint32_t m_numThreads;
    cpu_set_t m_cores;
    /// One place for each; who takes a place makes its thread. One that made another comes first.
    std::vector<SHelper> m_helpers;
    std::mutex m_mutex;
    // All that follows is read and changed under the mutex.
    std::condition_variable m_loopHasBegun;
    std::condition_variable m_helperHasLeft;
    CLoop* m_newestLoop = nullptr;
    std::size_t m_numPlacesTaken = 0;
    bool m_isEnding = false;
};

}  // namespace Base
