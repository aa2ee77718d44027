#include "Application/Fusion/CPointSample.h"

#include <gtest/gtest.h>

#include <limits>

#include "Tests/Application/Fusion/FusionScenes.h"

namespace
{

using namespace TestSupport;
using Application::CPointSample;
using Application::CScanPoints;

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;

CPointSample Sample(const std::vector<Application::CScanFuser::SScan>& scans)
{
    std::vector<CScanPoints> points;
    for (const auto& scan : scans)
    {
        points.emplace_back(scan, c_cut);
    }
    return CPointSample(points);
}

Positions MakeLine(std::uint32_t count)
{
    Positions points;
    for (std::uint32_t index = 0; index < count; ++index)
    {
        points.push_back({static_cast<float>(index), 0.0F, -1.0F});
    }
    return points;
}

TEST(CPointSampleTest, FewPoints_AreAllInIt)
{
    const CPointSample sample = Sample(
        {MakeScan(MakeLine(3)), MakeScan({}), MakeScan(MakeLine(2), MakeShift(10.0, 0.0, 0.0))});
    EXPECT_TRUE(sample.IsComplete());
    ASSERT_EQ(sample.GetPoints().size(), 5U);
    EXPECT_EQ(sample.GetPoints()[2].x, 2.0);
    EXPECT_EQ(sample.GetPoints()[4].x, 11.0);
}

TEST(CPointSampleTest, ManyPoints_AreSampledEvenly)
{
    const CPointSample sample = Sample({MakeScan(MakeLine(50000)), MakeScan(MakeLine(50000))});
    EXPECT_FALSE(sample.IsComplete());
    EXPECT_EQ(sample.GetPoints().size(), 16384U);
    EXPECT_NEAR(sample.ComputeMiddle()[0], 25000.0, 250.0);
    EXPECT_NEAR(sample.ComputeInnerExtent(), 25000.0, 500.0);
}

TEST(CPointSampleTest, FewUsablePointsAmongMany_AreFound)
{
    std::vector<Base::CSurfelBitMask> words(200000, {c_cut});
    words[123456].bits = 0;
    const CPointSample sample = Sample({MakeScan(MakeLine(200000), c_matIdentityD, words)});
    EXPECT_TRUE(sample.IsComplete());
    ASSERT_EQ(sample.GetPoints().size(), 1U);
    EXPECT_EQ(sample.GetPoints()[0].x, 123456.0);
}

TEST(CPointSampleTest, NotFinitePoints_AreNotInIt)
{
    const float infinity = std::numeric_limits<float>::infinity();
    const CPointSample sample = Sample({MakeScan({{0.0F, infinity, 0.0F}, {1.0F, 2.0F, 3.0F}})});
    ASSERT_EQ(sample.GetPoints().size(), 1U);
    EXPECT_EQ(sample.ComputeMiddle(), (std::array<double, 3>{1.0, 2.0, 3.0}));
}

TEST(CPointSampleTest, Middle_IsTheMedianOfEachAxis)
{
    const CPointSample sample =
        Sample({MakeScan({{1.0F, 9.0F, 0.0F}, {2.0F, 1e30F, 0.0F}, {-1e30F, 7.0F, 0.0F}})});
    EXPECT_EQ(sample.ComputeMiddle(), (std::array<double, 3>{1.0, 9.0, 0.0}));
}

TEST(CPointSampleTest, NoPoints_HaveTheirMiddleAtZero)
{
    const CPointSample sample = Sample({});
    EXPECT_TRUE(sample.IsComplete());
    EXPECT_EQ(sample.ComputeMiddle(), (std::array<double, 3>{}));
    EXPECT_EQ(sample.ComputeInnerExtent(), 0.0);
}

}  // namespace
