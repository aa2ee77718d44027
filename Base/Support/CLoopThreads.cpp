#include "Base/Support/CLoopThreads.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <utility>

namespace Base
{

namespace
{

/// A thread takes at most so many items at a time, and no more than this part of its share of those
/// that are left, so that all threads end at about the same time. Where items read a mapped file
/// one after the other, a few hundred kilobytes each, so many keep two threads from mapping pages
/// of the same page table, for which they would wait for each other; and they are still so close
/// that the system sees one reader and reads ahead of it.
constexpr std::uint32_t c_maxTaken = 16;
constexpr std::uint32_t c_numParts = 4;

/// Makes a thread that begins at once, on one of \p cores other than that of the calling thread, if
/// there is one. Some systems let a new thread wait where it was made until its maker sleeps, or
/// the maker until it does. Says whether there is one now.
bool BeginOnAnotherCore(pthread_t& thread, const cpu_set_t& cores, void* (*function)(void*),
                        void* argument)
{
    cpu_set_t others = cores;
    // Where it is not known, none.
    CPU_CLR(sched_getcpu(), &others);
    if (CPU_COUNT(&others) != 0)
    {
        // It is held until it is where it may run; moved later, it could be in its maker's way
        // first.
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setaffinity_np(&attributes, sizeof others, &others);
        const bool hasBegun = pthread_create(&thread, &attributes, function, argument) == 0;
        pthread_attr_destroy(&attributes);
        if (hasBegun)
        {
            return true;
        }
    }
    return pthread_create(&thread, nullptr, function, argument) == 0;
}

}  // namespace

/// A loop that runs, from its caller's stack.
class CLoopThreads::CLoop
{
public:
    CLoop(std::uint32_t count, ParallelForItem item, const void* body)
        : m_count(count), m_item(item), m_body(body)
    {}

    [[nodiscard]] bool HasItems() const
    {
        return !isCancelled() && m_next.load(std::memory_order_relaxed) < m_count;
    }

    /// Runs items until none is left to begin, as one of \p numThreads.
    void RunItems(std::uint32_t numThreads)
    {
        std::uint32_t begin = 0;
        std::uint32_t end = 0;
        while (take(numThreads, begin, end))
        {
            for (; begin != end && !isCancelled(); ++begin)
            {
                runItem(begin);
            }
        }
    }

    void Rethrow() const
    {
        if (m_exception)
        {
            std::rethrow_exception(m_exception);
        }
    }

    /// The one that began before it and has not ended; under the mutex of the threads.
    CLoop* older = nullptr;
    /// How many threads run items beside the caller; under that mutex.
    std::uint32_t numHelpers = 0;

private:
    [[nodiscard]] bool isCancelled() const { return m_isCancelled.load(std::memory_order_relaxed); }

    [[nodiscard]] bool take(std::uint32_t numThreads, std::uint32_t& begin, std::uint32_t& end)
    {
        begin = m_next.load(std::memory_order_relaxed);
        do
        {
            if (begin == m_count || isCancelled())
            {
                return false;
            }
            const std::uint32_t left = m_count - begin;
            end = begin + std::clamp(left / numThreads / c_numParts, 1U, c_maxTaken);
        } while (!m_next.compare_exchange_weak(begin, end, std::memory_order_relaxed));
        return true;
    }

    void runItem(std::uint32_t index)
    {
        try
        {
            m_item(m_body, index);
        }
        catch (...)
        {
            if (!m_isCancelled.exchange(true))
            {
                m_exception = std::current_exception();
            }
        }
    }

    const std::uint32_t m_count;
    const ParallelForItem m_item;
    const void* const m_body;
    std::atomic<std::uint32_t> m_next = 0;
    std::atomic<bool> m_isCancelled = false;
    /// Written by the one that cancels, read when all have left.
    std::exception_ptr m_exception;
};

CLoopThreads::CLoopThreads(std::uint32_t numThreads)
    : m_numThreads(numThreads), m_helpers(numThreads - 1)
{
    if (sched_getaffinity(0, sizeof m_cores, &m_cores) != 0)
    {
        // More cores than such a set has room for: the helpers begin where the system has them.
        CPU_ZERO(&m_cores);
    }
}

CLoopThreads::~CLoopThreads()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_loopHasBegun.notify_all();
    for (const SHelper& helper : m_helpers)
    {
        if (helper.hasBegun)
        {
            pthread_join(helper.thread, nullptr);
        }
    }
}

void CLoopThreads::Run(std::uint32_t count, ParallelForItem item, const void* body)
{
    CLoop loop(count, item, body);
    SHelper* newHelper = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        loop.older = std::exchange(m_newestLoop, &loop);
        newHelper = takeHelper();
    }
    m_loopHasBegun.notify_all();
    beginHelper(newHelper);
    loop.RunItems(m_numThreads);
    std::unique_lock lock(m_mutex);
    remove(loop);
    m_helperHasLeft.wait(lock, [&loop] { return loop.numHelpers == 0; });
    lock.unlock();
    loop.Rethrow();
}

/// The place of a helper that the caller is to begin; null where all have begun. One at a time:
/// each helper that finds work begins another one, so that nobody waits until all have begun.
CLoopThreads::SHelper* CLoopThreads::takeHelper()
{
    return m_numPlacesTaken == m_helpers.size() ? nullptr : &m_helpers[m_numPlacesTaken++];
}

/// Not under the mutex, which the helper would wait for, and then begin where its maker is.
void CLoopThreads::beginHelper(SHelper* helper)
{
    if (helper != nullptr)
    {
        helper->hasBegun = BeginOnAnotherCore(helper->thread, m_cores, helpOthers, this);
    }
}

void* CLoopThreads::helpOthers(void* threads)
{
    auto& self = *static_cast<CLoopThreads*>(threads);
    // From now on the system may move it.
    sched_setaffinity(0, sizeof self.m_cores, &self.m_cores);
    self.help();
    return nullptr;
}

void CLoopThreads::help()
{
    std::unique_lock lock(m_mutex);
    while (!m_isEnding)
    {
        CLoop* const loop = findLoop();
        if (loop == nullptr)
        {
            m_loopHasBegun.wait(lock);
            continue;
        }
        ++loop->numHelpers;
        SHelper* const newHelper = takeHelper();
        lock.unlock();
        beginHelper(newHelper);
        loop->RunItems(m_numThreads);
        lock.lock();
        if (--loop->numHelpers == 0)
        {
            m_helperHasLeft.notify_all();
        }
    }
}

CLoopThreads::CLoop* CLoopThreads::findLoop() const
{
    CLoop* loop = m_newestLoop;
    while (loop != nullptr && !loop->HasItems())
    {
        loop = loop->older;
    }
    return loop;
}

void CLoopThreads::remove(const CLoop& loop)
{
    CLoop** place = &m_newestLoop;
    while (*place != &loop)
    {
        place = &(*place)->older;
    }
    *place = loop.older;
}

}  // namespace Base
