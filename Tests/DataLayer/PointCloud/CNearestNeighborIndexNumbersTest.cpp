// Coordinates and bounds of every size, and those that are no numbers.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>

#include "Tests/DataLayer/PointCloud/CNearestNeighborIndexTest.h"

namespace NearestNeighborIndexTest
{
namespace
{

TEST_P(CNearestNeighborIndexTest, Find_CoordinatesOfAllSizesLikeAScan)
{
    std::mt19937 random(12);
    const auto anyCoordinate = [&random] {
        const float mantissa = static_cast<float>(random() % 2001U) / 1000.0F - 1.0F;
        return std::ldexp(mantissa, static_cast<int>(random() % 278U) - 149);
    };
    Points points(4000);
    Points queries(200);
    for (Points* const all : {&points, &queries})
    {
        for (LqVector3f& point : *all)
        {
            point = {anyCoordinate(), anyCoordinate(), anyCoordinate()};
        }
    }
    expectSameAsScan(points, queries, {0.0F, 1e-30F, 1.0F, 1e15F, 1e19F, 1e20F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_SubnormalDistancesLikeAScan)
{
    // Squares of such distances underflow: all points are equally near.
    Points points;
    for (std::uint32_t i = 0; i < 600; ++i)
    {
        points.push_back({static_cast<float>(i * 7 % 600) * c_smallest, 0.0F, -c_smallest});
    }
    expectSameAsScan(points, MakeQueries(points, 1e-40F, 50), {0.0F, c_smallest, 1.0F});
    EXPECT_EQ(find(points, {300.0F * c_smallest, 0.0F, 0.0F}, 0.0F), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_SquaresAboutToUnderflowLikeAScan)
{
    const Points points = MakeRandom(3000, 1e-21F, 13);
    expectSameAsScan(points, MakeQueries(points, 1e-21F, 100), {1e-23F, 1e-22F, 1e-20F});
}

TEST_P(CNearestNeighborIndexTest, Find_OverflowingDistancesAreEquallyFar)
{
    const Points points = {{c_largest, 0.0F, 0.0F}, {1e30F, 0.0F, 0.0F}, {2e30F, 0.0F, 0.0F}};
    EXPECT_EQ(find(points, {-c_largest, 0.0F, 0.0F}, c_infinity), 0);
    EXPECT_EQ(find(points, {-c_largest, 0.0F, 0.0F}, 1e20F), 0);
    EXPECT_LT(find(points, {-c_largest, 0.0F, 0.0F}, 1e19F), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_HugeCoordinatesLikeAScan)
{
    const Points points = MakeRandom(3000, 3e38F, 14);
    expectSameAsScan(points, MakeQueries(points, 3e38F, 50), {1e18F, 1e19F, 1e20F, c_infinity});
    const Points overflowing = MakeRandom(3000, 4e19F, 15);
    expectSameAsScan(overflowing, MakeQueries(overflowing, 4e19F, 100), {1.8e19F, 1.9e19F});
}

TEST_P(CNearestNeighborIndexTest, Find_SideOfTheCloudLongerThanTheLargestFloatLikeAScan)
{
    Points points = MakeRandom(100, 1.0F, 16);
    points[10] = {-c_largest, -c_largest, -c_largest};
    points[20] = {c_largest, c_largest, c_largest};
    Points queries = MakeQueries(points, 2.0F, 100);
    queries.push_back(points[10]);
    queries.push_back(points[20]);
    expectSameAsScan(points, queries, {1.0F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_PointsThatAreNotFiniteAreNobodysNeighbors)
{
    Points points = MakeRandom(2000, 5.0F, 17);
    const float notFinite[] = {c_nan, c_infinity, -c_infinity};
    for (std::size_t i = 0; i < points.size(); i += 3)
    {
        (i % 2 == 0 ? points[i].x : i % 5 == 0 ? points[i].y : points[i].z) = notFinite[i % 9 / 3];
    }
    Points queries = MakeQueries(points, 6.0F, 100);
    expectSameAsScan(points, queries, {0.5F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_OnlyPointsThatAreNotFiniteHaveNoNeighbor)
{
    EXPECT_LT(find({{c_nan, 0.0F, 0.0F}, {0.0F, c_infinity, 0.0F}}, {}, c_infinity), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_QueryThatIsNotFiniteHasNoNeighbor)
{
    const Points points = MakeRandom(100, 1.0F, 18);
    for (const float value : {c_nan, c_infinity, -c_infinity})
    {
        EXPECT_LT(find(points, {value, 0.0F, 0.0F}, c_infinity), 0);
        EXPECT_LT(find(points, {0.0F, value, 0.0F}, c_infinity), 0);
        EXPECT_LT(find(points, {0.0F, 0.0F, value}, c_infinity), 0);
    }
}

// Bounds

TEST_P(CNearestNeighborIndexTest, Find_BoundIsInclusive)
{
    const Points points = {{3.0F, 4.0F, 0.0F}};
    EXPECT_EQ(find(points, {}, 5.0F), 0);
    EXPECT_LT(find(points, {}, std::nextafter(5.0F, 0.0F)), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_BoundsOneStepAroundADistanceLikeAScan)
{
    const Points points = MakeRandom(3000, 10.0F, 19);
    const CNearestNeighborIndex index = makeIndex(points);
    for (const LqVector3f& query : MakeRandom(200, 11.0F, 20))
    {
        const auto nearest = static_cast<std::size_t>(Scan(points, query, c_infinity));
        const float distance = std::sqrt(SquaredDistance(points[nearest], query));
        for (const float bound :
             {std::nextafter(distance, 0.0F), distance, std::nextafter(distance, c_infinity)})
        {
            ASSERT_EQ(index.FindNearestNeighbor(query, bound, nullptr), Scan(points, query, bound));
        }
    }
}

TEST_P(CNearestNeighborIndexTest, Find_ZeroBoundFindsCoincidingPointsOnly)
{
    const Points points = {{1.0F, 1.0F, 1.0F}, {0.0F, 0.0F, 0.0F}};
    EXPECT_EQ(find(points, {0.0F, -0.0F, 0.0F}, 0.0F), 1);
    EXPECT_EQ(find(points, {0.0F, 0.0F, 0.0F}, -0.0F), 1);
    EXPECT_LT(find(points, {1e-10F, 0.0F, 0.0F}, 0.0F), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_NegativeBoundFindsNothing)
{
    EXPECT_LT(find({{0.0F, 0.0F, 0.0F}}, {}, -1.0F), 0);
    EXPECT_LT(find({{0.0F, 0.0F, 0.0F}}, {}, -c_infinity), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_BoundThatIsNoNumberFindsNothing)
{
    EXPECT_LT(find({{0.0F, 0.0F, 0.0F}}, {}, c_nan), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_InfiniteBoundFindsTheNearestOfAll)
{
    EXPECT_EQ(find({{1e10F, 0.0F, 0.0F}, {1e9F, 0.0F, 0.0F}}, {}, c_infinity), 1);
}

}  // namespace
}  // namespace NearestNeighborIndexTest
