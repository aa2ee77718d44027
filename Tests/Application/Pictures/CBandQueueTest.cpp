#include "Application/Pictures/CBandQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <vector>

#include "Base/Support/ParallelFor.h"

namespace
{

using Application::CBandQueue;

TEST(CBandQueue, Finish_PassesOnWhatHasNoGapBefore)
{
    CBandQueue queue(5);
    std::vector<std::uint32_t> passed;
    const auto finish = [&](std::uint32_t band) {
        queue.Finish(band, [&](std::uint32_t numBands) { passed.push_back(numBands); });
    };
    finish(1);
    finish(3);
    EXPECT_EQ(passed, std::vector<std::uint32_t>());
    finish(0);
    EXPECT_EQ(passed, std::vector<std::uint32_t>({2}));
    finish(2);
    finish(4);
    EXPECT_EQ(passed, std::vector<std::uint32_t>({2, 4, 5}));
}

TEST(CBandQueue, Finish_WhoPassesOnPassesOnWhatIsFinishedMeanwhile)
{
    CBandQueue queue(3);
    std::vector<std::uint32_t> passed;
    const auto never = [](std::uint32_t) { FAIL(); };
    queue.Finish(0, [&](std::uint32_t numBands) {
        passed.push_back(numBands);
        if (numBands == 1)
        {
            queue.Finish(2, never);
            queue.Finish(1, never);
        }
    });
    EXPECT_EQ(passed, std::vector<std::uint32_t>({1, 3}));
}

TEST(CBandQueue, Finish_AfterAFailureNothingIsPassedOn)
{
    CBandQueue queue(2);
    EXPECT_THROW(queue.Finish(0, [](std::uint32_t) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    queue.Finish(1, [](std::uint32_t) { FAIL(); });
}

TEST(CBandQueue, Finish_ByManyThreadsPassesAllOnInOrderOneAtATime)
{
    constexpr std::uint32_t c_numBands = 500;
    for (int run = 0; run < 20; ++run)
    {
        CBandQueue queue(c_numBands);
        std::atomic<int> numPassing = 0;
        std::uint32_t last = 0;
        Base::ParallelFor(c_numBands, [&](std::uint32_t band) {
            queue.Finish(band, [&](std::uint32_t numBands) {
                EXPECT_EQ(++numPassing, 1);
                EXPECT_GT(numBands, last);
                last = numBands;
                --numPassing;
            });
        });
        EXPECT_EQ(last, c_numBands);
    }
}

}  // namespace
