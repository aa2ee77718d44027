// How near is near, and how far off the sums may be there.

#include "DataLayer/PointCloud/NeighborPlacement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "Base/Math/PointTransform.h"
#include "DataLayer/PointCloud/CNeighborCells.h"

namespace DataLayerTest
{
namespace
{

using DataLayer::MakeNeighborPlacement;
using DataLayer::NeighborCells::SLookup;
using DataLayer::NeighborCells::SPlacement;

/// Cells of half a unit of which number 2^16 begins at the origin.
SLookup MakeLookup()
{
    SLookup lookup{};
    lookup.scale = 2;
    std::fill_n(lookup.low, 3, -32768.0F);
    return lookup;
}

/// The distance up to which surfels are near, or a negative number when none is.
double DistanceOf(const LqMatrix4Rf& trafo)
{
    const double squared = MakeNeighborPlacement(MakeLookup(), trafo).nearness;
    return squared < 0 ? squared : std::sqrt(squared);
}

void ExpectDistance(const LqMatrix4Rf& trafo, double distance)
{
    EXPECT_LE(DistanceOf(trafo), distance);
    EXPECT_GE(DistanceOf(trafo), distance * (1 - 1e-6));
}

TEST(NeighborPlacementTest, Near_IsWhatLiesInTheMiddleHalfOfTheCells)
{
    LqMatrix4Rf trafo(c_matIdentityD);
    ExpectDistance(trafo, 16384);
    // Half of the way is used up by the shift, and two units are as good as one.
    trafo(3, 1) = -8192;
    ExpectDistance(trafo, 8192);
    trafo(0, 1) = -3;
    trafo(1, 1) = 0;
    trafo(2, 1) = 4;
    ExpectDistance(trafo, 8192.0 / 5);
}

TEST(NeighborPlacementTest, Near_IsNothingBeyondTheCells)
{
    // The origin lies in the second cell, and in the last but one.
    for (const float low : {-1.0F, -65535.0F})
    {
        SLookup lookup = MakeLookup();
        lookup.low[2] = low;
        const double squared = MakeNeighborPlacement(lookup, LqMatrix4Rf(c_matIdentityD)).nearness;
        EXPECT_LE(squared, 0.25);
        EXPECT_GE(squared, 0.2499);
    }
}

TEST(NeighborPlacementTest, Near_IsNothing)
{
    const auto expectNothing = [](std::size_t row, std::size_t column, float value) {
        LqMatrix4Rf trafo(c_matIdentityD);
        trafo(row, column) = value;
        EXPECT_EQ(DistanceOf(trafo), -1) << row << ", " << column << ": " << value;
    };
    for (std::size_t row = 0; row < 4; ++row)
    {
        expectNothing(row, 3, 0.5F);
        for (std::size_t column = 0; column < 3; ++column)
        {
            expectNothing(row, column, std::numeric_limits<float>::infinity());
            expectNothing(row, column, std::numeric_limits<float>::quiet_NaN());
            expectNothing(row, column, std::numeric_limits<float>::max());
        }
    }
    // Farther than half of all cells from the origin, be that in the middle of them.
    expectNothing(3, 0, 16384);
    SLookup lookup = MakeLookup();
    lookup.low[0] = 20000 - 32768.0F;
    LqMatrix4Rf trafo(c_matIdentityD);
    trafo(3, 0) = 20000;
    EXPECT_EQ(MakeNeighborPlacement(lookup, trafo).nearness, -1);
}

TEST(NeighborPlacementTest, Near_IsAsFarAsSquaresReach)
{
    LqMatrix4Rf trafo;
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            trafo(row, column) = row == 3 && column == 3 ? 1 : 0;
        }
    }
    ExpectDistance(trafo, 1e18);
    // Of a shift to the very border of what is near, where nothing is left.
    trafo(3, 2) = 16384;
    EXPECT_EQ(DistanceOf(trafo), -1);
}

TEST(NeighborPlacementTest, NearPlaces_AreAsNearTheTrueOnesAsIsSaid)
{
    std::mt19937 random(77);
    std::uniform_real_distribution<float> any(-1, 1);
    double greatest = 0;
    for (int round = 0; round < 20000; ++round)
    {
        SLookup lookup = MakeLookup();
        lookup.scale = std::exp(8 * any(random));
        LqMatrix4Rf trafo(c_matIdentityD);
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            const float shift = 10000 * any(random) / lookup.scale;
            lookup.low[axis] = shift - (65536 + 10000 * any(random)) / lookup.scale;
            trafo(3, axis) = shift;
            for (std::size_t row = 0; row < 3; ++row)
            {
                trafo(row, axis) = any(random);
            }
        }
        const SPlacement placement = MakeNeighborPlacement(lookup, trafo);
        ASSERT_GT(placement.nearness, 0);
        // Mostly as far away as is near, where what is rounded is greatest.
        LqVector3f point{any(random), any(random), any(random)};
        const float length = std::sqrt(point.x * point.x + point.y * point.y + point.z * point.z);
        const float factor = std::sqrt(placement.nearness) / length;
        point = {factor * point.x, factor * point.y, factor * point.z};
        const LqVector3f moved = TransformPoint(trafo, point);
        const float coordinates[3] = {moved.x, moved.y, moved.z};
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            const float* const steps = placement.steps[axis];
            const float sum =
                std::fma(point.x, steps[0],
                         std::fma(point.y, steps[1], std::fma(point.z, steps[2], steps[3])));
            ASSERT_GE(sum, 0x1p23F);
            ASSERT_LT(sum, 0x1p24F);
            const double place = (static_cast<double>(coordinates[axis]) - lookup.low[axis]) *
                                 static_cast<double>(lookup.scale);
            greatest = std::max(greatest, std::abs((sum - 0x1p23) / 64 - place));
        }
    }
    EXPECT_LT(greatest, DataLayer::CNeighborCells::c_queryError);
    // Otherwise this test would not come near what it is about.
    EXPECT_GT(greatest, DataLayer::CNeighborCells::c_queryError / 2);
}

}  // namespace
}  // namespace DataLayerTest
