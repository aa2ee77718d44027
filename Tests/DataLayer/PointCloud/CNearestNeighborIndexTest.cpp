#include "Tests/DataLayer/PointCloud/CNearestNeighborIndexTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Allocations.h"

namespace NearestNeighborIndexTest
{
namespace
{

using TestSupport::GetAllocationCount;

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
        const Points points = MakeRandom(count, 4.0F, static_cast<std::uint32_t>(count));
        expectSameAsScan(points, MakeQueries(points, 5.0F, 60), {0.0F, 0.5F, 2.25F, c_infinity});
    }
}

TEST_P(CNearestNeighborIndexTest, Find_AroundTheSizesOfNodesLikeAScan)
{
    for (const std::size_t full : {256U, 512U, 4096U, 8192U})
    {
        for (const std::size_t count : {full - 17, full - 1, full, full + 1, full + 17})
        {
            const Points points = MakeRandom(count, 10.0F, static_cast<std::uint32_t>(count));
            expectSameAsScan(points, MakeQueries(points, 11.0F, 40), {0.8F, c_infinity});
        }
    }
}

TEST_P(CNearestNeighborIndexTest, Find_FiveLevelsBuiltInParallelLikeAScan)
{
    for (const std::size_t count : {65535U, 65536U, 65537U, 150000U})
    {
        const Points points = MakeRandom(count, 40.0F, static_cast<std::uint32_t>(count));
        expectSameAsScan(points, MakeQueries(points, 41.0F, 20), {2.25F, c_infinity});
    }
}

TEST_P(CNearestNeighborIndexTest, Find_EveryPointOfALargeCloudFindsItself)
{
    const Points points = MakeRandom(100000, 1000.0F, 5);
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
    for (const LqVector3f& point : MakeRandom(100, 1.0F, 3))
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
    Points points = MakeRandom(100, 1.0F, 3);
    const Points kept = points;
    const CNearestNeighborIndex index(PositionsOf(points));
    std::fill(points.begin(), points.end(), LqVector3f{c_nan, c_nan, c_nan});
    EXPECT_EQ(index.FindNearestNeighbor(kept[42], 0.0F, nullptr), 42);
}

TEST(CNearestNeighborIndexBuild, GetMemorySize_AtMostTwentyBytesAPoint)
{
    const Points points = MakeRandom(100001, 100.0F, 3);
    EXPECT_LE(CNearestNeighborIndex(PositionsOf(points)).GetMemorySize(), 20 * points.size());
}

TEST(CNearestNeighborIndexBuild, GetMemorySize_OfNoLeafMoreThanIsFilled)
{
    const auto sizeOf = [](std::size_t count) {
        const Points points = MakeRandom(count, 1.0F, 3);
        return CNearestNeighborIndex(PositionsOf(points)).GetMemorySize();
    };
    constexpr std::size_t c_leaf = sizeof(DataLayer::NearestNeighbor::ULeaf);
    constexpr std::size_t c_oneLeaf =
        sizeof(CNearestNeighborIndex) + c_leaf + sizeof(DataLayer::NearestNeighbor::SNode);
    EXPECT_EQ(sizeOf(1), c_oneLeaf);
    EXPECT_EQ(sizeOf(15), c_oneLeaf);
    EXPECT_EQ(sizeOf(16), c_oneLeaf);
    EXPECT_EQ(sizeOf(17), c_oneLeaf + c_leaf);
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
    Points points = MakeRandom(5000, 1.0F, 9);
    for (LqVector3f& point : points)
    {
        const float length = std::sqrt(SquaredDistance(point, {}));
        point = {point.x / length, point.y / length, point.z / length};
    }
    expectSameAsScan(points, MakeRandom(100, 1e-7F, 10), {1.0F, 1.1F});
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
    const Points positions = MakeRandom(7, 2.0F, 4);
    Points points;
    for (std::uint32_t i = 0; i < 5000; ++i)
    {
        points.push_back(positions[(i * i) % 7]);
    }
    expectSameAsScan(points, MakeQueries(points, 3.0F, 100), {0.0F, 1.0F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_CollinearPointsLikeAScan)
{
    Points points;
    for (std::uint32_t i = 0; i < 5000; ++i)
    {
        const float t = static_cast<float>((i * 2654435761U) % 5000U);
        points.push_back({t, 2.0F * t, -t});
    }
    expectSameAsScan(points, MakeQueries(points, 5000.0F, 100), {2.25F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_CoplanarPointsLikeAScan)
{
    Points points = MakeRandom(5000, 30.0F, 6);
    for (LqVector3f& point : points)
    {
        point.y = -0.0F;
    }
    expectSameAsScan(points, MakeQueries(points, 31.0F, 100), {2.25F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_ClustersLikeAScan)
{
    Points points;
    for (const LqVector3f& center : MakeRandom(50, 1000.0F, 7))
    {
        for (const LqVector3f& offset : MakeRandom(100, 0.01F, 8))
        {
            points.push_back({center.x + offset.x, center.y + offset.y, center.z + offset.z});
        }
    }
    expectSameAsScan(points, MakeQueries(points, 1000.0F, 100), {0.001F, 2.25F, c_infinity});
}

TEST_P(CNearestNeighborIndexTest, Find_OnePointAMillionUnitsAwayLikeAScan)
{
    Points points = MakeRandom(5000, 20.0F, 11);
    points[1234] = {1e6F, 1e6F, 1e6F};
    Points queries = MakeQueries(points, 21.0F, 100);
    queries.push_back({1e6F, 1e6F, 1e6F + 1.0F});
    queries.push_back({5e5F, 5e5F, 5e5F});
    expectSameAsScan(points, queries, {2.25F, c_infinity});
}

// Memory

TEST_P(CNearestNeighborIndexTest, Find_AllocatesNothing)
{
    const Points points = MakeRandom(5000, 10.0F, 22);
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
    const Points points = MakeRandom(20000, 20.0F, 21);
    const Points queries = MakeQueries(points, 21.0F, 200);
    std::vector<std::int32_t> expected;
    for (const LqVector3f& query : queries)
    {
        expected.push_back(Scan(points, query, 2.25F));
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
}  // namespace NearestNeighborIndexTest
