// What is told of many surfels at once.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Base/Math/PointTransform.h"
#include "Tests/DataLayer/PointCloud/CNearestNeighborSplitTest.h"
#include "Tests/Support/CLastBytes.h"

namespace DataLayerTest
{
namespace
{

TEST_P(CNearestNeighborSplitTest, Look_TellsWhatHasBecomeKnownSince)
{
    // A row of cubes that cells leave open, each of which is asked for after the one before it.
    Points points(201);
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        points[index].y = 0.5F * static_cast<float>(index);
    }
    Points surfels = points;
    for (LqVector3f& surfel : surfels)
    {
        surfel.x = 1.2F;
    }
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 200, c_bound, GetParam());
    ASSERT_NE(split, nullptr);
    const LqMatrix4Rf exactly = MakeIdentityWithPerspective();
    std::vector<std::uint32_t> open = LookAt(*split, PositionsOf(surfels), exactly).open;
    ASSERT_FALSE(open.empty());
    while (!open.empty())
    {
        const std::uint32_t asked = open.front();
        ASSERT_TRUE(split->IsAmongFirst(surfels[asked]));
        const SLooked looked = LookAt(*split, PositionsOf(surfels), exactly);
        ASSERT_EQ(looked.states[asked], DataLayer::NeighborCells::c_amongFirst) << asked;
        ASSERT_EQ(looked.open, OpenOf(looked.states));
        open = looked.open;
    }
}

TEST_P(CNearestNeighborSplitTest, Look_EveryStrideCountAndTrafoAsOneByOne)
{
    const Points points = MakeRandom(800, 6, 27);
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 500, c_bound, GetParam());
    const auto reference = CNearestNeighborSplit::Make(search, 500, c_bound, "scalar");
    ASSERT_NE(split, nullptr);
    LqMatrix4Rf affine(c_matIdentityD);
    affine(0, 1) = 0.3F;
    affine(1, 0) = -0.2F;
    affine(3, 2) = 1.1F;
    LqMatrix4Rf projective = affine;
    projective(2, 3) = 0.05F;
    for (const LqMatrix4Rf& trafo : {affine, projective})
    {
        for (const std::size_t stride : {0U, 1U, 4U, 12U, 13U, 14U, 16U, 24U, 100U})
        {
            for (std::size_t count = 0; count < 70; ++count)
            {
                const Points surfels = MakeRandom(count + 1, 12, 28);
                std::vector<std::byte> bytes(count == 0 ? 0 : stride * (count - 1) + 12);
                for (std::size_t index = 0; index < count; ++index)
                {
                    std::memcpy(bytes.data() + index * stride, &surfels[index], 12);
                }
                const SLooked looked = LookAt(*split, {bytes.data(), stride, count}, trafo);
                ASSERT_EQ(looked, LookAt(*reference, {bytes.data(), stride, count}, trafo))
                    << "stride " << stride << ", count " << count;
                ASSERT_EQ(looked.open, OpenOf(looked.states));
            }
        }
    }
}

TEST_P(CNearestNeighborSplitTest, Look_KnowsWhatTheTransformedPointIsAnswered)
{
    const Points points = MakeRandom(3000, 12, 29);
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 1500, c_bound, GetParam());
    const Points surfels = MakeRandom(500, 12, 30);
    // Each number of the last column by itself makes a perspective, here with an axis less or a
    // shift.
    for (std::size_t row = 0; row < 4; ++row)
    {
        SCOPED_TRACE(row);
        LqMatrix4Rf trafo(c_matIdentityD);
        trafo(2, 2) = row == 2 ? 0.0F : 1.0F;
        trafo(3, 2) = row == 3 ? 1.0F : 0.0F;
        trafo(row, 3) = row == 3 ? 0.0F : 1.0F;
        const std::vector<std::uint16_t> states =
            LookAt(*split, PositionsOf(surfels), trafo).states;
        std::size_t numKnown = 0;
        for (std::size_t index = 0; index < surfels.size(); ++index)
        {
            const bool expected =
                IsAmongFirst(points, 1500, TransformPoint(trafo, surfels[index]), c_bound);
            const std::uint32_t state = states[index];
            numKnown += state == 1 || state == 2 ? 1 : 0;
            EXPECT_TRUE(state == 0 || state == 3 || (state == 1) == expected) << index;
        }
        EXPECT_GT(numKnown, 0U);
    }
}

TEST_P(CNearestNeighborSplitTest, Look_RoundsAsTransformPointDoes)
{
    // Sums of which one part is lost unless they are made in their order.
    constexpr float c_large = 1e8F;
    constexpr float c_sums[][4] = {{c_large, -c_large, 1, 0}, {c_large, 0, -c_large, 1}};
    const Points points(10, {20, 20, 20});
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 9, c_bound, GetParam());
    ASSERT_NE(split, nullptr);
    for (const auto& sum : c_sums)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            LqMatrix4Rf trafo;
            for (std::size_t axis = 0; axis < 3; ++axis)
            {
                trafo(3, axis) = 20;
            }
            trafo(3, 3) = 1;
            for (std::size_t row = 0; row < 4; ++row)
            {
                const bool isLarge = std::abs(sum[row]) == c_large;
                trafo(row, column) = column == 3 || isLarge ? sum[row] : 20 * sum[row];
            }
            const Points surfels{{1, 1, 1}};
            const LqVector3f expected = TransformPoint(trafo, surfels[0]);
            ASSERT_TRUE(expected.x == 20 && expected.y == 20 && expected.z == 20);
            EXPECT_EQ(LookAt(*split, PositionsOf(surfels), trafo).states[0],
                      DataLayer::NeighborCells::c_amongFirst)
                << "column " << column;
        }
    }
}

TEST_P(CNearestNeighborSplitTest, Look_ReadsNothingBehindTheLastPosition)
{
    const Points points = MakeRandom(100, 4, 41);
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 50, c_bound, GetParam());
    ASSERT_NE(split, nullptr);
    // By a perspective none is near.
    LqMatrix4Rf projective(c_matIdentityD);
    projective(0, 3) = 0.01F;
    for (const std::size_t stride : {3U, 4U, 12U, 13U, 14U, 16U, 20U})
    {
        for (std::size_t count = 1; count < 40; ++count)
        {
            const TestSupport::CLastBytes bytes(stride * (count - 1) + sizeof(LqVector3f));
            for (std::size_t index = 0; index < count; ++index)
            {
                std::memcpy(bytes.Get().data() + index * stride, &points[index],
                            sizeof(LqVector3f));
            }
            // Not the first points where positions overlap.
            Points surfels(count);
            for (std::size_t index = 0; index < count; ++index)
            {
                std::memcpy(&surfels[index], bytes.Get().data() + index * stride,
                            sizeof(LqVector3f));
            }
            for (const LqMatrix4Rf& trafo : {LqMatrix4Rf(c_matIdentityD), projective})
            {
                EXPECT_EQ(LookAt(*split, {bytes.Get().data(), stride, count}, trafo),
                          LookAt(*split, PositionsOf(surfels), trafo));
            }
        }
    }
}

TEST_P(CNearestNeighborSplitTest, Look_AcrossRegionsAndBatchesAsOneByOne)
{
    // Regions are some 73 apart; a strip through many of them, there and back.
    Points points;
    for (int index = 0; index < 8000; ++index)
    {
        const auto place = static_cast<float>(index / 8) * 0.5F;
        points.push_back({place, static_cast<float>(index % 8) - place, 0.4F * place});
    }
    Points surfels = around(points, 1, 1900, 40);
    for (std::size_t index = 0; index < surfels.size(); index += 7)
    {
        surfels[index].z += 80;
    }
    const CDeferredNeighborSearch search(PositionsOf(points));
    const auto split = CNearestNeighborSplit::Make(search, 4000, c_bound, GetParam());
    ASSERT_NE(split, nullptr);
    for (const std::size_t stride : {12U, 16U})
    {
        std::vector<std::byte> bytes(stride * surfels.size());
        for (std::size_t index = 0; index < surfels.size(); ++index)
        {
            std::memcpy(bytes.data() + index * stride, &surfels[index], sizeof(LqVector3f));
        }
        for (const std::size_t count : {255U, 256U, 257U, 511U, 512U, 513U, 1900U})
        {
            const SLooked looked = LookAt(*split, {bytes.data(), stride, count});
            std::vector<std::uint16_t> expected;
            for (std::size_t index = 0; index < count; ++index)
            {
                expected.push_back(LookAt(*split, {bytes.data() + index * stride, 0, 1}).states[0]);
            }
            EXPECT_EQ(looked.states, expected) << stride << ", " << count;
            EXPECT_EQ(looked.open, OpenOf(expected)) << stride << ", " << count;
        }
    }
}

}  // namespace
}  // namespace DataLayerTest
