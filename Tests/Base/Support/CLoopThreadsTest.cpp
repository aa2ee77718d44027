#include "Base/Support/CLoopThreads.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/ConcurrentCallers.h"

namespace
{

/// Loops of lambdas on threads of the test's own.
class CLoops
{
public:
    explicit CLoops(std::uint32_t numThreads) : m_threads(numThreads) {}

    template <typename Body>
    void Run(std::uint32_t count, const Body& body)
    {
        m_threads.Run(
            count,
            [](const void* erasedBody, std::uint32_t index) {
                (*static_cast<const Body*>(erasedBody))(index);
            },
            &body);
    }

private:
    Base::CLoopThreads m_threads;
};

class CLoopThreadsTest : public testing::TestWithParam<std::uint32_t>
{
protected:
    CLoops m_loops{GetParam()};
};

TEST_P(CLoopThreadsTest, EveryItem_RunsExactlyOnce)
{
    for (const std::uint32_t count : {0U, 1U, 2U, 3U, 7U, 63U, 64U, 65U, 1000U, 20'000U})
    {
        std::vector<std::atomic<int>> calls(count);
        m_loops.Run(count, [&](std::uint32_t index) { ++calls[index]; });
        EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }))
            << count;
    }
}

TEST_P(CLoopThreadsTest, Items_SeeWhatTheCallerWroteAndTheCallerSeesWhatTheyWrote)
{
    std::vector<std::uint32_t> values(10'000);
    for (std::uint32_t round = 0; round < 50; ++round)
    {
        m_loops.Run(10'000, [&](std::uint32_t index) { values[index] += index; });
        ++values[round];
    }
    for (std::uint32_t index = 0; index < 10'000; ++index)
    {
        ASSERT_EQ(values[index], 50 * index + (index < 50 ? 1 : 0));
    }
}

TEST_P(CLoopThreadsTest, ManyRounds_AreAllComplete)
{
    std::atomic<int> numCalls = 0;
    for (int round = 0; round < 5000; ++round)
    {
        m_loops.Run(4, [&](std::uint32_t) { ++numCalls; });
    }
    EXPECT_EQ(numCalls, 20'000);
}

TEST_P(CLoopThreadsTest, AsManyThreadsAsAreWanted_RunAtOnce)
{
    // Nobody goes on before all have arrived.
    std::latch all(GetParam());
    m_loops.Run(GetParam(), [&](std::uint32_t) { all.arrive_and_wait(); });
    EXPECT_TRUE(all.try_wait());
}

TEST_P(CLoopThreadsTest, Helpers_MayRunWhereverTheCallerMay)
{
    cpu_set_t wanted;
    ASSERT_EQ(sched_getaffinity(0, sizeof wanted, &wanted), 0);
    std::latch all(GetParam());
    std::atomic<std::uint32_t> numFree = 0;
    m_loops.Run(GetParam(), [&](std::uint32_t) {
        all.arrive_and_wait();
        // Its maker may not have come to it yet.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        cpu_set_t own;
        while (sched_getaffinity(0, sizeof own, &own) == 0 && !CPU_EQUAL(&own, &wanted) &&
               std::chrono::steady_clock::now() < end)
        {
            std::this_thread::yield();
        }
        numFree += CPU_EQUAL(&own, &wanted) ? 1 : 0;
    });
    EXPECT_EQ(numFree, GetParam());
}

TEST_P(CLoopThreadsTest, CallerWithASingleCore_RunsEveryItem)
{
    std::atomic<int> numCalls = 0;
    std::thread([&] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(sched_getcpu(), &one);
        EXPECT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
        m_loops.Run(1000, [&](std::uint32_t) { ++numCalls; });
        CLoops(GetParam()).Run(1000, [&](std::uint32_t) { ++numCalls; });
    }).join();
    EXPECT_EQ(numCalls, 2000);
}

TEST_P(CLoopThreadsTest, ManyCallersAtOnce_DoNotMixTheirItems)
{
    std::vector<std::uint64_t> sums(TestSupport::c_numCallers);
    TestSupport::RunCallers([&](std::size_t caller) {
        for (int round = 0; round < 50; ++round)
        {
            std::atomic<std::uint64_t> total = 0;
            m_loops.Run(200, [&](std::uint32_t index) { total += index; });
            sums[caller] += total;
        }
    });
    EXPECT_EQ(sums, std::vector<std::uint64_t>(sums.size(), 50 * 19'900));
}

TEST_P(CLoopThreadsTest, ManyCallersAtOnce_EachGetsWhatItsOwnItemsThrow)
{
    for (int round = 0; round < 20; ++round)
    {
        TestSupport::ExpectEverySecondGetsItsFault([&](std::size_t caller) {
            std::atomic<std::uint64_t> total = 0;
            m_loops.Run(200, [&](std::uint32_t index) {
                if (TestSupport::IsThrowingCaller(caller) && index % 64 == caller)
                {
                    throw TestSupport::CCallerFault(caller);
                }
                total += index;
            });
            return total == 19'900;
        });
    }
}

TEST_P(CLoopThreadsTest, NestedThreeDeep_RunsEveryInnermostItemOnce)
{
    std::vector<std::atomic<int>> calls(512);
    m_loops.Run(8, [&](std::uint32_t i) {
        m_loops.Run(8, [&](std::uint32_t j) {
            m_loops.Run(8, [&](std::uint32_t k) { ++calls[64 * i + 8 * j + k]; });
        });
    });
    EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }));
}

TEST_P(CLoopThreadsTest, Nested_WaitingThreadStartsNoOuterItem)
{
    thread_local int outerItemsOnThisThread = 0;
    std::atomic<bool> hasReentered = false;
    m_loops.Run(64, [&](std::uint32_t) {
        if (++outerItemsOnThisThread > 1)
        {
            hasReentered = true;
        }
        m_loops.Run(64, [](std::uint32_t) { std::this_thread::yield(); });
        --outerItemsOnThisThread;
    });
    EXPECT_FALSE(hasReentered);
}

TEST_P(CLoopThreadsTest, NestedUnderALockOfTheOuterItem_DoesNotDeadlock)
{
    std::vector<std::mutex> mutexes(2);
    std::atomic<int> numCalls = 0;
    m_loops.Run(100, [&](std::uint32_t outer) {
        const std::lock_guard lock(mutexes[outer % 2]);
        m_loops.Run(16, [&](std::uint32_t) { ++numCalls; });
    });
    EXPECT_EQ(numCalls, 1600);
}

TEST_P(CLoopThreadsTest, ItemThatThrows_ReachesTheCallerWithItsTypeAndText)
{
    for (const std::uint32_t thrower : {0U, 500U, 999U})
    {
        try
        {
            m_loops.Run(1000, [&](std::uint32_t index) {
                if (index == thrower)
                {
                    throw std::out_of_range("item " + std::to_string(index));
                }
            });
            FAIL() << "nothing was thrown";
        }
        catch (const std::out_of_range& exception)
        {
            EXPECT_EQ(exception.what(), "item " + std::to_string(thrower));
        }
    }
}

TEST_P(CLoopThreadsTest, ItemThatThrows_CancelsItemsThatHaveNotStarted)
{
    const std::uint32_t numItems = 1'000'000;
    std::atomic<std::uint32_t> numStarted = 0;
    const auto item = [&](std::uint32_t) {
        ++numStarted;
        throw std::runtime_error("stop");
    };
    EXPECT_THROW(m_loops.Run(numItems, item), std::runtime_error);
    // Each thread may have started one before it heard of the first.
    EXPECT_LE(numStarted, GetParam());
}

TEST_P(CLoopThreadsTest, ItemThatThrows_ItemsThatRunAreWaitedFor)
{
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<int> numRunning = 0;
        const auto item = [&](std::uint32_t index) {
            ++numRunning;
            if (index == 0)
            {
                --numRunning;
                throw std::runtime_error("stop");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            --numRunning;
        };
        EXPECT_THROW(m_loops.Run(8, item), std::runtime_error);
        EXPECT_EQ(numRunning, 0);
    }
}

TEST_P(CLoopThreadsTest, NestedItemThrowsAndIsCaughtOutside_OtherOuterItemsAreComplete)
{
    std::atomic<int> numCalls = 0;
    m_loops.Run(16, [&](std::uint32_t outer) {
        try
        {
            m_loops.Run(16, [&](std::uint32_t) {
                if (outer == 5)
                {
                    throw std::runtime_error("inner");
                }
                ++numCalls;
            });
        }
        catch (const std::runtime_error&)
        {}
    });
    EXPECT_EQ(numCalls, 15 * 16);
}

INSTANTIATE_TEST_SUITE_P(Threads, CLoopThreadsTest, testing::Values(1U, 2U, 3U, 8U));

}  // namespace
