#include "Application/Pictures/LargeArrays.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace
{

using Application::LargeArray;
using Application::MakeLargeArray;

TEST(LargeArrays, Make_HasTheValueEverywhere)
{
    for (const std::size_t count : {std::size_t{1}, std::size_t{1000}, std::size_t{3} << 20U})
    {
        const LargeArray<float> elements = MakeLargeArray(count, 0.5F);
        EXPECT_EQ(std::count(elements.get(), elements.get() + count, 0.5F), count);
    }
}

TEST(LargeArrays, Make_LargeOnesBeginWhereALargePageMay)
{
    const LargeArray<float> elements = MakeLargeArray(std::size_t{3} << 20U, 0.5F);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(elements.get()) % (std::size_t{2} << 20U), 0U);
}

}  // namespace
