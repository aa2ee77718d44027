// From scans to flagged surfels, through the fuser and the small-component operation.

#include <gtest/gtest.h>

#include <limits>

#include "Tests/Application/Fusion/FusionScenes.h"

namespace
{

using namespace TestSupport;
using Application::CScanFuser;
using Base::CSurfelBitMask;
using Flags = std::vector<std::vector<bool>>;
using Words = std::vector<CSurfelBitMask>;

/// A sphere of 20000 points about 0.025 apart, with bits of 15 and 7 points beside it.
constexpr std::uint32_t c_numMain = 20000;
constexpr std::uint32_t c_numSmall = 22;

Positions MakeSphereWithBits()
{
    return Join({MakeSphere({}, 1.0F, c_numMain), MakeSphere({1.8F, 0.0F, 0.0F}, 0.02F, 15),
                 MakeSphere({0.0F, -0.4F, 0.0F}, 0.02F, 7)});
}

std::vector<bool> ExpectedFlags()
{
    std::vector<bool> flags(c_numMain, false);
    flags.resize(c_numMain + c_numSmall, true);
    return flags;
}

CScanFuser::SParameters SmallBelow(std::uint64_t numPoints)
{
    CScanFuser::SParameters parameters;
    parameters.minimumPoints = numPoints;
    parameters.minimumFraction = 0.0;
    return parameters;
}

Flags FuseAndFlag(const std::vector<CScanFuser::SScan>& scans,
                  const CScanFuser::SParameters& parameters)
{
    return FlagSmallComponents(scans, CScanFuser(parameters).Fuse(scans));
}

TEST(CScanFuserEndToEndTest, FloatingBits_AreFlaggedAndNothingElse)
{
    EXPECT_EQ(FuseAndFlag({MakeScan(MakeSphereWithBits())}, SmallBelow(16)),
              Flags{ExpectedFlags()});
}

TEST(CScanFuserEndToEndTest, OneFusedPointThatIsSmall_IsNotTakenForMain)
{
    const auto scan = MakeScan(Join({MakeSphere({}, 1.0F, c_numMain), {{1.8F, 0.0F, 0.0F}}}));
    EXPECT_TRUE(FuseAndFlag({scan}, SmallBelow(2))[0].back());
}

TEST(CScanFuserEndToEndTest, GeographicCoordinates_AreFlaggedTheSame)
{
    EXPECT_EQ(FuseAndFlag({MakeScan(MakeSphereWithBits(), MakeShift(4.5e6, 5.4e6, 312.7))},
                          SmallBelow(16)),
              Flags{ExpectedFlags()});
}

TEST(CScanFuserEndToEndTest, SeveralScansWithTransforms_AreOneModel)
{
    // The second scan sees the sphere too, and a bit that the first one's surface holds up.
    LqMatrix4Rd turn = MakeShift(10.0, -20.0, 30.0);
    turn(0, 0) = 0.0;
    turn(0, 1) = 1.0;
    turn(1, 0) = -1.0;
    turn(1, 1) = 0.0;
    LqMatrix4Rd back = c_matIdentityD;
    back(0, 0) = 0.0;
    back(0, 1) = -1.0;
    back(1, 0) = 1.0;
    back(1, 1) = 0.0;
    back(3, 0) = 20.0;
    back(3, 1) = 10.0;
    back(3, 2) = -30.0;
    // In the second scan's frame, the common origin is at (20, 10, -30) turned back.
    const auto first = MakeScan(MakeSphereWithBits());
    const Positions bit{{20.0F, 10.0F + 1.0F, -30.0F}, {20.0F, 10.0F + 3.0F, -30.0F}};
    const auto second = MakeScan(bit, turn);
    ASSERT_EQ(back * turn, c_matIdentityD);
    const Flags flags = FuseAndFlag({first, second}, SmallBelow(16));
    EXPECT_EQ(flags[0], ExpectedFlags());
    EXPECT_EQ(flags[1], (std::vector<bool>{false, true}));
}

TEST(CScanFuserEndToEndTest, EmptyScan_DoesNotDisturbTheOthers)
{
    const Flags flags = FuseAndFlag({MakeScan({}), MakeScan(MakeSphereWithBits())}, SmallBelow(16));
    EXPECT_TRUE(flags[0].empty());
    EXPECT_EQ(flags[1], ExpectedFlags());
}

TEST(CScanFuserEndToEndTest, FlagsOfAnEarlierPass_AreClearedWhenNothingIsSmallAnyMore)
{
    Words stale(c_numMain + c_numSmall, {CSurfelBitMask::SurfelFlagSmallComponent});
    const auto scan = MakeScan(MakeSphereWithBits(), c_matIdentityD, stale);
    EXPECT_EQ(FuseAndFlag({scan}, SmallBelow(0)),
              Flags{std::vector<bool>(c_numMain + c_numSmall, false)});
}

TEST(CScanFuserEndToEndTest, WhatHangsOnByCutSurfels_Floats)
{
    // A rod from the sphere to a bit: whole, it holds the bit up; cut through, it does not.
    Positions points = MakeSphere({}, 1.0F, c_numMain);
    Words words(c_numMain);
    for (int index = 0; index < 100; ++index)
    {
        points.push_back({1.0F + 0.02F * static_cast<float>(index), 0.0F, 0.0F});
        words.push_back({index < 70 ? CSurfelBitMask::SurfelFlagCut : std::uint16_t{0}});
    }
    const Flags whole = FuseAndFlag({MakeScan(points)}, SmallBelow(50));
    EXPECT_FALSE(whole[0].back());
    const Flags cut = FuseAndFlag({MakeScan(points, c_matIdentityD, words)}, SmallBelow(50));
    EXPECT_TRUE(cut[0].back());
}

TEST(CScanFuserEndToEndTest, ExcludedSurfels_HoldUpWhatHangsOnThemAndKeepTheirWords)
{
    Positions points = MakeSphere({}, 1.0F, c_numMain);
    Words words(c_numMain);
    for (int index = 0; index < 100; ++index)
    {
        points.push_back({1.0F + 0.02F * static_cast<float>(index), 0.0F, 0.0F});
        words.push_back({index < 70 ? CSurfelBitMask::SurfelFlagExcluded : std::uint16_t{0}});
    }
    words[c_numMain].bits |= CSurfelBitMask::SurfelFlagSmallComponent;
    const Flags flags = FuseAndFlag({MakeScan(points, c_matIdentityD, words)}, SmallBelow(50));
    EXPECT_TRUE(flags[0][c_numMain]);
    EXPECT_FALSE(flags[0].back());
}

TEST(CScanFuserEndToEndTest, PointsThatAreNotFiniteOrTooFar_AreFlagged)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto scan =
        MakeScan(Join({MakeSphere({}, 1.0F, c_numMain), {{nan, 0.0F, 0.0F}, {1e30F, 0.0F, 0.0F}}}));
    const Flags flags = FuseAndFlag({scan}, SmallBelow(0));
    std::vector<bool> expected(c_numMain, false);
    expected.resize(c_numMain + 2, true);
    EXPECT_EQ(flags[0], expected);
}

TEST(CScanFuserEndToEndTest, LargerUnits_FlagTheSame)
{
    CScanFuser::SParameters parameters = SmallBelow(16);
    const std::vector scans{MakeScan(MakeSphereWithBits())};
    // The bound is then 0.9 voxel sizes, just above what a surfel may be from its fused point.
    parameters.scale = 2.5 / CScanFuser(parameters).Fuse(scans).report.voxelSize;
    EXPECT_EQ(FuseAndFlag(scans, parameters), Flags{ExpectedFlags()});
}

TEST(CScanFuserEndToEndTest, SearchThatIsTooShort_FlagsMainSurfelsToo)
{
    CScanFuser::SParameters parameters = SmallBelow(16);
    const std::vector scans{MakeScan(MakeSphereWithBits())};
    parameters.scale = 100.0 / CScanFuser(parameters).Fuse(scans).report.voxelSize;
    const Flags flags = FuseAndFlag(scans, parameters);
    EXPECT_GT(std::count(flags[0].begin(), flags[0].begin() + c_numMain, true), c_numMain / 2);
}

}  // namespace
