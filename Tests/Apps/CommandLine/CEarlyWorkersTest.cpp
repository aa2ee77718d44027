#include "Apps/CommandLine/CEarlyWorkers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "Base/Support/ParallelFor.h"

namespace
{

using CommandLine::CEarlyWorkers;

TEST(CEarlyWorkers, AreJoinedAndDisturbNoLoop)
{
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<std::uint32_t> sum{0};
        const auto add = [&](std::uint32_t index) { sum += index; };
        {
            const CEarlyWorkers workers;
            Base::ParallelFor(100, add);
        }
        Base::ParallelFor(100, add);
        EXPECT_EQ(sum, 9900U);
    }
}

}  // namespace
