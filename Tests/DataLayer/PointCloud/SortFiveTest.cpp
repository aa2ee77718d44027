#include "DataLayer/PointCloud/SortFive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace DataLayer
{

namespace
{

TEST(SortFive, EveryOrderWithOrWithoutEqualValuesIsSorted)
{
    for (int number = 0; number < 5 * 5 * 5 * 5 * 5; ++number)
    {
        std::array<float, 5> values;
        int rest = number;
        for (float& value : values)
        {
            value = static_cast<float>(rest % 5);
            rest /= 5;
        }
        std::array<float, 5> expected = values;
        std::sort(expected.begin(), expected.end());
        SortFive(values.data());
        ASSERT_EQ(values, expected) << number;
    }
}

}  // namespace

}  // namespace DataLayer
