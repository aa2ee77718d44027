#include "Application/Pictures/RowBands.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <stdexcept>
#include <vector>

namespace
{

using Application::ForEachBandInRoom;

TEST(ForEachBandInRoom, OneThreadIsIdleAfterItsLastBand)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, 1);
    for (const std::uint32_t numRows : {1U, 16U, 17U, 300U})
    {
        std::vector<int> visits(numRows);
        int numIdle = 0;
        ForEachBandInRoom(
            numRows, [] { return 0; },
            [&](int&, std::uint32_t begin, std::uint32_t end) {
                EXPECT_EQ(numIdle, 0);
                for (std::uint32_t row = begin; row < end; ++row)
                {
                    ++visits[row];
                }
            },
            [&] {
                ++numIdle;
                EXPECT_EQ(visits, std::vector<int>(numRows, 1));
            });
        EXPECT_EQ(numIdle, 1);
    }
}

TEST(ForEachBandInRoom, NobodyIsIdleAfterAFailure)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, 1);
    const auto fail = [](int&, std::uint32_t, std::uint32_t) { throw std::runtime_error("no"); };
    EXPECT_THROW(ForEachBandInRoom(
                     40, [] { return 0; }, fail, [] { FAIL(); }),
                 std::runtime_error);
}

}  // namespace
