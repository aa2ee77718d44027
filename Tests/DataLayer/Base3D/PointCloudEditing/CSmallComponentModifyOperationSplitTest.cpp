// Whom the operation asks for a surfel's neighbour, and many passes asking at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "DataLayer/PointCloud/CDeferredNeighborSearch.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CMockNeighborCloud.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using ::testing::IsEmpty;

using Operation = CSmallComponentModifyOperation;
using Peer = CSmallComponentModifyOperationTestPeer;
using ContentPointer = std::shared_ptr<const SFuserContent>;
using Points = std::vector<LqVector3f>;

constexpr float c_bound = 2.25F;

Points MakeRandom(std::size_t count, float size, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-size, size);
    Points points(count);
    for (LqVector3f& point : points)
    {
        point.x = coordinate(random);
        point.y = coordinate(random);
        point.z = coordinate(random);
    }
    return points;
}

/// A fuser that knows one entity.
struct SScene
{
    std::shared_ptr<SFuserContent> content;
    SMockEntity entity;
    Base::CEntityMapSyncBatch batch;

    SScene(const Points& mainPoints, const Points& smallPoints, const Points& surfels,
           const std::shared_ptr<const Base::CSurfelCollectionMask>& mask = nullptr)
        : content(MakeFuserContent(mainPoints, smallPoints)), entity(surfels)
    {
        const Base::CEntityMapSyncEntry entry = MakeEntry(entity.entity, mask);
        AddToFuser(*content, entry.key, entity.entity);
        batch = MakeBatch(entry);
    }

    [[nodiscard]] std::unique_ptr<Operation> MakeOperation() const
    {
        ContentPointer constContent = content;
        return std::make_unique<Operation>(constContent);
    }

    /// The new words; none where nothing changes.
    [[nodiscard]] Words Compute(const Operation& operation) const
    {
        const Base::CEntityMapModifyBatch result = operation.ComputeModifications(batch);
        return result.messages.empty() ? Words()
                                       : WordsOf(result.messages[0].GetNewState().mask.GetValue());
    }
};

/// A split of the operation's own cloud behind another position than its own.
std::unique_ptr<const CNearestNeighborSplit> SplitBehind(const Operation& operation,
                                                         std::int32_t last)
{
    const auto* const search = dynamic_cast<const CDeferredNeighborSearch*>(
        Peer::GetCloud(operation)->GetPointCloudSupport()->GetNearestNeighborSearch());
    return CNearestNeighborSplit::Make(*search, last, c_bound);
}

TEST(SmallComponentOperationSplitTest, Split_IsWhatComputeModificationsAsks)
{
    const SScene scene({{0, 0, 0}}, {{10, 0, 0}, {20, 0, 0}}, {{0, 1, 0}, {20, 1, 0}});
    const auto operation = scene.MakeOperation();
    ASSERT_NE(Peer::GetSplit(*operation), nullptr);
    EXPECT_EQ(scene.Compute(*operation), MakeWords({0, 2}));
    // The search knows nothing of these.
    Peer::SetSplit(*operation, SplitBehind(*operation, -1));
    EXPECT_EQ(scene.Compute(*operation), MakeWords({2, 2}));
    Peer::SetSplit(*operation, SplitBehind(*operation, 2));
    EXPECT_THAT(scene.Compute(*operation), IsEmpty());
}

TEST(SmallComponentOperationSplitTest, ExcludedSurfel_IsNotAskedFor)
{
    // What a cube was found to be stays, although the positions move, which none may: so they show
    // whether the operation asked for the surfel.
    const LqVector3f surfel{1.2F, 0.1F, 0.1F};
    for (const bool isExcluded : {false, true})
    {
        const SScene scene({{0, 0, 0}}, {{20, 0, 0}}, {surfel},
                           MakeSurfelMask(isExcluded ? MakeWords({16}) : MakeWords({0})));
        const auto operation = scene.MakeOperation();
        Points positions(3, {0, 0, 0});
        const CDeferredNeighborSearch search({reinterpret_cast<const std::byte*>(positions.data()),
                                              sizeof(LqVector3f), positions.size()});
        Peer::SetSplit(*operation, CNearestNeighborSplit::Make(search, 2, c_bound));
        EXPECT_THAT(scene.Compute(*operation), IsEmpty());
        std::fill(positions.begin(), positions.end(), LqVector3f{100, 0, 0});
        EXPECT_EQ(Peer::GetSplit(*operation)->IsAmongFirst(surfel), !isExcluded);
        Peer::SetSplit(*operation, nullptr);
    }
}

TEST(SmallComponentOperationSplitTest, ForeignSearch_IsAskedSurfelBySurfelInTheirOrder)
{
    const Points surfels = {{0, 1, 0}, {3, 1, 0}, {20, 1, 0}, {0, 1, 0}};
    const SScene scene({{0, 0, 0}}, {{20, 0, 0}}, surfels,
                       MakeSurfelMask(MakeWords({0, 16, 0, 2})));
    const auto operation = scene.MakeOperation();
    const auto search = std::make_shared<CMockNearestNeighborSearch>();
    search->answers = {5, -1, 1};
    Peer::SetCloud(*operation, std::make_unique<CMockNeighborCloud>(search), 1);
    EXPECT_EQ(Peer::GetSplit(*operation), nullptr);
    EXPECT_EQ(scene.Compute(*operation), MakeWords({2, 16, 2, 0}));
    ASSERT_EQ(search->queries.size(), 3U);
    EXPECT_EQ(search->queries[0].point, surfels[0]);
    EXPECT_EQ(search->queries[1].point, surfels[2]);
    EXPECT_EQ(search->queries[2].point, surfels[3]);
}

TEST(SmallComponentOperationSplitTest, RebuildAfterAForeignCloud_SplitsItsOwnAnew)
{
    const SScene scene({{0, 0, 0}}, {{10, 0, 0}, {20, 0, 0}}, {{0, 1, 0}, {20, 1, 0}});
    const auto operation = scene.MakeOperation();
    const auto search = std::make_shared<CMockNearestNeighborSearch>();
    Peer::SetCloud(*operation, std::make_unique<CMockNeighborCloud>(search), 0);
    Peer::ComputeNNSupportStructures(*operation);
    EXPECT_NE(Peer::GetSplit(*operation), nullptr);
    EXPECT_EQ(scene.Compute(*operation), MakeWords({0, 2}));
    EXPECT_THAT(search->queries, IsEmpty());
}

TEST(SmallComponentOperationSplitTest, Reset_GivesUpTheSplit)
{
    const SScene scene({{0, 0, 0}}, {{20, 0, 0}}, {});
    const auto operation = scene.MakeOperation();
    Peer::Reset(*operation);
    EXPECT_EQ(Peer::GetSplit(*operation), nullptr);
}

TEST(SmallComponentOperationSplitTest, Rebuild_SplitsBehindTheCountOnTop)
{
    // Once rebuilt, two main points are counted, and so the last small one is main as well.
    const SScene scene({{0, 0, 0}}, {{10, 0, 0}, {20, 0, 0}}, {{0, 1, 0}, {20, 1, 0}});
    const auto operation = scene.MakeOperation();
    Peer::ComputeNNSupportStructures(*operation);
    ASSERT_NE(Peer::GetSplit(*operation), nullptr);
    EXPECT_THAT(scene.Compute(*operation), IsEmpty());
}

TEST(SmallComponentOperationSplitTest, PointsFarApart_AreSearched)
{
    Points mainPoints = MakeRandom(2000, 10000, 1);
    const Points smallPoints = MakeRandom(2000, 10000, 2);
    const SScene scene(mainPoints, smallPoints,
                       {mainPoints[7], smallPoints[0], smallPoints[1], mainPoints[1999]});
    const auto operation = scene.MakeOperation();
    EXPECT_EQ(Peer::GetSplit(*operation), nullptr);
    // The first small point counts as main.
    EXPECT_EQ(scene.Compute(*operation), MakeWords({0, 0, 2, 0}));
}

TEST(SmallComponentOperationSplitTest, ConcurrentPasses_FlagAsTheSearchTells)
{
    // Main and small points between one another, so that most cells are judged by the passes.
    const Points surfels = MakeRandom(4000, 8, 3);
    const SScene scene(MakeRandom(400, 7, 4), MakeRandom(400, 7, 5), surfels);
    const auto reference = scene.MakeOperation();
    Peer::SetSplit(*reference, nullptr);
    const Words expected = scene.Compute(*reference);
    ASSERT_EQ(expected.size(), surfels.size());
    for (int repetition = 0; repetition < 4; ++repetition)
    {
        const auto operation = scene.MakeOperation();
        ASSERT_NE(Peer::GetSplit(*operation), nullptr);
        std::vector<std::uint16_t> states(surfels.size());
        std::vector<std::uint32_t> open(surfels.size());
        ASSERT_GT(Peer::GetSplit(*operation)
                      ->Look({reinterpret_cast<const std::byte*>(surfels.data()),
                              sizeof(LqVector3f), surfels.size()},
                             Peer::GetSplit(*operation)->MakePlacement(LqMatrix4Rf(c_matIdentityD)),
                             states.data(), open.data()),
                  1000U);
        std::vector<Words> answers(c_numCallers);
        RunCallers([&](std::size_t caller) { answers[caller] = scene.Compute(*operation); });
        for (const Words& answer : answers)
        {
            EXPECT_EQ(answer, expected);
        }
    }
}

}  // namespace
}  // namespace DataLayer
