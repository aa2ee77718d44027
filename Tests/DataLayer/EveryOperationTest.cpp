#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Base/Support/CLogger.h"
#include "Base/Support/ParallelFor.h"
#include "Tests/DataLayer/OperationScenes.h"
#include "Tests/Support/Allocations.h"
#include "Tests/Support/MockCalls.h"
#include "Tests/Support/RandomDelays.h"
#include "Tests/Support/TestRounds.h"

namespace TestSupport
{

void PrintTo(const SNamedScene& scene, std::ostream* stream)
{
    *stream << scene.name;
}

namespace
{

/// Runs everything with a number of threads, however many cores the machine has.
class CThreads
{
public:
    explicit CThreads(int count)
        : m_control(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(count)),
          m_arena(count)
    {
        // A thread of the scheduler that starts and does not get its memory waits for ever or ends
        // the program; that is not ours to test. So all are started before anything fails. Each
        // waits for the others, so that none takes the item of another.
        const auto numThreads = static_cast<std::size_t>(count);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        std::mutex mutex;
        std::condition_variable hasArrived;
        std::set<std::thread::id> arrived;
        Run([&] {
            Base::ParallelFor(static_cast<std::uint32_t>(count), [&](std::uint32_t) {
                std::unique_lock lock(mutex);
                arrived.insert(std::this_thread::get_id());
                hasArrived.notify_all();
                hasArrived.wait_until(lock, deadline, [&] { return arrived.size() == numThreads; });
            });
        });
        EXPECT_EQ(arrived.size(), numThreads);
    }

    void Run(const std::function<void()>& operate) { m_arena.execute(operate); }

private:
    tbb::global_control m_control;
    tbb::task_arena m_arena;
};

/// Messages of all levels are made, and given to a sink of the application's.
class EveryOperationTest : public testing::TestWithParam<SNamedScene>
{
protected:
    EveryOperationTest()
    {
        Logging::SetLogSink([](const Logging::SLogRecord&) { OnMockCall(); });
        Logging::SetLogLevel(Logging::c_levelDebug);
    }
    ~EveryOperationTest() override
    {
        Logging::SetLogLevel(Logging::c_levelWarn);
        Logging::SetLogSink({});
    }

    /// What the operation gives when nothing interferes.
    [[nodiscard]] static std::string runUndisturbed(CThreads& threads)
    {
        const SScene scene = GetParam().make();
        threads.Run(scene.operate);
        return scene.describeResult();
    }
};

/// What happened when an event failed: how many did, and by how many objects more memory is in use.
struct SSurvival
{
    std::size_t numFailed = 0;
    std::ptrdiff_t numLost = 0;
};

/// The operation with its \p number-th event failing: either the failure leaves, and then the
/// inputs are what they were and the operation works when it is called again; or the operation did
/// without and gives what it always does. Nothing else leaves. None has failed when the operation
/// has fewer events.
template <typename Faults, typename Failure>
SSurvival FailEvent(const SNamedScene& named, CThreads& threads, const std::string& expected,
                    std::size_t number, EFailing failing,
                    const std::function<void(const Failure&)>& checkFailure)
{
    const std::size_t numLive = GetLiveAllocationCount();
    SSurvival survival;
    {
        const SScene scene = named.make();
        const std::string inputs = scene.describeInputs();
        bool hasFailed = false;
        {
            const Faults faults(number, failing);
            try
            {
                threads.Run(scene.operate);
            }
            catch (const Failure& failure)
            {
                hasFailed = true;
                checkFailure(failure);
            }
            survival.numFailed = faults.GetNumFailed();
        }
        if (hasFailed)
        {
            EXPECT_TRUE(scene.describeInputs() == inputs);
            threads.Run(scene.operate);
        }
        EXPECT_TRUE(scene.describeResult() == expected);
    }
    survival.numLost = static_cast<std::ptrdiff_t>(GetLiveAllocationCount() - numLive);
    return survival;
}

/// The same, and no memory is lost. \return how many events have failed.
template <typename Faults, typename Failure>
std::size_t ExpectFaultIsSurvived(const SNamedScene& named, CThreads& threads,
                                  const std::string& expected, std::size_t number, EFailing failing,
                                  const std::function<void(const Failure&)>& checkFailure)
{
    // The scheduler's threads take and give back memory of their own when they start and stop,
    // which they do now and then. What the operation loses it loses every time.
    constexpr int c_maximumTries = 20;
    SSurvival survival;
    int numTries = 0;
    do
    {
        survival =
            FailEvent<Faults, Failure>(named, threads, expected, number, failing, checkFailure);
    } while (survival.numLost != 0 && ++numTries < c_maximumTries && !testing::Test::HasFailure());
    EXPECT_EQ(survival.numLost, 0);
    return survival.numFailed;
}

/// Fails each event in turn, once and from there on, with one thread and with several, until the
/// operation has none that fails.
/// \return how many have failed in all.
template <typename Faults, typename Failure, typename CheckFailure>
std::size_t ExpectEveryFaultIsSurvived(const SNamedScene& named,
                                       const std::function<std::string(CThreads&)>& runUndisturbed,
                                       const CheckFailure& checkFailure)
{
    std::size_t numFailed = 0;
    for (const int numThreads : {1, 8})
    {
        CThreads threads(numThreads);
        // The first time of all also makes what is kept for good, such as a constant text.
        const std::string expected = runUndisturbed(threads);
        for (const EFailing failing : {EFailing::Once, EFailing::FromThereOn})
        {
            for (std::size_t number = 1, numFailedNow = 1; numFailedNow != 0; ++number)
            {
                SCOPED_TRACE(std::to_string(number) + ". event, " + std::to_string(numThreads) +
                             " threads");
                numFailedNow = ExpectFaultIsSurvived<Faults, Failure>(
                    named, threads, expected, number, failing,
                    [&](const Failure& failure) { checkFailure(failure, number, failing); });
                numFailed += numFailedNow;
                if (testing::Test::HasFailure())
                {
                    return numFailed;
                }
            }
        }
    }
    return numFailed;
}

TEST_P(EveryOperationTest, AnyAllocation_MayFail)
{
    const std::size_t numFailed = ExpectEveryFaultIsSurvived<CAllocationFaults, std::bad_alloc>(
        GetParam(), runUndisturbed, [](const std::bad_alloc&, std::size_t, EFailing) {});
    EXPECT_GT(numFailed, 0U);
}

TEST_P(EveryOperationTest, EveryNumberOfThreads_GivesTheSameBytes)
{
    std::string expected;
    {  // Of several limits the smallest holds.
        CThreads oneThread(1);
        expected = runUndisturbed(oneThread);
    }
    // There is nothing to delay where nobody takes part but the caller.
    const bool isOneThreadsMatter = GetParam().helpers == EHelpers::Nobody;
    for (const int numThreads :
         isOneThreadsMatter ? std::vector<int>{1} : std::vector<int>{1, 2, 3, 8, 16})
    {
        // Made once: starting them takes long where other programs keep the cores busy.
        CThreads threads(numThreads);
        for (unsigned round = 0; round < GetTestRounds(2); ++round)
        {
            const SScene scene = GetParam().make();
            const std::size_t numDelaysBefore = GetDelayCount();
            {
                const CCallDelays delays(2 * static_cast<unsigned>(numThreads) + 100 * round);
                threads.Run(scene.operate);
            }
            EXPECT_EQ(GetDelayCount() == numDelaysBefore, isOneThreadsMatter);
            ASSERT_TRUE(scene.describeResult() == expected) << numThreads << " threads";
        }
    }
}

class EveryCallTest : public EveryOperationTest
{};

TEST_P(EveryCallTest, AnyCall_MayThrow)
{
    const auto checkFailure = [](const CCallFault& fault, std::size_t number, EFailing failing) {
        EXPECT_GE(fault.GetNumber(), number);
        EXPECT_TRUE(failing == EFailing::FromThereOn || fault.GetNumber() == number);
        EXPECT_EQ(fault.what(), "call " + std::to_string(fault.GetNumber()));
        EXPECT_EQ(typeid(fault), typeid(CCallFault));
    };
    const std::size_t numFailed = ExpectEveryFaultIsSurvived<CCallFaults, CCallFault>(
        GetParam(), runUndisturbed, checkFailure);
    EXPECT_GT(numFailed, 0U);
}

std::string NameOf(const testing::TestParamInfo<SNamedScene>& info)
{
    return info.param.name;
}

std::vector<SNamedScene> CallingScenes(const std::vector<SNamedScene>& scenes)
{
    std::vector<SNamedScene> calling;
    for (const SNamedScene& scene : scenes)
    {
        if (scene.helpers == EHelpers::GivenObjects)
        {
            calling.push_back(scene);
        }
    }
    return calling;
}

INSTANTIATE_TEST_SUITE_P(Editing, EveryOperationTest, testing::ValuesIn(MakeEditingScenes()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Collections, EveryOperationTest, testing::ValuesIn(MakeCollectionScenes()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Records, EveryOperationTest, testing::ValuesIn(MakeRecordScenes()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Support, EveryOperationTest, testing::ValuesIn(MakeSupportScenes()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Editing, EveryCallTest,
                         testing::ValuesIn(CallingScenes(MakeEditingScenes())), NameOf);
INSTANTIATE_TEST_SUITE_P(Collections, EveryCallTest,
                         testing::ValuesIn(CallingScenes(MakeCollectionScenes())), NameOf);
INSTANTIATE_TEST_SUITE_P(Support, EveryCallTest,
                         testing::ValuesIn(CallingScenes(MakeSupportScenes())), NameOf);

}  // namespace

}  // namespace TestSupport
