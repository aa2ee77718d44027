#include "Application/Fusion/CDisjointSets.h"

#include <gtest/gtest.h>

#include "Base/Support/ParallelFor.h"

namespace
{

using Application::CDisjointSets;
using Numbers = std::vector<std::uint32_t>;

TEST(CDisjointSetsTest, NoNumbers_HaveNoSets)
{
    EXPECT_EQ(CDisjointSets(0).TakeSetNumbers(), Numbers{});
}

TEST(CDisjointSetsTest, NumbersThatNobodyUnites_StayAlone)
{
    EXPECT_EQ(CDisjointSets(3).TakeSetNumbers(), (Numbers{0, 1, 2}));
}

TEST(CDisjointSetsTest, Sets_CountInTheOrderOfTheirLeastNumbers)
{
    CDisjointSets sets(7);
    sets.Unite(6, 5);
    sets.Unite(4, 1);
    sets.Unite(5, 2);
    sets.Unite(3, 3);
    EXPECT_EQ(std::move(sets).TakeSetNumbers(), (Numbers{0, 1, 2, 3, 1, 2, 2}));
}

TEST(CDisjointSetsTest, Unite_InAnyOrderGivesTheSameNumbers)
{
    CDisjointSets forwards(1000);
    CDisjointSets backwards(1000);
    for (std::uint32_t number = 0; number + 3 < 1000; ++number)
    {
        forwards.Unite(number, number + 3);
        backwards.Unite(999 - number, 996 - number);
    }
    const Numbers numbers = std::move(forwards).TakeSetNumbers();
    EXPECT_EQ(numbers[998], 998U % 3);
    EXPECT_EQ(numbers, std::move(backwards).TakeSetNumbers());
}

TEST(CDisjointSetsTest, Unite_FromManyThreadsGivesTheSameNumbers)
{
    constexpr std::uint32_t c_count = 100000;
    constexpr std::uint32_t c_numSets = 7;
    CDisjointSets sets(c_count);
    Base::ParallelFor(c_count - c_numSets, [&](std::uint32_t index) {
        // Neighbours in the chains are far apart in time, so that threads meet everywhere.
        const std::uint32_t number =
            static_cast<std::uint32_t>(std::uint64_t{index} * 48271 % (c_count - c_numSets));
        sets.Unite(number, number + c_numSets);
    });
    const Numbers numbers = std::move(sets).TakeSetNumbers();
    for (std::uint32_t number = 0; number < c_count; ++number)
    {
        ASSERT_EQ(numbers[number], number % c_numSets);
    }
}

}  // namespace
