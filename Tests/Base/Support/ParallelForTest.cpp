#include "Base/Support/ParallelFor.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/ConcurrentCallers.h"

namespace
{

using Base::ParallelFor;

/// Waits until \p condition holds, or long enough to go on without on a machine with one core.
template <typename Condition>
void WaitFor(const Condition& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!condition() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::yield();
    }
}

/// Runs everything with eight threads, however many cores the machine has.
class ParallelForTest : public testing::Test
{
protected:
    template <typename Function>
    void run(const Function& function)
    {
        m_arena.execute(function);
    }

private:
    tbb::global_control m_control{tbb::global_control::max_allowed_parallelism, 8};
    tbb::task_arena m_arena{8};
};

TEST_F(ParallelForTest, NoItems_CallsNothing)
{
    run([] { ParallelFor(0, [](std::uint32_t) { FAIL(); }); });
}

std::atomic<std::uint32_t> g_sum = 0;

void AddToSum(std::uint32_t index)
{
    g_sum += index + 1;
}

TEST_F(ParallelForTest, AFunction_IsCalledByItsName)
{
    g_sum = 0;
    run([] { ParallelFor(4, AddToSum); });
    EXPECT_EQ(g_sum, 10U);
    run([] { ParallelFor(4, &AddToSum); });
    EXPECT_EQ(g_sum, 20U);
}

TEST_F(ParallelForTest, OneItem_RunsOnTheCallingThread)
{
    run([] {
        std::thread::id thread;
        std::uint32_t calledWith = 99;
        ParallelFor(1, [&](std::uint32_t index) {
            thread = std::this_thread::get_id();
            calledWith = index;
        });
        EXPECT_EQ(thread, std::this_thread::get_id());
        EXPECT_EQ(calledWith, 0U);
    });
}

class ParallelForCountTest : public ParallelForTest, public testing::WithParamInterface<unsigned>
{};

TEST_P(ParallelForCountTest, EveryItem_RunsExactlyOnce)
{
    run([] {
        std::vector<std::atomic<int>> calls(GetParam());
        ParallelFor(GetParam(), [&](std::uint32_t index) { ++calls[index]; });
        EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }));
    });
}

INSTANTIATE_TEST_SUITE_P(Counts, ParallelForCountTest,
                         testing::Values(1U, 2U, 3U, 7U, 8U, 9U, 1000U, 100'000U));

TEST_F(ParallelForTest, Items_SeeWhatTheCallerWroteAndTheCallerSeesWhatTheyWrote)
{
    run([] {
        std::vector<int> input(10'000);
        std::iota(input.begin(), input.end(), 0);
        std::vector<int> output(input.size());
        ParallelFor(static_cast<std::uint32_t>(input.size()),
                    [&](std::uint32_t index) { output[index] = input[index] * 2; });
        for (std::size_t index = 0; index < output.size(); ++index)
        {
            ASSERT_EQ(output[index], static_cast<int>(2 * index));
        }
    });
}

TEST_F(ParallelForTest, Body_IsNotCopied)
{
    struct SBody
    {
        SBody() = default;
        SBody(const SBody&) = delete;
        SBody& operator=(const SBody&) = delete;
        void operator()(std::uint32_t index) const { sum += index; }
        mutable std::atomic<unsigned> sum = 0;
    };
    const SBody body;
    run([&] { ParallelFor(100, body); });
    EXPECT_EQ(body.sum, 4950U);
}

TEST_F(ParallelForTest, CalledFromAThreadOfTheCallersOwn_Works)
{
    std::atomic<int> numCalls = 0;
    std::thread thread([&] { ParallelFor(1000, [&](std::uint32_t) { ++numCalls; }); });
    thread.join();
    EXPECT_EQ(numCalls, 1000);
}

TEST_F(ParallelForTest, ManyCallersAtOnce_DoNotMixTheirItems)
{
    std::vector<std::uint64_t> sums(TestSupport::c_numCallers);
    TestSupport::RunCallers([&](std::size_t caller) {
        for (int round = 0; round < 50; ++round)
        {
            std::atomic<std::uint64_t> total = 0;
            ParallelFor(200, [&](std::uint32_t index) { total += index; });
            sums[caller] += total;
        }
    });
    EXPECT_EQ(sums, std::vector<std::uint64_t>(sums.size(), 50 * 19'900));
}

TEST_F(ParallelForTest, ManyCallersAtOnce_EachGetsWhatItsOwnItemsThrow)
{
    for (int round = 0; round < 50; ++round)
    {
        TestSupport::ExpectEverySecondGetsItsFault([](std::size_t caller) {
            std::atomic<std::uint64_t> total = 0;
            ParallelFor(200, [&](std::uint32_t index) {
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

class ParallelForThrowTest : public ParallelForTest, public testing::WithParamInterface<unsigned>
{};

TEST_P(ParallelForThrowTest, ItemThatThrows_ReachesTheCallerWithItsTypeAndText)
{
    run([] {
        try
        {
            ParallelFor(1000, [](std::uint32_t index) {
                if (index == GetParam())
                {
                    throw std::out_of_range("item " + std::to_string(index));
                }
            });
            FAIL() << "nothing was thrown";
        }
        catch (const std::out_of_range& exception)
        {
            EXPECT_EQ(exception.what(), "item " + std::to_string(GetParam()));
        }
    });
}

INSTANTIATE_TEST_SUITE_P(FirstMiddleLast, ParallelForThrowTest, testing::Values(0U, 500U, 999U));

TEST_F(ParallelForTest, OnlyItemThrows_ReachesTheCaller)
{
    run([] {
        EXPECT_THROW(ParallelFor(1, [](std::uint32_t) { throw std::length_error("only"); }),
                     std::length_error);
    });
}

TEST_F(ParallelForTest, SomethingThatIsNoException_ReachesTheCaller)
{
    run([] { EXPECT_THROW(ParallelFor(10, [](std::uint32_t) { throw 42; }), int); });
}

TEST_F(ParallelForTest, AllItemsThrow_OneOfThemReachesTheCaller)
{
    run([] {
        std::atomic<int> numThrown = 0;
        try
        {
            ParallelFor(1000, [&](std::uint32_t index) {
                ++numThrown;
                throw std::runtime_error(std::to_string(index));
            });
            FAIL() << "nothing was thrown";
        }
        catch (const std::runtime_error& exception)
        {
            EXPECT_LT(std::stoi(exception.what()), 1000);
        }
        EXPECT_GE(numThrown, 1);
    });
}

TEST_F(ParallelForTest, ItemThatThrows_CancelsItemsThatHaveNotStarted)
{
    run([] {
        const std::uint32_t numItems = 1'000'000;
        std::atomic<std::uint32_t> numStarted = 0;
        EXPECT_THROW(ParallelFor(numItems,
                                 [&](std::uint32_t) {
                                     ++numStarted;
                                     throw std::runtime_error("stop");
                                 }),
                     std::runtime_error);
        // Each thread may have started a few before it heard of the first one.
        EXPECT_LT(numStarted, numItems / 100);
    });
}

TEST_F(ParallelForTest, ItemThatThrows_ItemsThatRunAreWaitedFor)
{
    run([] {
        for (int round = 0; round < 20; ++round)
        {
            std::atomic<int> numRunning = 0;
            std::atomic<int> numStarted = 0;
            EXPECT_THROW(ParallelFor(8,
                                     [&](std::uint32_t index) {
                                         ++numRunning;
                                         ++numStarted;
                                         if (index == 0)
                                         {
                                             --numRunning;
                                             throw std::runtime_error("stop");
                                         }
                                         std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                         --numRunning;
                                     }),
                         std::runtime_error);
            EXPECT_EQ(numRunning, 0);
            EXPECT_GE(numStarted, 1);
        }
    });
}

TEST_F(ParallelForTest, LoopAfterOneThatThrew_IsComplete)
{
    run([] {
        EXPECT_THROW(ParallelFor(100, [](std::uint32_t) { throw std::runtime_error("stop"); }),
                     std::runtime_error);
        std::atomic<int> numCalls = 0;
        ParallelFor(100, [&](std::uint32_t) { ++numCalls; });
        EXPECT_EQ(numCalls, 100);
    });
}

TEST_F(ParallelForTest, Nested_RunsEveryInnerItemOnce)
{
    run([] {
        std::vector<std::atomic<int>> calls(64 * 64);
        ParallelFor(64, [&](std::uint32_t outer) {
            ParallelFor(64, [&](std::uint32_t inner) { ++calls[outer * 64 + inner]; });
        });
        EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }));
    });
}

TEST_F(ParallelForTest, NestedThreeDeep_RunsEveryInnermostItemOnce)
{
    run([] {
        std::atomic<int> numCalls = 0;
        ParallelFor(8, [&](std::uint32_t) {
            ParallelFor(8,
                        [&](std::uint32_t) { ParallelFor(8, [&](std::uint32_t) { ++numCalls; }); });
        });
        EXPECT_EQ(numCalls, 512);
    });
}

TEST_F(ParallelForTest, Nested_WaitingThreadStartsNoOuterItem)
{
    run([] {
        thread_local int outerItemsOnThisThread = 0;
        std::atomic<bool> hasReentered = false;
        ParallelFor(64, [&](std::uint32_t) {
            if (++outerItemsOnThisThread > 1)
            {
                hasReentered = true;
            }
            ParallelFor(64, [](std::uint32_t) { std::this_thread::yield(); });
            --outerItemsOnThisThread;
        });
        EXPECT_FALSE(hasReentered);
    });
}

TEST_F(ParallelForTest, NestedUnderALockOfTheOuterItem_DoesNotDeadlock)
{
    run([] {
        std::vector<std::mutex> mutexes(2);
        std::atomic<int> numCalls = 0;
        ParallelFor(100, [&](std::uint32_t outer) {
            const std::lock_guard lock(mutexes[outer % 2]);
            ParallelFor(16, [&](std::uint32_t) { ++numCalls; });
        });
        EXPECT_EQ(numCalls, 1600);
    });
}

TEST_F(ParallelForTest, NestedItemThrows_ReachesTheOuterItemAndThenTheCaller)
{
    run([] {
        std::atomic<int> numSeenByOuterItems = 0;
        const auto outerItem = [&](std::uint32_t outer) {
            try
            {
                ParallelFor(100, [&](std::uint32_t inner) {
                    if (outer == 3 && inner == 50)
                    {
                        throw std::out_of_range("inner");
                    }
                });
            }
            catch (const std::out_of_range&)
            {
                ++numSeenByOuterItems;
                throw;
            }
        };
        EXPECT_THROW(ParallelFor(8, outerItem), std::out_of_range);
        EXPECT_EQ(numSeenByOuterItems, 1);
    });
}

TEST_F(ParallelForTest, NestedItemThrowsAndIsCaughtOutside_OtherOuterItemsAreComplete)
{
    run([] {
        std::atomic<int> numCalls = 0;
        ParallelFor(16, [&](std::uint32_t outer) {
            try
            {
                ParallelFor(16, [&](std::uint32_t) {
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
    });
}

TEST_F(ParallelForTest, OuterItemThrows_InnerLoopsThatRunAreComplete)
{
    run([] {
        std::atomic<bool> hasInnerStarted = false;
        std::atomic<bool> hasThrown = false;
        std::atomic<int> numInnerLoops = 0;
        std::atomic<int> numInnerCalls = 0;
        const auto outerItem = [&](std::uint32_t outer) {
            if (outer == 0)
            {
                WaitFor([&] { return hasInnerStarted.load(); });
                hasThrown = true;
                throw std::runtime_error("outer");
            }
            ParallelFor(1000, [&](std::uint32_t) {
                hasInnerStarted = true;
                WaitFor([&] { return hasThrown.load(); });
                std::this_thread::sleep_for(std::chrono::microseconds(20));
                ++numInnerCalls;
            });
            ++numInnerLoops;
        };
        EXPECT_THROW(ParallelFor(2, outerItem), std::runtime_error);
        EXPECT_EQ(numInnerCalls, 1000 * numInnerLoops);
    });
}

TEST_F(ParallelForTest, ManyRounds_AreAllComplete)
{
    run([] {
        std::atomic<int> numCalls = 0;
        for (int round = 0; round < 10'000; ++round)
        {
            ParallelFor(4, [&](std::uint32_t) { ++numCalls; });
        }
        EXPECT_EQ(numCalls, 40'000);
    });
}

TEST_F(ParallelForTest, ManyRoundsThatThrow_AllArrive)
{
    run([] {
        int numCaught = 0;
        for (int round = 0; round < 1000; ++round)
        {
            try
            {
                ParallelFor(4, [&](std::uint32_t index) {
                    if (index == static_cast<std::uint32_t>(round % 4))
                    {
                        throw std::runtime_error("round");
                    }
                });
            }
            catch (const std::runtime_error&)
            {
                ++numCaught;
            }
        }
        EXPECT_EQ(numCaught, 1000);
    });
}

TEST_F(ParallelForTest, MoveOnlyState_IsReleasedWhenAnItemThrows)
{
    const auto resource = std::make_shared<int>(1);
    run([&] {
        EXPECT_THROW(ParallelFor(100,
                                 [resource](std::uint32_t) {
                                     const std::shared_ptr<int> copy = resource;
                                     throw std::runtime_error("stop");
                                 }),
                     std::runtime_error);
    });
    EXPECT_EQ(resource.use_count(), 1);
}

}  // namespace
