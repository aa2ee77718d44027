#include "Application/Demo/CDemoShape.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Application/Demo/CDemoRandom.h"

namespace
{

using Application::CDemoRandom;
using Application::CDemoShape;
using Application::SDemoVector;

TEST(CDemoShape, Distance_TellsInsideFromOutside)
{
    EXPECT_LT(CDemoShape::Distance({0, 0, 60}), -20.0);
    EXPECT_GT(CDemoShape::Distance({0, 0, 250}), 20.0);
    EXPECT_LT(CDemoShape::Distance({100, 0, -7}), 0.0);
    EXPECT_LT(CDemoShape::Distance({400, 0, -60}), 0.0);
}

TEST(CDemoShape, CastRay_HitsThePlateFromAbove)
{
    const auto length = CDemoShape::CastRay({110, 60, 300}, {0, 0, -1});
    ASSERT_TRUE(length.has_value());
    EXPECT_NEAR(*length, 300.0, 0.05);
}

TEST(CDemoShape, CastRay_HitsTheKnobFirst)
{
    const auto length = CDemoShape::CastRay({0, 0, 400}, {0, 0, -1});
    ASSERT_TRUE(length.has_value());
    EXPECT_NEAR(*length, 400.0 - 150.5, 1.0);
}

TEST(CDemoShape, CastRay_FindsTheHoleInTheHandle)
{
    const auto length = CDemoShape::CastRay({-100, 400, 66}, {0, -1, 0});
    EXPECT_FALSE(length.has_value());
}

TEST(CDemoShape, CastRay_FloorBeyondTheReachGivesNothing)
{
    EXPECT_TRUE(CDemoShape::CastRay({230, 0, 300}, {0, 0, -1}).has_value());
    EXPECT_FALSE(CDemoShape::CastRay({240, 0, 300}, {0, 0, -1}).has_value());
}

TEST(CDemoShape, CastRay_EndsOnTheSurface)
{
    CDemoRandom random(1, 1);
    int numHits = 0;
    for (int index = 0; index < 2000; ++index)
    {
        const SDemoVector start{520, 0, 250};
        const SDemoVector aim{random.Between(-150, 150), random.Between(-150, 150),
                              random.Between(-40, 150)};
        const SDemoVector direction = Application::Normalized(aim - start);
        if (const auto length = CDemoShape::CastRay(start, direction))
        {
            ++numHits;
            EXPECT_NEAR(CDemoShape::Distance(start + direction * *length), 0.0, 0.05);
        }
    }
    EXPECT_GT(numHits, 1000);
}

TEST(CDemoShape, Normal_PointsOutwardsWithLengthOne)
{
    const SDemoVector onPlate = CDemoShape::Normal({110, 60, 0});
    EXPECT_NEAR(onPlate.z, 1.0, 1e-6);
    const SDemoVector onBelly = CDemoShape::Normal({0, -80, 62});
    EXPECT_NEAR(onBelly.y, -1.0, 1e-3);
    EXPECT_NEAR(Application::Length(onBelly), 1.0, 1e-12);
}

}  // namespace
