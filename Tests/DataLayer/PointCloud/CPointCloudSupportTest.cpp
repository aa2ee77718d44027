#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayerTest
{

namespace
{

std::unique_ptr<DataLayer::CSurfelCollectionMinimal> MakeCloud(
    const std::vector<LqVector3f>& positions)
{
    auto cloud = std::make_unique<DataLayer::CSurfelCollectionMinimal>();
    for (const LqVector3f& position : positions)
    {
        cloud->AddSurfelNoReset({position, 0});
    }
    cloud->ForceUpdate();
    return cloud;
}

Geometry::CBox3D GetBox(const Base::ISurfelCollection& collection)
{
    return collection.GetPointCloudSupport()->GetBoundingBox().box;
}

std::int32_t Find(const std::vector<LqVector3f>& positions, const LqVector3f& point, float bound)
{
    return MakeCloud(positions)
        ->GetPointCloudSupport()
        ->GetNearestNeighborSearch()
        ->FindNearestNeighbor(point, bound, nullptr);
}

TEST(CPointCloudSupport, BoundingBox_HoldsAllPositions)
{
    const auto cloud = MakeCloud({{1.0F, -2.0F, 3.0F}, {-4.0F, 5.0F, 3.0F}});
    EXPECT_EQ(GetBox(*cloud).min, (LqVector3f{-4.0F, -2.0F, 3.0F}));
    EXPECT_EQ(GetBox(*cloud).max, (LqVector3f{1.0F, 5.0F, 3.0F}));
}

TEST(CPointCloudSupport, BoundingBox_SkipsPositionsThatAreNotFinite)
{
    for (const float value : {c_nan, c_infinity, -c_infinity})
    {
        // Their finite coordinates do not count either.
        const auto cloud = MakeCloud({{value, 100.0F, 100.0F},
                                      {1.0F, 2.0F, 3.0F},
                                      {100.0F, value, -100.0F},
                                      {-100.0F, -100.0F, value}});
        EXPECT_EQ(GetBox(*cloud).min, (LqVector3f{1.0F, 2.0F, 3.0F}));
        EXPECT_EQ(GetBox(*cloud).max, (LqVector3f{1.0F, 2.0F, 3.0F}));
    }
}

TEST(CPointCloudSupport, BoundingBox_WithoutAFinitePositionIsEmpty)
{
    EXPECT_EQ(GetBox(*MakeCloud({})), Geometry::CBox3D());
    EXPECT_EQ(GetBox(*MakeCloud({{c_nan, 0.0F, 0.0F}, {0.0F, c_infinity, 0.0F}})),
              Geometry::CBox3D());
}

TEST(CPointCloudSupport, BoundingBox_HoldsTheLargestFloats)
{
    const float largest = std::numeric_limits<float>::max();
    const auto cloud = MakeCloud({{largest, -largest, 0.0F}});
    EXPECT_EQ(GetBox(*cloud).min, (LqVector3f{largest, -largest, 0.0F}));
    EXPECT_EQ(GetBox(*cloud).max, (LqVector3f{largest, -largest, 0.0F}));
}

TEST(CPointCloudSupport, BoundingBox_OfManyPositionsSeesEveryBlock)
{
    for (const std::size_t extreme : {std::size_t{0}, std::size_t{65535}, std::size_t{65536},
                                      std::size_t{131072}, c_manySurfels - 1})
    {
        std::vector<LqVector3f> positions(c_manySurfels, {1.0F, 1.0F, 1.0F});
        positions[extreme] = {-7.0F, 8.0F, 1.0F};
        const DataLayer::CSurfelCollectionView view(nullptr, positions.size(), positions.data(),
                                                    sizeof(LqVector3f));
        EXPECT_EQ(GetBox(view).min, (LqVector3f{-7.0F, 1.0F, 1.0F})) << extreme;
        EXPECT_EQ(GetBox(view).max, (LqVector3f{1.0F, 8.0F, 1.0F})) << extreme;
    }
}

TEST(CPointCloudSupport, BoundingBox_ConcurrentReadersGetTheSameObject)
{
    const auto cloud = MakeCollection<DataLayer::CSurfelCollectionMinimal>(c_manySurfels);
    std::vector<const UxBoundingBox3D*> boxes(TestSupport::c_numCallers);
    std::vector<std::int32_t> found(boxes.size());
    TestSupport::RunCallers([&](std::size_t caller) {
        const auto support = cloud->GetPointCloudSupport();
        boxes[caller] = &support->GetBoundingBox();
        found[caller] = support->GetNearestNeighborSearch()->FindNearestNeighbor(
            MakePosition(70000), 0.0F, nullptr);
    });
    for (std::size_t index = 0; index < boxes.size(); ++index)
    {
        EXPECT_EQ(boxes[index], boxes[0]);
        EXPECT_EQ(found[index], 70000);
    }
}

TEST(CPointCloudSupport, FindNearestNeighbor_FindsTheNearest)
{
    EXPECT_EQ(Find({{0.0F, 0.0F, 0.0F}, {5.0F, 0.0F, 0.0F}, {3.0F, 0.0F, 0.0F}}, {3.5F, 0.0F, 0.0F},
                   10.0F),
              2);
}

TEST(CPointCloudSupport, FindNearestNeighbor_OfEqualDistancesTheLowestIndexWins)
{
    EXPECT_EQ(
        Find({{9.0F, 0.0F, 0.0F}, {0.0F, 1.0F, 0.0F}, {0.0F, -1.0F, 0.0F}, {0.0F, 1.0F, 0.0F}},
             {0.0F, 0.0F, 0.0F}, 10.0F),
        1);
}

TEST(CPointCloudSupport, FindNearestNeighbor_TheBoundIsADistanceAndInclusive)
{
    const std::vector<LqVector3f> cloud{{3.0F, 4.0F, 0.0F}};
    EXPECT_EQ(Find(cloud, {}, 5.0F), 0);
    EXPECT_EQ(Find(cloud, {}, std::nextafter(5.0F, 0.0F)), -1);
}

TEST(CPointCloudSupport, FindNearestNeighbor_BoundZeroFindsTheSamePosition)
{
    EXPECT_EQ(Find({{1.0F, 2.0F, 3.0F}}, {1.0F, 2.0F, 3.0F}, 0.0F), 0);
    EXPECT_EQ(Find({{1.0F, 2.0F, 3.0F}}, {1.0F, 2.0F, 3.5F}, 0.0F), -1);
}

TEST(CPointCloudSupport, FindNearestNeighbor_BoundThatIsNoDistanceFindsNothing)
{
    EXPECT_EQ(Find({{}}, {}, -1.0F), -1);
    EXPECT_EQ(Find({{}}, {}, c_nan), -1);
}

TEST(CPointCloudSupport, FindNearestNeighbor_InfiniteBoundFindsAnyFinitePosition)
{
    // The squared distance is infinite, and so is the bound.
    EXPECT_EQ(Find({{c_nan, 0.0F, 0.0F}, {c_infinity, 0.0F, 0.0F}, {3e38F, 0.0F, 0.0F}},
                   {-3e38F, 0.0F, 0.0F}, c_infinity),
              2);
}

TEST(CPointCloudSupport, FindNearestNeighbor_PositionThatIsNotFiniteIsNeverFound)
{
    EXPECT_EQ(Find({{0.0F, c_nan, 0.0F}, {0.0F, 0.0F, c_infinity}, {1.0F, 0.0F, 0.0F}}, {}, 1e30F),
              2);
    EXPECT_EQ(Find({{0.0F, c_nan, 0.0F}, {0.0F, 0.0F, c_infinity}}, {}, c_infinity), -1);
}

TEST(CPointCloudSupport, FindNearestNeighbor_QueryThatIsNotFiniteFindsNothing)
{
    for (const float value : {c_nan, c_infinity, -c_infinity})
    {
        EXPECT_EQ(Find({{}}, {value, 0.0F, 0.0F}, c_infinity), -1);
        EXPECT_EQ(Find({{}}, {0.0F, value, 0.0F}, c_infinity), -1);
        EXPECT_EQ(Find({{}}, {0.0F, 0.0F, value}, c_infinity), -1);
    }
}

TEST(CPointCloudSupport, FindNearestNeighbor_EmptyCloudHasNoNeighbour)
{
    EXPECT_EQ(Find({}, {}, c_infinity), -1);
}

TEST(CPointCloudSupport, FindNearestNeighbor_RandomCloudsAgainstAllDistances)
{
    std::mt19937 random(11);
    std::uniform_int_distribution<int> coordinate(0, 6);
    for (int repetition = 0; repetition < 50; ++repetition)
    {
        // A coarse grid, so that equal distances are frequent.
        std::vector<LqVector3f> positions(60);
        for (LqVector3f& position : positions)
        {
            position = {static_cast<float>(coordinate(random)),
                        static_cast<float>(coordinate(random)),
                        static_cast<float>(coordinate(random))};
        }
        const auto cloud = MakeCloud(positions);
        const auto support = cloud->GetPointCloudSupport();
        for (int query = 0; query < 50; ++query)
        {
            const LqVector3f point{0.5F * static_cast<float>(coordinate(random)),
                                   static_cast<float>(coordinate(random)),
                                   static_cast<float>(coordinate(random))};
            const auto bound = 0.5F * static_cast<float>(coordinate(random));
            std::int32_t expected = -1;
            float best = bound * bound;
            for (std::size_t index = positions.size(); index-- > 0;)
            {
                const float dx = positions[index].x - point.x;
                const float dy = positions[index].y - point.y;
                const float dz = positions[index].z - point.z;
                const float square = (dx * dx + dy * dy) + dz * dz;
                if (square <= best)
                {
                    best = square;
                    expected = static_cast<std::int32_t>(index);
                }
            }
            ASSERT_EQ(
                support->GetNearestNeighborSearch()->FindNearestNeighbor(point, bound, nullptr),
                expected);
        }
    }
}

}  // namespace

}  // namespace DataLayerTest
