#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Base/Support/ParallelFor.h"
#include "Tests/Support/TestRounds.h"

namespace
{

using Base::ParallelFor;

/// Which threads' items throw.
enum class EThrower
{
    Caller,
    Worker,
    Any,
};

/// How many items do.
enum class EHowMany
{
    One,
    Many,
};

/// What an item throws: it knows the loop it was thrown in.
class CItemError : public std::runtime_error
{
public:
    CItemError(unsigned round, std::uint32_t index)
        : std::runtime_error("round " + std::to_string(round) + ", item " + std::to_string(index)),
          m_round(round)
    {}

    [[nodiscard]] unsigned GetRound() const { return m_round; }

private:
    unsigned m_round;
};

/// Calls something when a scope is left, before anybody can catch what leaves it.
template <typename Function>
struct SAtEnd
{
    Function function;
    ~SAtEnd() { function(); }
};
template <typename Function>
SAtEnd(Function) -> SAtEnd<Function>;

/// A loop whose items throw, and what became of them.
class CThrowingLoop
{
public:
    /// \p patience is how long the caller's items wait in all for a worker's to throw.
    CThrowingLoop(unsigned round, std::uint32_t count, EThrower thrower, EHowMany howMany,
                  std::chrono::microseconds patience)
        : m_round(round),
          m_count(count),
          m_thrower(thrower),
          m_howMany(howMany),
          m_latest(std::chrono::steady_clock::now() + patience)
    {}

    /// Runs the loop; afterwards all items that have begun have ended, whatever left it.
    void Run()
    {
        const std::thread::id caller = std::this_thread::get_id();
        const SAtEnd check{[&] { EXPECT_EQ(m_numRunning, 0) << "round " << m_round; }};
        ParallelFor(m_count, [&](std::uint32_t index) {
            ++m_numRunning;
            const SAtEnd ended{[&] { --m_numRunning; }};
            const bool isCaller = std::this_thread::get_id() == caller;
            if (m_thrower == EThrower::Worker && isCaller)
            {
                waitForThrow();
            }
            const bool isThrower =
                m_thrower == EThrower::Any || isCaller == (m_thrower == EThrower::Caller);
            if (isThrower && (m_howMany == EHowMany::Many || !m_hasThrown.exchange(true)))
            {
                m_hasThrown = true;
                throw CItemError(m_round, index);
            }
            std::this_thread::yield();
        });
    }

    [[nodiscard]] bool HasThrown() const { return m_hasThrown; }

private:
    void waitForThrow() const
    {
        while (!m_hasThrown && std::chrono::steady_clock::now() < m_latest)
        {
            // Where all processors are busy, who only yields keeps a worker from waking up.
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    }

    unsigned m_round;
    std::uint32_t m_count;
    EThrower m_thrower;
    EHowMany m_howMany;
    std::chrono::steady_clock::time_point m_latest;
    std::atomic<bool> m_hasThrown = false;
    std::atomic<int> m_numRunning = 0;
};

/// Who throws, and how many do.
class ParallelForExceptionTest : public testing::TestWithParam<std::tuple<EThrower, EHowMany>>
{
protected:
    static constexpr int c_maxThreads = 16;
    static constexpr unsigned c_shortForm = 4;
    static constexpr std::uint32_t c_numItems = 100;
    static constexpr std::uint32_t c_numOuterItems = 4;

    [[nodiscard]] static EThrower thrower() { return std::get<0>(GetParam()); }
    [[nodiscard]] static EHowMany howMany() { return std::get<1>(GetParam()); }

    /// Whether items throw in each round with so many threads, when \p numBusy of them cannot take
    /// an item of a loop whose caller waits for a worker.
    [[nodiscard]] static bool isThrowCertain(std::size_t numThreads, std::size_t numBusy)
    {
        return thrower() != EThrower::Worker || numThreads > numBusy;
    }

    /// How long a loop waits for its workers: where one is certain to come, for as long as it
    /// takes, and the limit only ends a test that would hang.
    [[nodiscard]] static std::chrono::microseconds getPatience(std::size_t numBusy)
    {
        const auto numThreads = static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
        return isThrowCertain(numThreads, numBusy) ? std::chrono::seconds(60)
                                                   : std::chrono::microseconds(100);
    }

    /// Something has arrived in each round with as many threads as make it certain.
    static void expectCertainThrows(const std::vector<unsigned>& numThrows, std::size_t numBusy)
    {
        for (std::size_t numThreads = 1; numThreads < numThrows.size(); ++numThreads)
        {
            EXPECT_TRUE(numThrows[numThreads] == TestSupport::GetTestRounds(c_shortForm) ||
                        !isThrowCertain(numThreads, numBusy))
                << numThrows[numThreads] << " rounds, " << numThreads << " threads";
        }
    }

    /// Calls \p runRound in each round, for every number of threads; it may throw, and says whether
    /// it has seen a throw that did not arrive. After each round runs a loop that does not throw.
    /// \return in how many rounds something arrived, by the number of threads.
    template <typename RunRound>
    static std::vector<unsigned> countThrows(const RunRound& runRound)
    {
        std::vector<unsigned> numThrows(c_maxThreads + 1);
        for (int numThreads = 1; numThreads <= c_maxThreads; ++numThreads)
        {
            const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                              static_cast<std::size_t>(numThreads));
            tbb::task_arena(numThreads).execute([&] {
                for (unsigned round = 0; round < TestSupport::GetTestRounds(c_shortForm); ++round)
                {
                    numThrows[static_cast<std::size_t>(numThreads)] +=
                        hasThrown(runRound, round) ? 1 : 0;
                }
            });
        }
        return numThrows;
    }

private:
    template <typename RunRound>
    static bool hasThrown(const RunRound& runRound, unsigned round)
    {
        bool hasArrived = false;
        try
        {
            EXPECT_FALSE(runRound(round)) << "what was thrown in round " << round << " is lost";
        }
        catch (const CItemError& error)
        {
            EXPECT_EQ(error.GetRound(), round);
            hasArrived = true;
        }
        std::atomic<std::uint32_t> numItems = 0;
        ParallelFor(c_numItems, [&](std::uint32_t) { ++numItems; });
        EXPECT_EQ(numItems, c_numItems) << "the loop after round " << round;
        return hasArrived;
    }
};

TEST_P(ParallelForExceptionTest, Flat_OneArrivesWhenAllItemsHaveEnded)
{
    // The caller.
    constexpr std::size_t c_numBusy = 1;
    const std::vector<unsigned> numThrows = countThrows([](unsigned round) {
        CThrowingLoop loop(round, 2 + round % c_numItems, thrower(), howMany(),
                           getPatience(c_numBusy));
        loop.Run();
        return loop.HasThrown();
    });
    expectCertainThrows(numThrows, c_numBusy);
    EXPECT_EQ(numThrows[1] > 0, thrower() != EThrower::Worker) << "a single thread has no workers";
}

TEST_P(ParallelForExceptionTest, Nested_OneArrivesWhenAllItemsHaveEnded)
{
    // Those that run a throwing loop wait for its workers, and the outer loop's caller, while it
    // waits for these, takes items of no loop but its own.
    const std::size_t numThrowingLoops = howMany() == EHowMany::Many ? c_numOuterItems : 1;
    const std::size_t numBusy = numThrowingLoops + 1;
    const std::vector<unsigned> numThrows = countThrows([numBusy](unsigned round) {
        std::atomic<bool> hasThrown = false;
        std::atomic<int> numRunning = 0;
        const SAtEnd check{[&] { EXPECT_EQ(numRunning, 0) << "round " << round; }};
        ParallelFor(c_numOuterItems, [&](std::uint32_t outer) {
            ++numRunning;
            const SAtEnd ended{[&] { --numRunning; }};
            // Of several loops, all or one have items that throw.
            const bool isThrowing = howMany() == EHowMany::Many || outer == round % c_numOuterItems;
            if (isThrowing)
            {
                CThrowingLoop loop(round, 2 + round % 20, thrower(), howMany(),
                                   getPatience(numBusy));
                const SAtEnd mark{[&] { hasThrown = hasThrown || loop.HasThrown(); }};
                loop.Run();
            }
            else
            {
                ParallelFor(20, [](std::uint32_t) { std::this_thread::yield(); });
            }
        });
        return hasThrown.load();
    });
    expectCertainThrows(numThrows, numBusy);
}

INSTANTIATE_TEST_SUITE_P(Threads, ParallelForExceptionTest,
                         testing::Combine(testing::Values(EThrower::Caller, EThrower::Worker,
                                                          EThrower::Any),
                                          testing::Values(EHowMany::One, EHowMany::Many)));

}  // namespace
