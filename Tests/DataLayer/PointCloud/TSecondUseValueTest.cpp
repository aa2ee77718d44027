#include "DataLayer/PointCloud/TSecondUseValue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace DataLayer
{

namespace
{

TEST(TSecondUseValue, Find_FirstCallMakesNothing)
{
    const TSecondUseValue<int> value;
    EXPECT_EQ(value.Find([]() -> int { throw std::logic_error("made"); }), nullptr);
}

TEST(TSecondUseValue, Find_SecondCallMakesTheValue)
{
    const TSecondUseValue<int> value;
    EXPECT_EQ(value.Find([] { return 1; }), nullptr);
    const int* const made = value.Find([] { return 2; });
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(*made, 2);
}

TEST(TSecondUseValue, Find_LaterCallsGetTheSameObject)
{
    const TSecondUseValue<int> value;
    EXPECT_EQ(value.Find([] { return 1; }), nullptr);
    const int* const made = value.Find([] { return 2; });
    EXPECT_EQ(value.Find([]() -> int { throw std::logic_error("made again"); }), made);
    EXPECT_EQ(value.Find([] { return 4; }), made);
    EXPECT_EQ(*made, 2);
}

TEST(TSecondUseValue, Find_WithoutMemoryIsNullAndTheNextCallerTriesAgain)
{
    const TSecondUseValue<int> value;
    EXPECT_EQ(value.Find([] { return 1; }), nullptr);
    EXPECT_EQ(value.Find([]() -> int { throw std::bad_alloc(); }), nullptr);
    const int* const made = value.Find([] { return 3; });
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(*made, 3);
}

TEST(TSecondUseValue, Find_AnotherExceptionLeavesAndTheNextCallerTriesAgain)
{
    const TSecondUseValue<int> value;
    EXPECT_EQ(value.Find([] { return 1; }), nullptr);
    EXPECT_THROW(static_cast<void>(value.Find([]() -> int { throw std::range_error("no"); })),
                 std::range_error);
    const int* const made = value.Find([] { return 3; });
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(*made, 3);
}

TEST(TSecondUseValue, Find_WhileItIsMadeOthersGetNullWithoutWaiting)
{
    const TSecondUseValue<int> value;
    EXPECT_EQ(value.Find([] { return 1; }), nullptr);
    const int* other = nullptr;
    const int* const made = value.Find([&] {
        std::thread([&] { other = value.Find([] { return 3; }); }).join();
        return 2;
    });
    EXPECT_EQ(other, nullptr);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(*made, 2);
}

TEST(TSecondUseValue, Find_ConcurrentCallersMakeItOnce)
{
    for (unsigned round = 0; round < 50; ++round)
    {
        const TSecondUseValue<std::vector<int>> value;
        std::atomic<unsigned> numMade = 0;
        std::vector<const std::vector<int>*> found(8);
        std::vector<std::thread> threads;
        for (auto& result : found)
        {
            threads.emplace_back([&] {
                for (unsigned call = 0; call < 3; ++call)
                {
                    result = value.Find([&] {
                        ++numMade;
                        return std::vector<int>{1, 2, 3};
                    });
                }
            });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        EXPECT_EQ(numMade, 1);
        std::set<const std::vector<int>*> different(found.begin(), found.end());
        different.erase(nullptr);
        ASSERT_EQ(different.size(), 1);
        EXPECT_EQ(**different.begin(), (std::vector<int>{1, 2, 3}));
    }
}

}  // namespace

}  // namespace DataLayer
