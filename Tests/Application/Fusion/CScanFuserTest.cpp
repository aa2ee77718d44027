#include "Application/Fusion/CScanFuser.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>

#include "Base/Math/PointTransform.h"
#include "Base/Support/VekoException.h"
#include "Tests/Application/Fusion/FusionScenes.h"
#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/CMockSurfelCollection.h"

namespace
{

using namespace TestSupport;
using Application::CScanFuser;
using DataLayer::SFuserPointRecord;

constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float c_infinity = std::numeric_limits<float>::infinity();

CScanFuser::SParameters WithVoxelSize(double voxelSize)
{
    CScanFuser::SParameters parameters;
    parameters.voxelSize = voxelSize;
    return parameters;
}

CScanFuser::SFusion Fuse(const Positions& positions, const CScanFuser::SParameters& parameters = {})
{
    return CScanFuser(parameters).Fuse({MakeScan(positions)});
}

std::vector<SFuserPointRecord> PointsOf(
    const std::vector<std::shared_ptr<DataLayer::SFuserPointBlock>>& blocks)
{
    std::vector<SFuserPointRecord> points;
    for (const auto& block : blocks)
    {
        points.insert(points.end(), block->first, block->first + block->count);
    }
    return points;
}

std::vector<SFuserPointRecord> MainPointsOf(const CScanFuser::SFusion& fusion)
{
    return PointsOf(fusion.content->mainComponentBlocks);
}

std::vector<SFuserPointRecord> SmallPointsOf(const CScanFuser::SFusion& fusion)
{
    return PointsOf(fusion.content->smallComponentBlocks);
}

/// All fused points as raw bytes.
std::vector<char> BytesOf(const CScanFuser::SFusion& fusion)
{
    std::vector<char> bytes;
    for (const auto& points : {MainPointsOf(fusion), SmallPointsOf(fusion)})
    {
        const auto* const first = reinterpret_cast<const char*>(points.data());
        bytes.insert(bytes.end(), first, first + points.size() * sizeof(SFuserPointRecord));
    }
    return bytes;
}

TEST(CScanFuserTest, TwoSpheres_AreTwoComponentsWithTheirPoints)
{
    CScanFuser::SParameters parameters;
    parameters.minimumFraction = 0.5;
    const auto fusion =
        Fuse(Join({MakeSphere({}, 1.0F, 10000), MakeSphere({3.0F, 0.0F, 0.0F}, 0.5F, 2500)}),
             parameters);
    EXPECT_EQ(fusion.report.numPoints, 12500U);
    EXPECT_EQ(fusion.report.numComponents, 2U);
    EXPECT_EQ(fusion.report.numSmallComponents, 1U);
    EXPECT_EQ(fusion.report.numSmallComponentPoints, 2500U);
    EXPECT_EQ(fusion.report.numLargestComponentPoints, 10000U);
}

TEST(CScanFuserTest, NoScans_GiveNoPoints)
{
    const auto fusion = CScanFuser({}).Fuse({});
    EXPECT_TRUE(fusion.content->packets.empty());
    EXPECT_TRUE(fusion.content->mainComponentBlocks.empty());
    EXPECT_TRUE(fusion.content->smallComponentBlocks.empty());
    EXPECT_EQ(fusion.report.numComponents, 0U);
    EXPECT_EQ(fusion.report.spacing, 0.0);
    EXPECT_EQ(fusion.report.voxelSize, 1.0);
}

TEST(CScanFuserTest, EmptyScans_HavePacketsAmongTheOthers)
{
    const std::vector scans{MakeScan({}), MakeScan({{1, 2, 3}}), MakeScan({})};
    const auto fusion = CScanFuser({}).Fuse(scans);
    EXPECT_EQ(fusion.content->packets.size(), 3U);
    EXPECT_EQ(fusion.report.numPoints, 1U);
    EXPECT_EQ(fusion.report.numComponents, 1U);
}

TEST(CScanFuserTest, NotFinitePoints_AreSkippedAndCounted)
{
    const auto fusion =
        Fuse({{c_nan, 0, 0}, {0, c_infinity, 0}, {0, 0, -c_infinity}, {0, 0, 0}, {0, c_nan, 0}});
    EXPECT_EQ(fusion.report.numNotFinitePoints, 4U);
    EXPECT_EQ(fusion.report.numPoints, 1U);
    EXPECT_EQ(MainPointsOf(fusion).size(), 1U);
}

TEST(CScanFuserTest, OnlyNotFinitePoints_GiveNoFusedPoints)
{
    const auto fusion = Fuse(Positions(40000, {c_nan, 0, 0}));
    EXPECT_EQ(fusion.report.numNotFinitePoints, 40000U);
    EXPECT_EQ(fusion.report.numPoints, 0U);
    EXPECT_TRUE(fusion.content->mainComponentBlocks.empty());
    EXPECT_TRUE(fusion.content->smallComponentBlocks.empty());
}

TEST(CScanFuserTest, PointsThatATransformMakesNotFinite_AreSkippedAndCounted)
{
    const auto fusion = CScanFuser({}).Fuse({MakeScan({{1, 2, 3}}, c_matInvalidD)});
    EXPECT_EQ(fusion.report.numNotFinitePoints, 1U);
}

TEST(CScanFuserTest, FarPoints_CostNoMoreThanTheirOwnPlaces)
{
    const Positions sphere = MakeSphere({}, 1.0F, 20000);
    const auto alone = Fuse(sphere);
    const auto withStrays = Fuse(Join({sphere, {{1e7F, 0, 0}, {0, 1e30F, 0}, {0, 0, -3e38F}}}));
    EXPECT_EQ(withStrays.report.numPoints, 20001U);
    EXPECT_EQ(withStrays.report.numTooFarPoints, 2U);
    EXPECT_EQ(withStrays.report.numComponents, alone.report.numComponents + 1);
    EXPECT_EQ(withStrays.report.numSmallFusedPoints, 1U);
    EXPECT_NEAR(withStrays.report.voxelSize, alone.report.voxelSize, 0.01 * alone.report.voxelSize);
    EXPECT_NEAR(withStrays.report.origin[0], alone.report.origin[0], 0.05);
}

TEST(CScanFuserTest, Duplicates_CountButChangeNothingElse)
{
    const Positions sphere = MakeSphere({}, 1.0F, 5000);
    const auto once = Fuse(sphere, WithVoxelSize(0.125));
    const auto thrice = Fuse(Join({sphere, sphere, sphere}), WithVoxelSize(0.125));
    EXPECT_EQ(thrice.report.numPoints, 15000U);
    EXPECT_EQ(thrice.report.numComponents, 1U);
    EXPECT_EQ(thrice.report.numLargestComponentPoints, 15000U);
    EXPECT_EQ(thrice.report.numMainFusedPoints, once.report.numMainFusedPoints);
}

TEST(CScanFuserTest, PointsAtOnePlace_AreOneFusedPoint)
{
    const auto fusion = Fuse(Positions(100000, {5, -6, 7}));
    EXPECT_EQ(fusion.report.spacing, 0.0);
    EXPECT_EQ(fusion.report.voxelSize, 1.0);
    EXPECT_EQ(fusion.report.numPoints, 100000U);
    EXPECT_EQ(fusion.report.numLargestComponentPoints, 100000U);
    EXPECT_EQ(MainPointsOf(fusion).size(), 1U);
}

TEST(CScanFuserTest, PointsInOnePartOfAVoxel_AreAveraged)
{
    // The median is half a part of a voxel above the origin, so the part reaches from 9 to 11.
    const auto fusion =
        Fuse({{10, 0, 0}, {10, 0, 0}, {9.25F, 0, 0.5F}, {10.75F, -0.5F, 0}}, WithVoxelSize(4.0));
    const auto points = MainPointsOf(fusion);
    ASSERT_EQ(points.size(), 1U);
    const double scale = fusion.report.scale;
    EXPECT_NEAR(points[0].x, (10.0 - fusion.report.origin[0]) * scale, 1e-4);
    EXPECT_NEAR(points[0].y, (-0.125 - fusion.report.origin[1]) * scale, 1e-4);
    EXPECT_NEAR(points[0].z, (0.125 - fusion.report.origin[2]) * scale, 1e-4);
}

TEST(CScanFuserTest, PointsOfSeveralScansInOnePart_AreAveragedByTheirNumber)
{
    const auto fusion = CScanFuser(WithVoxelSize(4.0))
                            .Fuse({MakeScan({{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}),
                                   MakeScan({{0, 0.5F, 0}}), MakeScan({{0, 0, 0.75F}})});
    const auto points = MainPointsOf(fusion);
    ASSERT_EQ(points.size(), 1U);
    EXPECT_NEAR(points[0].y, (0.1 - fusion.report.origin[1]) * fusion.report.scale, 1e-4);
    EXPECT_NEAR(points[0].z, (0.15 - fusion.report.origin[2]) * fusion.report.scale, 1e-4);
}

TEST(CScanFuserTest, FusedPoints_HaveTheirFreeWordsAtZero)
{
    const auto fusion = Fuse(MakeSphere({}, 1.0F, 1000));
    for (const SFuserPointRecord& point : MainPointsOf(fusion))
    {
        ASSERT_EQ(point.reserved[0], 0U);
    }
}

/// Component counts of two lines of \p count points from the origin, \p step and -\p step apart.
std::uint64_t CountComponentsOfLine(const LqVector3f& step, int count)
{
    Positions points;
    for (int index = -count; index <= count; ++index)
    {
        const auto factor = static_cast<float>(index);
        points.push_back({factor * step.x, factor * step.y, factor * step.z});
    }
    return Fuse(points, WithVoxelSize(1.0)).report.numComponents;
}

TEST(CScanFuserTest, PointsAVoxelApartOnAnyAxes_AreConnectedInAllDirections)
{
    for (int direction = 0; direction < 27; ++direction)
    {
        const LqVector3f step{static_cast<float>(direction % 3 - 1),
                              static_cast<float>(direction / 3 % 3 - 1),
                              static_cast<float>(direction / 9 - 1)};
        EXPECT_EQ(CountComponentsOfLine(step, 40), 1U) << direction;
    }
}

TEST(CScanFuserTest, PointsTwoVoxelsApartOnAnAxis_AreNotConnected)
{
    EXPECT_EQ(CountComponentsOfLine({2, 0, 0}, 40), 81U);
    EXPECT_EQ(CountComponentsOfLine({1, 2, 0}, 40), 81U);
    EXPECT_EQ(CountComponentsOfLine({1, -1, -2}, 40), 81U);
}

TEST(CScanFuserTest, NumberOfThreads_DoesNotMatter)
{
    std::mt19937 random(7);
    std::normal_distribution<float> place(0.0F, 1.0F);
    Positions points = MakeSphere({}, 3.0F, 100000);
    for (int index = 0; index < 50000; ++index)
    {
        points.push_back({place(random), place(random), place(random)});
    }
    const std::vector scans{MakeScan(points), MakeScan(points, MakeShift(0.3, 0.2, -0.1))};
    CScanFuser::SParameters parameters;
    parameters.minimumPoints = 20;
    const auto fuseWith = [&](std::size_t numThreads) {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        return CScanFuser(parameters).Fuse(scans);
    };
    const auto one = fuseWith(1);
    EXPECT_GT(one.report.numSmallComponents, 0U);
    for (const std::size_t numThreads : {2U, 5U, 16U})
    {
        const auto many = fuseWith(numThreads);
        EXPECT_TRUE(BytesOf(one) == BytesOf(many)) << numThreads;
        EXPECT_EQ(one.report.scale, many.report.scale);
        EXPECT_EQ(one.report.numSmallComponentPoints, many.report.numSmallComponentPoints);
    }
}

TEST(CScanFuserTest, Scans_AreFusedInTheCommonFrame)
{
    // Two halves of a line, one of them turned by a quarter and moved.
    LqMatrix4Rd turn = c_matIdentityD;
    turn(0, 0) = 0.0;
    turn(0, 1) = 1.0;
    turn(1, 0) = -1.0;
    turn(1, 1) = 0.0;
    turn(3, 1) = 50.0;
    Positions line;
    for (int index = 0; index < 50; ++index)
    {
        line.push_back({static_cast<float>(index), 0, 0});
    }
    const auto fusion = CScanFuser(WithVoxelSize(1.0))
                            .Fuse({MakeScan(line, turn), MakeScan(line, turn * turn * turn)});
    // (0, 50) to (0, 99), and after three turns what lies from (50, 0) on downwards.
    EXPECT_EQ(fusion.report.numComponents, 2U);
    const auto joined =
        CScanFuser(WithVoxelSize(1.0)).Fuse({MakeScan(line, turn), MakeScan(line, [] {
                                                 LqMatrix4Rd flip = c_matIdentityD;
                                                 flip(0, 0) = 0.0;
                                                 flip(1, 1) = 0.0;
                                                 flip(0, 1) = 1.0;
                                                 flip(1, 0) = 1.0;
                                                 return flip;
                                             }())});
    EXPECT_EQ(joined.report.numComponents, 1U);
    EXPECT_EQ(joined.report.numLargestComponentPoints, 100U);
}

TEST(CScanFuserTest, ProjectiveTransforms_Divide)
{
    LqMatrix4Rd half = c_matIdentityD;
    half(3, 3) = 2.0;
    const auto fusion =
        CScanFuser(WithVoxelSize(1.0)).Fuse({MakeScan({{0, 0, 0}, {3, 0, 0}}, half)});
    EXPECT_NEAR(fusion.report.origin[0], 1.5 - 0.25, 1e-12);
}

TEST(CScanFuserTest, GeographicCoordinates_LoseNoPrecision)
{
    const Positions sphere = MakeSphere({}, 1.0F, 20000);
    const auto near = CScanFuser(WithVoxelSize(0.125)).Fuse({MakeScan(sphere)});
    const std::vector scans{MakeScan(sphere, MakeShift(4194304.0, 5242880.0, -1048576.0))};
    const auto far = CScanFuser(WithVoxelSize(0.125)).Fuse(scans);
    const auto nearPoints = MainPointsOf(near);
    const auto farPoints = MainPointsOf(far);
    ASSERT_EQ(nearPoints.size(), farPoints.size());
    EXPECT_NEAR(far.report.origin[1] - near.report.origin[1], 5242880.0, 1e-6);
    // The buckets depend on the cells only, and those on the middle: the order is the same.
    for (std::size_t index = 0; index < nearPoints.size(); ++index)
    {
        ASSERT_NEAR(nearPoints[index].x, farPoints[index].x, 2e-4F);
        ASSERT_NEAR(nearPoints[index].y, farPoints[index].y, 2e-4F);
        ASSERT_NEAR(nearPoints[index].z, farPoints[index].z, 2e-4F);
    }
    const LqMatrix4Rd trafo = far.content->packets.at(scans[0].key).GetTrafo();
    EXPECT_LT(std::fabs(trafo(3, 1)), 10.0);
}

TEST(CScanFuserTest, Packets_LeadFromTheEntityToTheFusedPoints)
{
    LqMatrix4Rd trafo = MakeShift(100.0, 200.0, 300.0);
    trafo(0, 0) = 2.0;
    const std::vector scans{MakeScan({{1, 2, 3}}, trafo, {{0x0020}})};
    CScanFuser::SParameters parameters = WithVoxelSize(0.5);
    parameters.scale = 10.0;
    const auto fusion = CScanFuser(parameters).Fuse(scans);
    const Base::CEntityTrafoMaskPacket& packet = fusion.content->packets.at(scans[0].key);
    EXPECT_EQ(packet.GetEntity(), scans[0].entity);
    EXPECT_EQ(packet.GetSurfelCollectionMask(), scans[0].mask);
    const LqVector3f position = TransformPoint(LqMatrix4Rf(packet.GetTrafo()), {1, 2, 3});
    const auto points = MainPointsOf(fusion);
    ASSERT_EQ(points.size(), 1U);
    EXPECT_NEAR(position.x, points[0].x, 1e-4);
    EXPECT_NEAR(position.y, points[0].y, 1e-4);
    EXPECT_NEAR(position.z, points[0].z, 1e-4);
}

TEST(CScanFuserTest, DefaultScale_MakesAVoxelTwoUnits)
{
    const auto fusion = Fuse({{0, 0, 0}, {0.25F, 0, 0}});
    EXPECT_EQ(fusion.report.spacing, 0.25);
    EXPECT_EQ(fusion.report.voxelSize, 0.25 * CScanFuser::c_spacingsPerVoxel);
    EXPECT_EQ(fusion.report.scale, 2.0 / fusion.report.voxelSize);
    EXPECT_EQ(fusion.report.searchBound, 2.25 / fusion.report.scale);
}

TEST(CScanFuserTest, GivenVoxelSize_AsksForNoSpacing)
{
    const auto fusion = Fuse({{0, 0, 0}, {0.25F, 0, 0}}, WithVoxelSize(0.5));
    EXPECT_FALSE(fusion.report.spacing.has_value());
    EXPECT_EQ(fusion.report.voxelSize, 0.5);
    EXPECT_EQ(fusion.report.scale, 4.0);
}

TEST(CScanFuserTest, GivenScale_ScalesTheSamePoints)
{
    const Positions sphere = MakeSphere({}, 1.0F, 5000);
    const auto plain = Fuse(sphere);
    CScanFuser::SParameters parameters;
    parameters.scale = plain.report.scale * 4.0;
    const auto scaled = Fuse(sphere, parameters);
    EXPECT_EQ(scaled.report.scale, plain.report.scale * 4.0);
    EXPECT_EQ(scaled.report.voxelSize, plain.report.voxelSize);
    const auto plainPoints = MainPointsOf(plain);
    const auto scaledPoints = MainPointsOf(scaled);
    ASSERT_EQ(plainPoints.size(), scaledPoints.size());
    for (std::size_t index = 0; index < plainPoints.size(); ++index)
    {
        ASSERT_FLOAT_EQ(plainPoints[index].z * 4.0F, scaledPoints[index].z);
    }
}

/// Components of 10, 4 and 2 points.
Positions MakeThreeComponents()
{
    return Join({Positions(10, {0, 0, 0}), Positions(4, {10, 0, 0}), Positions(2, {0, 10, 0})});
}

std::uint64_t CountSmall(std::uint64_t minimumPoints, double minimumFraction)
{
    CScanFuser::SParameters parameters = WithVoxelSize(1.0);
    parameters.minimumPoints = minimumPoints;
    parameters.minimumFraction = minimumFraction;
    return Fuse(MakeThreeComponents(), parameters).report.numSmallComponents;
}

TEST(CScanFuserTest, ComponentsOfFewerPointsThanTheMinimum_AreSmall)
{
    EXPECT_EQ(CountSmall(2, 0.0), 0U);
    EXPECT_EQ(CountSmall(3, 0.0), 1U);
    EXPECT_EQ(CountSmall(4, 0.0), 1U);
    EXPECT_EQ(CountSmall(5, 0.0), 2U);
}

TEST(CScanFuserTest, ComponentsBelowTheFractionOfTheLargest_AreSmall)
{
    EXPECT_EQ(CountSmall(0, 0.2), 0U);
    EXPECT_EQ(CountSmall(0, 0.21), 1U);
    EXPECT_EQ(CountSmall(0, 0.4), 1U);
    EXPECT_EQ(CountSmall(0, 0.41), 2U);
}

TEST(CScanFuserTest, EitherLimit_MakesComponentsSmall)
{
    EXPECT_EQ(CountSmall(3, 0.1), 1U);
    EXPECT_EQ(CountSmall(3, 0.41), 2U);
}

TEST(CScanFuserTest, LargestComponent_IsNeverSmall)
{
    EXPECT_EQ(CountSmall(1000, 1.0), 2U);
}

TEST(CScanFuserTest, FirstOfEqualComponents_IsTheLargest)
{
    CScanFuser::SParameters parameters = WithVoxelSize(1.0);
    parameters.minimumPoints = 1000;
    const auto fusion = Fuse({{0, 0, 0}, {10, 0, 0}, {20, 0, 0}}, parameters);
    EXPECT_EQ(fusion.report.numSmallComponents, 2U);
    const auto points = MainPointsOf(fusion);
    ASSERT_EQ(points.size(), 1U);
    EXPECT_NEAR(points[0].x, -2.0 * fusion.report.origin[0], 1e-4);
}

TEST(CScanFuserTest, FirstSmallPoint_IsACopyOfAMainPoint)
{
    CScanFuser::SParameters parameters = WithVoxelSize(1.0);
    parameters.minimumPoints = 5;
    const auto fusion = Fuse(MakeThreeComponents(), parameters);
    const auto mainPoints = MainPointsOf(fusion);
    const auto smallPoints = SmallPointsOf(fusion);
    ASSERT_EQ(mainPoints.size(), 1U);
    ASSERT_EQ(smallPoints.size(), 3U);
    EXPECT_EQ(std::memcmp(&smallPoints[0], &mainPoints[0], sizeof mainPoints[0]), 0);
    EXPECT_EQ(fusion.report.numSmallFusedPoints, 2U);
}

TEST(CScanFuserTest, NoSmallComponents_StillGiveTheCopy)
{
    const auto fusion = Fuse(MakeThreeComponents(), WithVoxelSize(1.0));
    EXPECT_EQ(fusion.report.numSmallComponents, 0U);
    EXPECT_EQ(fusion.report.numSmallFusedPoints, 0U);
    EXPECT_EQ(SmallPointsOf(fusion).size(), 1U);
}

TEST(CScanFuserTest, LeftOutPoints_AreNotFusedAndCounted)
{
    const auto fusion = CScanFuser({}).Fuse(
        {MakeScan({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, c_matIdentityD,
                  {{Base::CSurfelBitMask::SurfelFlagExcluded}, {0x0108}, {0xFFF7}})});
    EXPECT_EQ(fusion.report.numLeftOutPoints, 1U);
    EXPECT_EQ(fusion.report.numPoints, 2U);
}

TEST(CScanFuserTest, LeftOutFlags_AreThoseAskedFor)
{
    CScanFuser::SParameters parameters;
    parameters.leftOutFlags = 0x0011;
    const auto fusion = CScanFuser(parameters)
                            .Fuse({MakeScan({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, c_matIdentityD,
                                            {{0x0010}, {0x0001}, {0x0008}})});
    EXPECT_EQ(fusion.report.numLeftOutPoints, 2U);
}

TEST(CScanFuserTest, MissingMask_HasNoFlags)
{
    CScanFuser::SScan scan = MakeScan({{0, 0, 0}});
    scan.mask = nullptr;
    EXPECT_EQ(CScanFuser({}).Fuse({scan}).report.numPoints, 1U);
}

TEST(CScanFuserTest, BadParameters_AreRefused)
{
    for (const double bad : {0.0, -1.0, double{c_nan}, double{c_infinity}})
    {
        EXPECT_THROW(CScanFuser{WithVoxelSize(bad)}, std::invalid_argument) << bad;
        CScanFuser::SParameters badScale;
        badScale.scale = bad;
        EXPECT_THROW(CScanFuser{badScale}, std::invalid_argument) << bad;
    }
    for (const double bad : {-0.001, 1.001, double{c_nan}})
    {
        CScanFuser::SParameters badFraction;
        badFraction.minimumFraction = bad;
        EXPECT_THROW(CScanFuser{badFraction}, std::invalid_argument) << bad;
    }
}

TEST(CScanFuserTest, MissingEntity_IsRefused)
{
    EXPECT_THROW(static_cast<void>(CScanFuser({}).Fuse({CScanFuser::SScan()})),
                 std::invalid_argument);
}

TEST(CScanFuserTest, EntityWithoutCollection_IsRefused)
{
    CScanFuser::SScan scan;
    scan.entity = std::make_shared<CMockGeometricEntity>(nullptr);
    EXPECT_THROW(static_cast<void>(CScanFuser({}).Fuse({scan})), std::invalid_argument);
}

TEST(CScanFuserTest, SameKeyTwice_IsRefused)
{
    const CScanFuser::SScan scan = MakeScan({{0, 0, 0}});
    EXPECT_THROW(static_cast<void>(CScanFuser({}).Fuse({scan, scan})), std::invalid_argument);
}

TEST(CScanFuserTest, MaskOfAnotherLength_IsRefused)
{
    for (const std::size_t length : {1U, 3U})
    {
        const auto scan = MakeScan({{0, 0, 0}, {1, 0, 0}}, c_matIdentityD,
                                   std::vector<Base::CSurfelBitMask>(length));
        EXPECT_THROW(static_cast<void>(CScanFuser({}).Fuse({scan})), std::invalid_argument);
    }
}

}  // namespace
