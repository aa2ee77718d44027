#include "DataLayer/PointCloud/TLazyValue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace DataLayerTest
{

namespace
{

TEST(TLazyValue, Get_MakesTheValueOnce)
{
    const DataLayer::TLazyValue<int> value;
    EXPECT_EQ(value.Get([] { return 1; }), 1);
    EXPECT_EQ(value.Get([] { return 2; }), 1);
}

TEST(TLazyValue, Get_TriesAgainAfterAFailure)
{
    const DataLayer::TLazyValue<int> value;
    EXPECT_THROW(static_cast<void>(value.Get([]() -> int { throw std::length_error("no"); })),
                 std::length_error);
    EXPECT_EQ(value.Get([] { return 2; }), 2);
}

TEST(TLazyValue, Get_ManyThreadsGetTheSameObject)
{
    const DataLayer::TLazyValue<int> value;
    std::atomic<int> numMade = 0;
    std::vector<const int*> results(8);
    std::vector<std::thread> threads;
    for (const int*& result : results)
    {
        threads.emplace_back([&] { result = &value.Get([&] { return ++numMade; }); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(numMade, 1);
    for (const int* const result : results)
    {
        EXPECT_EQ(result, results.front());
    }
}

}  // namespace

}  // namespace DataLayerTest
