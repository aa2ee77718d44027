#include "Application/Pictures/CSampleOffsets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace
{

using Application::CSampleOffsets;
using Application::SSampleOffsets;
using Application::SSampleRows;
using EKept = CSampleOffsets::EKept;

TEST(CSampleOffsets, Get_AreAllWithinTheDistancesNearestFirst)
{
    constexpr std::int32_t c_stride = 100;
    const CSampleOffsets all(0.0F, 5.0F, EKept::All, c_stride);
    const SSampleOffsets offsets = all.Get();
    // The points of a grid in a circle, but for its centre.
    ASSERT_EQ(offsets.count, 80U);
    std::set<std::pair<float, float>> found;
    for (std::size_t index = 0; index < offsets.count; ++index)
    {
        const float x = offsets.x[index];
        const float y = offsets.y[index];
        found.emplace(x, y);
        EXPECT_EQ(offsets.distances[index], std::sqrt(x * x + y * y));
        EXPECT_EQ(offsets.xx[index], x * x);
        EXPECT_EQ(offsets.xy[index], x * y);
        EXPECT_EQ(offsets.yy[index], y * y);
        EXPECT_EQ(offsets.steps[index],
                  static_cast<std::int32_t>(y) * c_stride + static_cast<std::int32_t>(x));
        EXPECT_LE(offsets.distances[index], 5.0F);
    }
    EXPECT_EQ(found.size(), offsets.count);
    EXPECT_TRUE(std::is_sorted(offsets.distances, offsets.distances + offsets.count));
}

TEST(CSampleOffsets, Get_SoManyAreEquallyFarAsTheKernelsRelyOn)
{
    const CSampleOffsets all(0.0F, 36.0F, EKept::All, 100);
    const SSampleOffsets offsets = all.Get();
    ASSERT_EQ(offsets.count % SSampleRows::c_offsetsPerDistance, 0U);
    for (std::size_t index = 0; index < offsets.count; ++index)
    {
        EXPECT_EQ(offsets.distances[index],
                  offsets.distances[index - index % SSampleRows::c_offsetsPerDistance]);
    }
}

TEST(CSampleOffsets, Get_HasNoNumbersBehindTheLast)
{
    const CSampleOffsets all(0.0F, 2.0F, EKept::All, 100);
    for (std::size_t index = 0; index < SSampleRows::c_margin; ++index)
    {
        EXPECT_TRUE(std::isnan(all.Get().distances[all.Get().count + index]));
        EXPECT_EQ(all.Get().steps[all.Get().count + index], 0);
    }
}

TEST(CSampleOffsets, Get_OnlyOneOfTwoOpposites)
{
    const CSampleOffsets all(2.8F, 3.7F, EKept::All, 100);
    const CSampleOffsets ring(2.8F, 3.7F, EKept::OneOfOpposites, 100);
    ASSERT_EQ(all.Get().count, 24U);
    ASSERT_EQ(ring.Get().count, 12U);
    std::set<std::int32_t> steps;
    for (std::size_t index = 0; index < ring.Get().count; ++index)
    {
        steps.insert(ring.Get().steps[index]);
        steps.insert(-ring.Get().steps[index]);
        EXPECT_GT(ring.Get().steps[index], 0);
    }
    EXPECT_EQ(steps.size(), all.Get().count);
}

TEST(CSampleOffsets, Get_HalfOfFarOnesAreAsManyInAnyDirection)
{
    const CSampleOffsets some(0.0F, 6.0F, EKept::HalfOfFarOnes, 100);
    const SSampleOffsets offsets = some.Get();
    ASSERT_EQ(offsets.count, 72U);
    std::set<std::pair<float, float>> found;
    for (std::size_t index = 0; index < offsets.count; ++index)
    {
        found.emplace(offsets.x[index], offsets.y[index]);
    }
    for (const auto& [x, y] : found)
    {
        EXPECT_TRUE(found.contains({-y, x})) << x << ' ' << y;
        EXPECT_TRUE(found.contains({-x, y})) << x << ' ' << y;
    }
    EXPECT_EQ(std::count_if(offsets.distances, offsets.distances + offsets.count,
                            [](float distance) { return distance < 3.0F; }),
              24);
}

}  // namespace
