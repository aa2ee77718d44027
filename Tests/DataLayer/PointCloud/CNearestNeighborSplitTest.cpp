#include "Tests/DataLayer/PointCloud/CNearestNeighborSplitTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tests/Support/Allocations.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayerTest
{
namespace
{

using TestSupport::GetAllocationCount;

INSTANTIATE_TEST_SUITE_P(Kernels, CNearestNeighborSplitTest, testing::ValuesIn(KernelNames()),
                         [](const auto& kernel) { return kernel.param; });

TEST_P(CNearestNeighborSplitTest, Scattered_AnsweredAsRestated)
{
    const Points points = MakeRandom(1500, 9, 1);
    expectRestatedForAllSplits(points, around(points, 4, 600, 2));
}

TEST_P(CNearestNeighborSplitTest, HalvesApart_AnsweredAsRestated)
{
    Points points = MakeRandom(700, 6, 3);
    const Points others = MakeRandom(700, 6, 4, {13, 1, 0});
    points.insert(points.end(), others.begin(), others.end());
    expectRestatedForAllSplits(points, around(points, 5, 600, 5));
}

TEST_P(CNearestNeighborSplitTest, Coplanar_AnsweredAsRestated)
{
    Points points = MakeRandom(900, 14, 6);
    for (LqVector3f& point : points)
    {
        point.y = 3;
    }
    expectRestatedForAllSplits(points, around(points, 3, 600, 7));
}

TEST_P(CNearestNeighborSplitTest, FewPositionsInCrowds_AnsweredAsRestated)
{
    const Points places = MakeRandom(12, 5, 8);
    Points points;
    for (std::size_t index = 0; index < 4000; ++index)
    {
        points.push_back(places[index * 5 % places.size()]);
    }
    expectRestatedForAllSplits(points, around(points, 4, 150, 9));
}

TEST_P(CNearestNeighborSplitTest, Clusters_AnsweredAsRestated)
{
    Points points;
    for (const LqVector3f& center : MakeRandom(30, 40, 10))
    {
        const Points cluster = MakeRandom(40, 0.8F, 11, center);
        points.insert(points.end(), cluster.begin(), cluster.end());
    }
    expectRestatedForAllSplits(points, around(points, 5, 600, 12));
}

TEST_P(CNearestNeighborSplitTest, TiesAcrossTheSplit_GoToTheLowestIndex)
{
    // Pairs of coinciding positions on both sides of the split, and queries midway of two.
    Points points;
    for (int half = 0; half < 2; ++half)
    {
        for (int index = 0; index < 200; ++index)
        {
            points.push_back({static_cast<float>(index % 20) * 1.5F,
                              static_cast<float>(index / 20) * 1.5F,
                              half == 1 && index % 3 == 0 ? 3.0F : 0.0F});
        }
    }
    Points queries;
    for (int index = 0; index < 1600; ++index)
    {
        queries.push_back({static_cast<float>(index % 40) * 0.75F,
                           static_cast<float>(index / 40) * 0.75F - 3.0F,
                           static_cast<float>(index % 5) * 0.75F - 0.75F});
    }
    expectRestatedForAllSplits(points, queries);
}

TEST_P(CNearestNeighborSplitTest, DistancesAroundTheBound_AnsweredAsRestated)
{
    // Clear of all cell boundaries, and on them.
    for (const float shift : {0.0F, 0.1F, 1.0F / 1.75F, 1e4F})
    {
        Points points(100, {shift, shift, shift});
        Points queries;
        for (int index = 0; index < 400; ++index)
        {
            const double a = index * 0.37;
            const double b = index * 0.11;
            const double length = 2.25 * (1.0 + (index % 9 - 4) * 0x1p-24);
            queries.push_back({static_cast<float>(shift + length * std::cos(a) * std::cos(b)),
                               static_cast<float>(shift + length * std::sin(a) * std::cos(b)),
                               static_cast<float>(shift + length * std::sin(b))});
        }
        queries.push_back({shift + c_bound, shift, shift});
        queries.push_back({shift, std::nextafter(shift - c_bound, -c_infinity), shift});
        expectRestatedForAllSplits(points, queries);
    }
}

TEST_P(CNearestNeighborSplitTest, FarFromTheOrigin_AnsweredAsRestated)
{
    // Where neighbouring floats are farther apart than cells as well.
    for (const float place : {-3e4F, 1e6F, -3e7F, 1e9F, 3e38F})
    {
        SCOPED_TRACE(place);
        const Points points = MakeRandom(500, 12, 14, {place, 0, -place / 3});
        expectRestatedForAllSplits(points, around(points, 6, 200, 15));
    }
}

TEST_P(CNearestNeighborSplitTest, PositionsBeyondTheCells_AnsweredAsRestated)
{
    // The cells end some 37000 around the middle.
    Points points = MakeRandom(800, 12, 16);
    const Points ends = MakeRandom(120, 8, 17, {37449, 0, 0});
    points.insert(points.begin(), ends.begin(), ends.end());
    points.push_back({1e6F, -1e9F, 3e38F});
    points.push_back({-3e38F, 3e38F, 0});
    points.push_back({0, 0, -4e4F});
    Points queries = around(points, 4, 900, 18);
    queries.push_back({3e38F, 3e38F, 3e38F});
    queries.push_back({1e6F, 0, 0});
    expectRestatedForAllSplits(points, queries);
}

TEST_P(CNearestNeighborSplitTest, NotFinite_HaveAndAreNoNeighbors)
{
    Points points = MakeRandom(400, 5, 19);
    points[0].x = c_nan;
    points[7].y = c_infinity;
    // Every second one is in the sample for the middle of the cells.
    points[8].y = c_infinity;
    points[200].z = -c_infinity;
    points[399] = {c_nan, c_nan, c_nan};
    Points queries = around(points, 3, 300, 20);
    for (const float value : {c_nan, c_infinity, -c_infinity})
    {
        queries.push_back({value, 0, 0});
        queries.push_back({0, value, 0});
        queries.push_back({0, 0, value});
        queries.push_back({value, value, value});
    }
    expectRestatedForAllSplits(points, queries);
}

TEST_P(CNearestNeighborSplitTest, OtherBounds_AnsweredAsRestated)
{
    for (const float bound : {1e-6F, 0.01F, 1.0F / 3.0F, 1000.0F, 1e6F})
    {
        SCOPED_TRACE(bound);
        const Points points = MakeRandom(900, 4 * bound, 21);
        expectRestatedForAllSplits(points, around(points, 2 * bound, 200, 22), bound);
    }
}

TEST_P(CNearestNeighborSplitTest, FewPoints_AnsweredAsRestated)
{
    expectRestatedForAllSplits({}, {{0, 0, 0}, {1e30F, 0, 0}});
    expectRestatedForAllSplits({{1, 2, 3}}, around({{1, 2, 3}}, 3, 200, 23));
    expectRestatedForAllSplits({{1, 2, 3}, {1, 2, 4}}, around({{1, 2, 3}}, 3, 200, 24));
    expectRestatedForAllSplits({{c_nan, 2, 3}}, {{0, 0, 0}, {c_nan, 2, 3}});
    // One that is not finite between two of the same place.
    expectRestatedForAllSplits({{1, 2, 3}, {c_nan, 2, 3}, {1, 2, 3}},
                               around({{1, 2, 3}}, 3, 200, 25));
}

TEST_P(CNearestNeighborSplitTest, Surface_IsKnownByItsCells)
{
    Points points;
    for (int index = 0; index < 10000; ++index)
    {
        points.push_back({static_cast<float>(index % 100), static_cast<float>(index / 100),
                          static_cast<float>(index % 7) * 0.1F});
    }
    const Points bit = MakeRandom(100, 1, 25, {50, 50, 6});
    points.insert(points.end(), bit.begin(), bit.end());
    Points queries = around(points, 0.4F, 500, 26);
    for (std::size_t index = 0; index < 500; index += 10)
    {
        queries[index].z += 9;
    }
    EXPECT_GT(expectRestated(points, 9999, queries), queries.size() * 95 / 100);
}

TEST(CNearestNeighborSplitMemory, JudgedCube_IsNotJudgedAgain)
{
    // A position that moves afterwards, which none may, shows that nobody looks at it again.
    Points points = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 2, c_bound);
    const LqVector3f query{1.2F, 0.1F, 0.1F};
    ASSERT_EQ(LookAt(*split, PositionsOf({query})).open.size(), 1U);
    EXPECT_TRUE(split->IsAmongFirst(query));
    std::fill(points.begin(), points.end(), LqVector3f{100, 0, 0});
    EXPECT_TRUE(split->IsAmongFirst(query));
}

TEST(CNearestNeighborSplitMemory, Fetched_NothingIsJudgedOrAllocated)
{
    const Points points = MakeRandom(900, 7, 34);
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 600, c_bound);
    Points queries = MakeRandom(4 * CNearestNeighborSplit::c_mostFetched, 9, 35);
    // Where there is no block, and what is no place at all.
    queries.insert(queries.begin(),
                   {{1e6F, 0, 0}, {0, -c_infinity, 0}, {0, 0, c_nan}, {3e38F, -3e38F, 3e38F}});
    const SLooked before = LookAt(*split, PositionsOf(queries));
    ASSERT_GT(before.open.size(), CNearestNeighborSplit::c_mostFetched);
    const std::size_t numAllocations = GetAllocationCount();
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, queries.size()})
    {
        split->Fetch(std::span(queries).first(count));
    }
    EXPECT_EQ(GetAllocationCount(), numAllocations);
    EXPECT_EQ(LookAt(*split, PositionsOf(queries)), before);
}

TEST(CNearestNeighborSplitMemory, MoreThan160PositionsAround_AreLeftToTheIndex)
{
    // One first position in the middle of a cube, and others with it or some four cells away.
    const LqVector3f first{2.0F, -0.5F / 1.75F, -0.5F / 1.75F};
    const LqVector3f apart{0, 0, 0};
    const auto expectAsked = [first](const LqVector3f& other, std::size_t numOthers,
                                     std::uint32_t expectedState, bool isIndexExpected) {
        SCOPED_TRACE(numOthers);
        Points points(1 + numOthers, other);
        points[0] = first;
        const CDeferredNeighborSearch search(PositionsOf(points));
        const auto split = CNearestNeighborSplit::Make(search, 0, c_bound);
        ASSERT_NE(split, nullptr);
        const std::size_t before = GetAllocationCount();
        EXPECT_TRUE(split->IsAmongFirst(first));
        EXPECT_EQ(GetAllocationCount() != before, isIndexExpected);
        EXPECT_EQ(LookAt(*split, PositionsOf({first})).states[0], expectedState);
    };
    expectAsked(apart, 159, DataLayer::NeighborCells::c_amongFirst, false);
    expectAsked(apart, 160, DataLayer::NeighborCells::c_undecidable, true);
    expectAsked(first, 159, DataLayer::NeighborCells::c_undecidable, false);
    expectAsked(first, 160, DataLayer::NeighborCells::c_undecidable, true);
}

TEST_P(CNearestNeighborSplitTest, ConcurrentQueries_AnsweredAsRestated)
{
    Points points = MakeRandom(900, 7, 31);
    const Points queries = around(points, 4, 2000, 32);
    std::vector<std::uint16_t> expected;
    for (const LqVector3f& query : queries)
    {
        expected.push_back(IsAmongFirst(points, 600, query, c_bound) ? 1 : 2);
    }
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 600, c_bound, GetParam());
    std::vector<std::vector<std::uint16_t>> answers(TestSupport::c_numCallers,
                                                    std::vector<std::uint16_t>(queries.size()));
    TestSupport::RunCallers([&](std::size_t caller) {
        std::vector<std::uint16_t>& answer = answers[caller];
        for (std::size_t first = 0; first < queries.size(); first += 100)
        {
            const SLooked looked = LookAt(
                *split,
                {reinterpret_cast<const std::byte*>(&queries[first]), sizeof(LqVector3f), 100});
            std::copy(looked.states.begin(), looked.states.end(), answer.begin() + first);
            split->Fetch(std::span(queries).subspan(first, 100));
            for (const std::uint32_t index : looked.open)
            {
                answer[first + index] = split->IsAmongFirst(queries[first + index]) ? 1 : 2;
            }
        }
    });
    EXPECT_THAT(answers, testing::Each(expected));
}

TEST(CNearestNeighborSplitMake, UselessBounds_GiveNoCells)
{
    const Points points = MakeRandom(100, 1, 33);
    const CDeferredNeighborSearch search(PositionsOf(points));
    for (const float bound : {0.0F, -1.0F, 1e-7F, 1e7F, c_infinity, c_nan})
    {
        EXPECT_EQ(CNearestNeighborSplit::Make(search, 50, bound), nullptr) << bound;
    }
}

TEST(CNearestNeighborSplitMake, PositionsFarApart_GiveNoCells)
{
    const Points points = MakeRandom(5000, 10000, 34);
    const CDeferredNeighborSearch search(PositionsOf(points));
    EXPECT_EQ(CNearestNeighborSplit::Make(search, 2500, c_bound), nullptr);
}

TEST(CNearestNeighborSplitMake, ABlockOfCellsForEachPosition_GivesNoCells)
{
    Points points;
    for (std::uint32_t index = 0; index < 1728; ++index)
    {
        constexpr float c_step = 10.0F;
        points.push_back({c_step * static_cast<float>(index % 12),
                          c_step * static_cast<float>(index / 12 % 12),
                          c_step * static_cast<float>(index / 144)});
    }
    const CDeferredNeighborSearch search(PositionsOf(points));
    EXPECT_EQ(CNearestNeighborSplit::Make(search, -1, c_bound), nullptr);
}

TEST(CNearestNeighborSplitMake, TooMuchSpaceBesidePositionsFarApart_GivesNoCells)
{
    // The places themselves are few enough, but not with those beside them, which count only where
    // one of the first positions may reach.
    Points points = MakeRandom(64, 4, 37);
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        points[index].x += static_cast<float>(index) * 100.0F;
    }
    const CDeferredNeighborSearch search(PositionsOf(points));
    EXPECT_EQ(CNearestNeighborSplit::Make(search, 63, c_bound), nullptr);
    EXPECT_NE(CNearestNeighborSplit::Make(search, -1, c_bound), nullptr);
}

TEST(CNearestNeighborSplitMake, ManyPositionsInPlacesFarApart_GiveNoCells)
{
    // As many places either way, but those far apart need the table of a region each.
    const auto isSplit = [](float distance) {
        Points points;
        for (std::size_t index = 0; index < 480; ++index)
        {
            points.push_back({static_cast<float>(index % 100) * distance, 0, 0});
        }
        const CDeferredNeighborSearch search(PositionsOf(points));
        return CNearestNeighborSplit::Make(search, -1, c_bound) != nullptr;
    };
    EXPECT_TRUE(isSplit(10));
    EXPECT_FALSE(isSplit(100));
}

TEST(CNearestNeighborSplitMake, EmptySpaceBetweenClusters_TakesNoMemory)
{
    Points points = MakeRandom(2000, 10, 35);
    const auto memoryOf = [&points] {
        const CDeferredNeighborSearch search(PositionsOf(points));
        return CNearestNeighborSplit::Make(search, 1000, c_bound)->GetMemorySize();
    };
    for (std::size_t index = 0; index < points.size(); index += 2)
    {
        points[index].x += 25;
    }
    const std::size_t near = memoryOf();
    for (std::size_t index = 0; index < points.size(); index += 2)
    {
        points[index].x += 20000;
        points[index].z -= 20000;
    }
    EXPECT_LT(memoryOf(), 2 * near);
}

TEST(CNearestNeighborSplitMake, UnknownKernel_Throws)
{
    const Points points = MakeRandom(10, 1, 36);
    const CDeferredNeighborSearch search(PositionsOf(points));
    EXPECT_THROW(static_cast<void>(CNearestNeighborSplit::Make(search, 5, c_bound, "none")),
                 std::invalid_argument);
}

TEST(CNearestNeighborSplitMake, GetKernelNames_EndWithTheReference)
{
    EXPECT_EQ(CNearestNeighborSplit::GetKernelNames().back(), "scalar");
}

#if defined(__x86_64__)
TEST(CNearestNeighborSplitMake, GetKernelNames_NameWhatTheProcessorRuns)
{
    const auto names = CNearestNeighborSplit::GetKernelNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), "avx2"), __builtin_cpu_supports("avx2") != 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "avx512"),
              __builtin_cpu_supports("avx512f") != 0);
}
#endif

TEST(CNearestNeighborSplitMake, Queries_AllocateNothing)
{
    const Points points = MakeRandom(1000, 8, 37);
    const Points queries = MakeRandom(1000, 10, 38);
    const CDeferredNeighborSearch search(PositionsOf(points));
    const std::size_t beforeMaking = GetAllocationCount();
    const auto split = CNearestNeighborSplit::Make(search, 500, c_bound);
    std::vector<std::uint16_t> states(queries.size());
    std::vector<std::uint32_t> open(queries.size());
    const std::size_t before = GetAllocationCount();
    ASSERT_GT(before, beforeMaking) << "the library's allocations are not counted";
    split->Look(PositionsOf(queries), split->MakePlacement(LqMatrix4Rf(c_matIdentityD)),
                states.data(), open.data());
    for (const LqVector3f& query : queries)
    {
        static_cast<void>(split->IsAmongFirst(query));
    }
    EXPECT_EQ(GetAllocationCount(), before);
}

TEST(CDeferredNeighborSearchTest, BuildsTheIndexOnce)
{
    const Points points = MakeRandom(5000, 8, 39);
    const std::size_t start = GetAllocationCount();
    const CDeferredNeighborSearch search(PositionsOf(points));
    EXPECT_EQ(GetAllocationCount(), start);
    EXPECT_EQ(search.FindNearestNeighbor(points[42], 0.0F, nullptr), 42);
    const std::size_t built = GetAllocationCount();
    EXPECT_GT(built, start);
    EXPECT_EQ(search.FindNearestNeighbor(points[43], 0.0F, nullptr), 43);
    EXPECT_EQ(GetAllocationCount(), built);
}

TEST(CDeferredNeighborSearchTest, MorePositionsThanAnIndexNames_Throw)
{
    EXPECT_THROW(CDeferredNeighborSearch({nullptr, 0, 0x80000000U}), std::length_error);
    EXPECT_NO_THROW(CDeferredNeighborSearch({nullptr, 0, 0x7FFFFFFFU}));
}

}  // namespace
}  // namespace DataLayerTest
