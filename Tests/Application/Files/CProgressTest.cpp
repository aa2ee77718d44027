#include "Application/Files/CProgress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace
{

using Application::CProgress;

TEST(CProgress, Report_CallsAreFewRisingAndBelowOne)
{
    std::vector<double> calls;
    CProgress progress([&](double done) { calls.push_back(done); }, 1000000);

    for (std::uint64_t done = 0; done <= 1000000; ++done)
    {
        progress.Report(done);
    }

    EXPECT_GE(calls.size(), 190U);
    EXPECT_LE(calls.size(), 200U);
    EXPECT_TRUE(std::is_sorted(calls.begin(), calls.end()));
    EXPECT_GT(calls.front(), 0.0);
    EXPECT_LT(calls.back(), 1.0);
}

TEST(CProgress, Report_WithoutCallback)
{
    CProgress progress({}, 10);

    EXPECT_NO_THROW(progress.Report(5));
}

TEST(CProgress, Report_TotalOfZeroIsNeverDivided)
{
    int calls = 0;
    CProgress progress([&](double) { ++calls; }, 0);

    progress.Report(0);
    progress.Report(5);

    EXPECT_EQ(calls, 0);
}

}  // namespace
