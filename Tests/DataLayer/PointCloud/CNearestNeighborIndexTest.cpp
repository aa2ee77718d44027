#include "DataLayer/PointCloud/CNearestNeighborIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Allocations.h"

namespace
{

using DataLayer::CNearestNeighborIndex;
using DataLayer::SPositionArray;
using TestSupport::GetAllocationCount;

using Points = std::vector<LqVector3f>;

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float c_largest = std::numeric_limits<float>::max();
constexpr float c_smallest = std::numeric_limits<float>::denorm_min();

SPositionArray positionsOf(const Points& points)
{
    return {reinterpret_cast<const std::byte*>(points.data()), sizeof(LqVector3f), points.size()};
}

bool isFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

float squaredDistance(const LqVector3f& a, const LqVector3f& b)
{
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    const float dz = a.z - b.z;
    return (dx * dx + dy * dy) + dz * dz;
}

/// What the index has to answer, found by looking at every point.
std::int32_t scan(const Points& points, const LqVector3f& query, float bound)
{
    std::int32_t nearest = -1;
    float least = 0.0F;
    if (!isFinite(query) || !(bound >= 0.0F))
    {
        return nearest;
    }
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        const float square = squaredDistance(points[i], query);
        if (isFinite(points[i]) && square <= bound * bound && (nearest < 0 || square < least))
        {
            nearest = static_cast<std::int32_t>(i);
            least = square;
        }
    }
    return nearest;
}

/// Uniform coordinates in [-extent, extent).
Points makeRandom(std::size_t count, float extent, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-extent, extent);
    Points points(count);
    for (LqVector3f& point : points)
    {
        point = {coordinate(random), coordinate(random), coordinate(random)};
    }
    return points;
}

/// Every point of \p points, and random ones of the space around them.
Points makeQueries(const Points& points, float extent, std::size_t count)
{
    Points queries = makeRandom(count / 2, extent, 77);
    std::mt19937 random(78);
    while (queries.size() < count && !points.empty())
    {
        queries.push_back(points[random() % points.size()]);
    }
    return queries;
}

/// Runs with each search kernel of this processor.
class CNearestNeighborIndexTest : public testing::TestWithParam<std::string>
{
protected:
    [[nodiscard]] static CNearestNeighborIndex makeIndex(const Points& points)
    {
        return CNearestNeighborIndex(positionsOf(points), GetParam());
    }

    [[nodiscard]] static std::int32_t find(const Points& points, const LqVector3f& query,
                                           float bound)
    {
        return makeIndex(points).FindNearestNeighbor(query, bound, nullptr);
    }

    static void expectSameAsScan(const Points& points, const Points& queries,
                                 const std::vector<float>& bounds)
    {
        const CNearestNeighborIndex index = makeIndex(points);
        for (const LqVector3f& query : queries)
        {
            for (const float bound : bounds)
            {
                ASSERT_EQ(index.FindNearestNeighbor(query, bound, nullptr),
                          scan(points, query, bound))
                    << points.size() << " points, query " << query.x << " " << query.y << " "
                    << query.z << ", bound " << bound;
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Kernel, CNearestNeighborIndexTest, testing::ValuesIn([] {
                             const auto names = CNearestNeighborIndex::GetKernelNames();
                             return std::vector<std::string>(names.begin(), names.end());
                         }()),
                         [](const auto& kernel) { return kernel.param; });

// Counts

TEST_P(CNearestNeighborIndexTest, Find_NoPointsHaveNoNeighbor)
{
    EXPECT_LT(find({}, {0.0F, 0.0F, 0.0F}, c_infinity), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_ZeroToSixtyFourPointsLikeAScan)
{
    for (std::size_t count = 0; count <= 64; ++count)
    {
        const Points points = makeRandom(count, 4.0F, static_cast<std::uint32_t>(count));
        expectSameAsScan(points, makeQueries(points, 5.0F, 60), {0.0F, 0.5F, 2.25F, c_infinity});
    }
}

TEST_P(CNearestNeighborIndexTest, Find_AroundTheSizesOfNodesLikeAScan)
{
    for (const std::size_t full : {256U, 512U, 4096U, 8192U})
    {
        for (const std::size_t count : {full - 17, full - 1, full, full + 1, full + 17})
        {
            const Points points = makeRandom(count, 10.0F, static_cast<std::uint32_t>(count));
            expectSameAsScan(points, makeQueries(points, 11.0F, 40), {0.8F, c_infinity});
        }
    }
}

TEST_P(CNearestNeighborIndexTest, Find_FiveLevelsBuiltInParallelLikeAScan)
{
    for (const std::size_t count : {65535U, 65536U, 65537U, 150000U})
    {
        const Points points = makeRandom(count, 40.0F, static_cast<std::uint32_t>(count));
        expectSameAsScan(points, makeQueries(points, 41.0F, 20), {2.25F, c_infinity});
    }
}

TEST_P(CNearestNeighborIndexTest, Find_EveryPointOfALargeCloudFindsItself)
{
    const Points points = makeRandom(100000, 1000.0F, 5);
    const CNearestNeighborIndex index = makeIndex(points);
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        ASSERT_EQ(index.FindNearestNeighbor(points[i], 0.0F, nullptr),
                  static_cast<std::int32_t>(i));
    }
}

TEST(CNearestNeighborIndexBuild, Build_MorePointsThanAnswersCanNameThrows)
{
    const LqVector3f point;
    const SPositionArray positions{reinterpret_cast<const std::byte*>(&point), 0,
                                   CNearestNeighborIndex::c_maximumCount + 1};
    EXPECT_THROW(CNearestNeighborIndex index(positions), std::length_error);
}

TEST(CNearestNeighborIndexBuild, Build_UnknownKernelThrows)
{
    EXPECT_THROW(CNearestNeighborIndex index(SPositionArray{}, "abacus"), std::invalid_argument);
}

TEST(CNearestNeighborIndexBuild, Build_ReadsPositionsAtTheirStride)
{
    struct SSurfel
    {
        std::uint16_t before;
        LqVector3f position;
        float after;
    };
    std::vector<SSurfel> surfels;
    for (const LqVector3f& point : makeRandom(100, 1.0F, 3))
    {
        surfels.push_back({1, point, 9.0F});
    }
    const CNearestNeighborIndex index({reinterpret_cast<const std::byte*>(&surfels[0].position),
                                       sizeof(SSurfel), surfels.size()});
    for (std::size_t i = 0; i < surfels.size(); ++i)
    {
        EXPECT_EQ(index.FindNearestNeighbor(surfels[i].position, 0.0F, nullptr),
                  static_cast<std::int32_t>(i));
    }
}

TEST(CNearestNeighborIndexBuild, Build_KeepsNothingOfTheCallersMemory)
{
    Points points = makeRandom(100, 1.0F, 3);
    const Points kept = points;
    const CNearestNeighborIndex index(positionsOf(points));
    std::fill(points.begin(), points.end(), LqVector3f{c_nan, c_nan, c_nan});
    EXPECT_EQ(index.FindNearestNeighbor(kept[42], 0.0F, nullptr), 42);
}

TEST(CNearestNeighborIndexBuild, GetMemorySize_AtMostTwentyBytesAPoint)
{
    const Points points = makeRandom(100001, 100.0F, 3);
    EXPECT_LE(CNearestNeighborIndex(positionsOf(points)).GetMemorySize(), 20 * points.size());
}

TEST(CNearestNeighborIndexBuild, GetKernelNames_EndWithTheReference)
{
    EXPECT_EQ(CNearestNeighborIndex::GetKernelNames().back(), "scalar");
}

#if defined(__x86_64__)
TEST(CNearestNeighborIndexBuild, GetKernelNames_NameWhatTheProcessorRuns)
{
    const auto names = CNearestNeighborIndex::GetKernelNames();
    EXPECT_THAT(names, testing::Contains("sse2"));
    EXPECT_EQ(std::count(names.begin(), names.end(), "avx2"), __builtin_cpu_supports("avx2") != 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "avx512"),
              __builtin_cpu_supports("avx512f") != 0);
}
#endif

// Shapes

TEST_P(CNearestNeighborIndexTest, Find_GridWithManyTiesLikeAScan)
{
    Points points;
    for (std::uint32_t i = 0; i < 16 * 16 * 16; ++i)
    {
        points.push_back({static_cast<float>(i % 16), static_cast<float>(i / 16 % 16),
                          static_cast<float>(i / 256)});
    }
    std::shuffle(points.begin(), points.end(), std::mt19937(1));
    Points queries;
    for (std::uint32_t i = 0; i < 300; ++i)
    {
        queries.push_back({static_cast<float>(i % 7) * 2.5F, static_cast<float>(i % 11) * 1.5F,
                           static_cast<float>(i % 13) + 0.5F});
    }
    expectSameAsScan(points, queries, {0.5F, 1.0F, 3.0F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_CenterOfACircleIsAnsweredWithTheLowestIndex)
{
    Points points;
    for (const float side : {3.0F, 4.0F, -3.0F, -4.0F})
    {
        const float other = std::sqrt(25.0F - side * side);
        points.insert(points.end(), 20, {side, other, 0.0F});
        points.insert(points.end(), 20, {other, 0.0F, -side});
        points.insert(points.end(), 20, {0.0F, -side, other});
    }
    for (std::uint32_t seed = 0; seed < 20; ++seed)
    {
        std::shuffle(points.begin(), points.end(), std::mt19937(seed));
        EXPECT_EQ(find(points, {0.0F, 0.0F, 0.0F}, 5.0F), 0);
    }
}

TEST_P(CNearestNeighborIndexTest, Find_AroundTheCenterOfASphereLikeAScan)
{
    Points points = makeRandom(5000, 1.0F, 9);
    for (LqVector3f& point : points)
    {
        const float length = std::sqrt(squaredDistance(point, {}));
        point = {point.x / length, point.y / length, point.z / length};
    }
    expectSameAsScan(points, makeRandom(100, 1e-7F, 10), {1.0F, 1.1F});
}

TEST_P(CNearestNeighborIndexTest, Find_DuplicatesAreAnsweredWithTheLowestIndex)
{
    Points points(1000, {1.0F, 2.0F, 3.0F});
    points[0] = {9.0F, 9.0F, 9.0F};
    points[1] = {c_nan, 2.0F, 3.0F};
    EXPECT_EQ(find(points, {1.0F, 2.0F, 3.5F}, 1.0F), 2);
}

TEST_P(CNearestNeighborIndexTest, Find_MillionIdenticalPointsAreNotVisitedOneByOne)
{
    // Some ten thousand queries: with a visit of every point they would take most of a minute.
    Points points(1000000, {1.0F, 2.0F, 3.0F});
    points[0].x = points[1].x = -1.0F;
    const CNearestNeighborIndex index = makeIndex(points);
    for (std::uint32_t i = 0; i < 10000; ++i)
    {
        const float y = 2.0F + static_cast<float>(i) * 1e-4F;
        ASSERT_EQ(index.FindNearestNeighbor({1.0F, y, 3.0F}, 2.25F, nullptr), 2);
        ASSERT_EQ(index.FindNearestNeighbor({0.0F, y, 3.0F}, 2.25F, nullptr), 0);
    }
}

TEST_P(CNearestNeighborIndexTest, Find_FewPositionsManyTimesLikeAScan)
{
    const Points positions = makeRandom(7, 2.0F, 4);
    Points points;
    for (std::uint32_t i = 0; i < 5000; ++i)
    {
        points.push_back(positions[(i * i) % 7]);
    }
    expectSameAsScan(points, makeQueries(points, 3.0F, 100), {0.0F, 1.0F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_CollinearPointsLikeAScan)
{
    Points points;
    for (std::uint32_t i = 0; i < 5000; ++i)
    {
        const float t = static_cast<float>((i * 2654435761U) % 5000U);
        points.push_back({t, 2.0F * t, -t});
    }
    expectSameAsScan(points, makeQueries(points, 5000.0F, 100), {2.25F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_CoplanarPointsLikeAScan)
{
    Points points = makeRandom(5000, 30.0F, 6);
    for (LqVector3f& point : points)
    {
        point.y = -0.0F;
    }
    expectSameAsScan(points, makeQueries(points, 31.0F, 100), {2.25F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_ClustersLikeAScan)
{
    Points points;
    for (const LqVector3f& center : makeRandom(50, 1000.0F, 7))
    {
        for (const LqVector3f& offset : makeRandom(100, 0.01F, 8))
        {
            points.push_back({center.x + offset.x, center.y + offset.y, center.z + offset.z});
        }
    }
    expectSameAsScan(points, makeQueries(points, 1000.0F, 100), {0.001F, 2.25F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_OnePointAMillionUnitsAwayLikeAScan)
{
    Points points = makeRandom(5000, 20.0F, 11);
    points[1234] = {1e6F, 1e6F, 1e6F};
    Points queries = makeQueries(points, 21.0F, 100);
    queries.push_back({1e6F, 1e6F, 1e6F + 1.0F});
    queries.push_back({5e5F, 5e5F, 5e5F});
    expectSameAsScan(points, queries, {2.25F, c_infinity});
}

// Numbers

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
    expectSameAsScan(points, makeQueries(points, 1e-40F, 50), {0.0F, c_smallest, 1.0F});
    EXPECT_EQ(find(points, {300.0F * c_smallest, 0.0F, 0.0F}, 0.0F), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_SquaresAboutToUnderflowLikeAScan)
{
    const Points points = makeRandom(3000, 1e-21F, 13);
    expectSameAsScan(points, makeQueries(points, 1e-21F, 100), {1e-23F, 1e-22F, 1e-20F});
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
    const Points points = makeRandom(3000, 3e38F, 14);
    expectSameAsScan(points, makeQueries(points, 3e38F, 50), {1e18F, 1e19F, 1e20F, c_infinity});
    const Points overflowing = makeRandom(3000, 4e19F, 15);
    expectSameAsScan(overflowing, makeQueries(overflowing, 4e19F, 100), {1.8e19F, 1.9e19F});
}

TEST_P(CNearestNeighborIndexTest, Find_SideOfTheCloudLongerThanTheLargestFloatLikeAScan)
{
    Points points = makeRandom(100, 1.0F, 16);
    points[10] = {-c_largest, -c_largest, -c_largest};
    points[20] = {c_largest, c_largest, c_largest};
    Points queries = makeQueries(points, 2.0F, 100);
    queries.push_back(points[10]);
    queries.push_back(points[20]);
    expectSameAsScan(points, queries, {1.0F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_PointsThatAreNotFiniteAreNobodysNeighbors)
{
    Points points = makeRandom(2000, 5.0F, 17);
    const float notFinite[] = {c_nan, c_infinity, -c_infinity};
    for (std::size_t i = 0; i < points.size(); i += 3)
    {
        (i % 2 == 0 ? points[i].x : i % 5 == 0 ? points[i].y : points[i].z) = notFinite[i % 9 / 3];
    }
    Points queries = makeQueries(points, 6.0F, 100);
    expectSameAsScan(points, queries, {0.5F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_OnlyPointsThatAreNotFiniteHaveNoNeighbor)
{
    EXPECT_LT(find({{c_nan, 0.0F, 0.0F}, {0.0F, c_infinity, 0.0F}}, {}, c_infinity), 0);
}

TEST_P(CNearestNeighborIndexTest, Find_QueryThatIsNotFiniteHasNoNeighbor)
{
    const Points points = makeRandom(100, 1.0F, 18);
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
    const Points points = makeRandom(3000, 10.0F, 19);
    const CNearestNeighborIndex index = makeIndex(points);
    for (const LqVector3f& query : makeRandom(200, 11.0F, 20))
    {
        const auto nearest = static_cast<std::size_t>(scan(points, query, c_infinity));
        const float distance = std::sqrt(squaredDistance(points[nearest], query));
        for (const float bound :
             {std::nextafter(distance, 0.0F), distance, std::nextafter(distance, c_infinity)})
        {
            ASSERT_EQ(index.FindNearestNeighbor(query, bound, nullptr), scan(points, query, bound));
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

TEST_P(CNearestNeighborIndexTest, Find_AllocatesNothing)
{
    const Points points = makeRandom(5000, 10.0F, 22);
    const std::size_t beforeBuilding = GetAllocationCount();
    const CNearestNeighborIndex index = makeIndex(points);
    const std::size_t before = GetAllocationCount();
    ASSERT_GT(before, beforeBuilding) << "the library's allocations are not counted";
    std::int64_t sum = 0;
    for (const LqVector3f& point : points)
    {
        sum += index.FindNearestNeighbor(point, 2.25F, nullptr);
    }
    EXPECT_EQ(GetAllocationCount(), before);
    EXPECT_EQ(sum, 5000 * 4999 / 2);
}

// Threads

TEST_P(CNearestNeighborIndexTest, Find_ConcurrentQueriesLikeAScan)
{
    const Points points = makeRandom(20000, 20.0F, 21);
    const Points queries = makeQueries(points, 21.0F, 200);
    std::vector<std::int32_t> expected;
    for (const LqVector3f& query : queries)
    {
        expected.push_back(scan(points, query, 2.25F));
    }
    const CNearestNeighborIndex index = makeIndex(points);
    std::vector<std::vector<std::int32_t>> found(8);
    std::vector<std::thread> threads;
    for (std::vector<std::int32_t>& answers : found)
    {
        threads.emplace_back([&] {
            for (const LqVector3f& query : queries)
            {
                answers.push_back(index.FindNearestNeighbor(query, 2.25F, nullptr));
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_THAT(found, testing::Each(expected));
}

}  // namespace
