#include "Application/Fusion/SpacingEstimate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Tests/Application/Fusion/FusionScenes.h"

namespace
{

using namespace TestSupport;

double Estimate(const std::vector<Application::CScanFuser::SScan>& scans)
{
    std::vector<Application::CScanPoints> points;
    for (const auto& scan : scans)
    {
        points.emplace_back(scan, Base::CSurfelBitMask::SurfelFlagCut);
    }
    return Application::EstimateSpacing(points, Application::CPointSample(points));
}

/// A square of \p side x \p side points, 0.25 apart.
Positions MakeSquare(std::uint32_t side)
{
    Positions points;
    for (std::uint32_t index = 0; index < side * side; ++index)
    {
        points.push_back({0.25F * static_cast<float>(index % side),
                          0.25F * static_cast<float>(index / side), 0.0F});
    }
    return points;
}

TEST(SpacingEstimateTest, FewPoints_GiveTheirMedianSpacing)
{
    EXPECT_EQ(Estimate({MakeScan({{0, 0, 0}, {1, 0, 0}, {3, 0, 0}, {7, 0, 0}, {15, 0, 0}})}), 2.0);
}

TEST(SpacingEstimateTest, ManyPoints_GiveTheExactMedianOfTheProbes)
{
    EXPECT_EQ(Estimate({MakeScan(MakeSquare(300))}), 0.25);
}

TEST(SpacingEstimateTest, ManyPointsInAnyOrder_GiveTheSame)
{
    Positions points = MakeSquare(300);
    std::shuffle(points.begin(), points.end(), std::mt19937(1));
    EXPECT_EQ(Estimate({MakeScan(points)}), 0.25);
}

TEST(SpacingEstimateTest, PointsOfAllScans_AreNeighbors)
{
    const Positions points = MakeSquare(200);
    EXPECT_EQ(Estimate({MakeScan(points), MakeScan(points, MakeShift(0.125, 0.0, 0.0))}), 0.125);
}

TEST(SpacingEstimateTest, LeftOutPoints_AreNoNeighbors)
{
    const Positions points = MakeSquare(200);
    const std::vector<Base::CSurfelBitMask> cut(points.size(),
                                                {Base::CSurfelBitMask::SurfelFlagCut});
    EXPECT_EQ(Estimate({MakeScan(points), MakeScan(points, MakeShift(0.125, 0.0, 0.0), cut)}),
              0.25);
}

TEST(SpacingEstimateTest, PointsAtOnePlace_AreNoNeighborsOfEachOther)
{
    const Positions points = MakeSquare(100);
    EXPECT_EQ(Estimate({MakeScan(Join({points, points, points}))}), 0.25);
}

TEST(SpacingEstimateTest, PointsThatDifferByRounding_AreAtOnePlace)
{
    const Positions points = MakeSquare(200);
    EXPECT_NEAR(Estimate({MakeScan(points), MakeScan(points, MakeShift(1e-9, 0.0, 0.0))}), 0.25,
                1e-8);
}

TEST(SpacingEstimateTest, FarPoints_DoNotMatter)
{
    EXPECT_EQ(Estimate({MakeScan(Join({MakeSquare(200), {{1e30F, 0, 0}, {0, -1e9F, 0}}}))}), 0.25);
}

TEST(SpacingEstimateTest, OnePlaceOrNone_GivesZero)
{
    EXPECT_EQ(Estimate({}), 0.0);
    EXPECT_EQ(Estimate({MakeScan({{1, 2, 3}})}), 0.0);
    EXPECT_EQ(Estimate({MakeScan(Positions(40000, {1, 2, 3}))}), 0.0);
}

}  // namespace
