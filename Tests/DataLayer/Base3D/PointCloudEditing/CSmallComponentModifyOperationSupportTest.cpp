// The neighbour cloud of the operation and its life.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using ::testing::ElementsAre;

using Operation = CSmallComponentModifyOperation;
using Peer = CSmallComponentModifyOperationTestPeer;
using ContentPointer = std::shared_ptr<const SFuserContent>;

static_assert(std::is_base_of_v<ISyncableEntityCollectionModifyOperation, Operation>);
static_assert(!std::is_copy_constructible_v<Operation> && !std::is_copy_assignable_v<Operation>);
static_assert(!std::is_move_constructible_v<Operation> && !std::is_move_assignable_v<Operation>);
static_assert(std::is_constructible_v<Operation, ContentPointer&>);
static_assert(!std::is_constructible_v<Operation, const ContentPointer&>,
              "taken by non-constant reference");

constexpr LqVector3f c_a{1.0F, 2.0F, 3.0F};
constexpr LqVector3f c_b{4.0F, 5.0F, 6.0F};
constexpr LqVector3f c_c{7.0F, 8.0F, 9.0F};

std::vector<LqVector3f> PositionsOf(const CSurfelCollectionMinimal& cloud)
{
    std::vector<LqVector3f> positions;
    for (std::uint64_t index = 0; index < cloud.GetCount(); ++index)
    {
        positions.push_back(cloud.GetSurfel(index).position);
    }
    return positions;
}

TEST(CSmallComponentSupportTest, Members_LieInTheOrderOfTheContract)
{
    ContentPointer content;
    const Operation operation(content);
    const Peer::SOffsets offsets = Peer::GetOffsets(operation);
    EXPECT_EQ(offsets.fuserContent, 8);
    EXPECT_EQ(offsets.nnCloud, 24);
    EXPECT_EQ(offsets.numMainComponentPoints, 32);
}

TEST(CSmallComponentSupportTest, EmptyContent_GivesNoCloud)
{
    ContentPointer content;
    const Operation operation(content);
    EXPECT_EQ(Peer::GetCloud(operation), nullptr);
    EXPECT_EQ(Peer::GetCount(operation), 0U);
}

TEST(CSmallComponentSupportTest, NoSmallPoints_GiveNoCloudAndNoCount)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {});
    const Operation operation(content);
    EXPECT_EQ(Peer::GetCloud(operation), nullptr);
    EXPECT_EQ(Peer::GetCount(operation), 0U);
}

TEST(CSmallComponentSupportTest, OnlySmallPoints_GiveACloudAndNoCount)
{
    ContentPointer content = MakeFuserContent({}, {c_a, c_b});
    const Operation operation(content);
    ASSERT_NE(Peer::GetCloud(operation), nullptr);
    EXPECT_THAT(PositionsOf(*Peer::GetCloud(operation)), ElementsAre(c_a, c_b));
    EXPECT_EQ(Peer::GetCount(operation), 0U);
}

TEST(CSmallComponentSupportTest, Blocks_FollowInTheirOrderMainOnesFirst)
{
    auto content = std::make_shared<SFuserContent>();
    content->smallComponentBlocks = {MakePointBlock({c_c, c_b}), MakePointBlock({c_a})};
    content->mainComponentBlocks = {MakePointBlock({c_b}), MakePointBlock({}),
                                    MakePointBlock({c_a, c_c})};
    ContentPointer constContent = content;
    const Operation operation(constContent);
    ASSERT_NE(Peer::GetCloud(operation), nullptr);
    EXPECT_THAT(PositionsOf(*Peer::GetCloud(operation)), ElementsAre(c_b, c_a, c_c, c_c, c_b, c_a));
    EXPECT_EQ(Peer::GetCount(operation), 3U);
}

TEST(CSmallComponentSupportTest, Surfels_HaveTheNormalCodeOfTheZAxis)
{
    ContentPointer content = MakeFuserContent({c_a}, {c_b});
    const Operation operation(content);
    EXPECT_EQ(Peer::GetCloud(operation)->GetSurfel(0).normal, 0x0000);
    EXPECT_EQ(Peer::GetCloud(operation)->GetSurfel(1).normal, 0x0000);
}

TEST(CSmallComponentSupportTest, NullBlocks_HoldNoPoints)
{
    auto content = MakeFuserContent({c_a}, {c_b});
    content->mainComponentBlocks.insert(content->mainComponentBlocks.begin(), nullptr);
    content->smallComponentBlocks.push_back(nullptr);
    ContentPointer constContent = content;
    const Operation operation(constContent);
    EXPECT_THAT(PositionsOf(*Peer::GetCloud(operation)), ElementsAre(c_a, c_b));
    EXPECT_EQ(Peer::GetCount(operation), 1U);
}

TEST(CSmallComponentSupportTest, BlockWithoutRecords_HoldsNoPointsWhateverItsCount)
{
    auto content = MakeFuserContent({c_a}, {});
    content->smallComponentBlocks.push_back(
        std::make_shared<SFuserPointBlock>(SFuserPointBlock{nullptr, 5}));
    ContentPointer constContent = content;
    const Operation operation(constContent);
    EXPECT_EQ(Peer::GetCloud(operation), nullptr);
}

TEST(CSmallComponentSupportTest, Constructor_SharesTheContentAndLeavesTheArgument)
{
    ContentPointer content = MakeFuserContent({c_a}, {c_b});
    const SFuserContent* const address = content.get();
    {
        const Operation operation(content);
        EXPECT_EQ(content.get(), address);
        EXPECT_EQ(content.use_count(), 2);
    }
    EXPECT_EQ(content.use_count(), 1);
}

TEST(CSmallComponentSupportTest, Reserve_LeavesRoomForTheMainPointsOnly)
{
    // The first small point must make the array grow, and it grows by much more than one.
    ContentPointer content = MakeFuserContent(std::vector<LqVector3f>(1000), {c_a});
    const Operation operation(content);
    const std::size_t numBytes = malloc_usable_size(
        const_cast<CCompactSurfelPositionNormal*>(&Peer::GetCloud(operation)->GetSurfel(0)));
    EXPECT_GE(numBytes, 2000 * sizeof(CCompactSurfelPositionNormal));
}

TEST(CSmallComponentSupportTest, Rebuild_CountsTheMainPointsOnTop)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {c_c});
    Operation operation(content);
    Peer::ComputeNNSupportStructures(operation);
    EXPECT_THAT(PositionsOf(*Peer::GetCloud(operation)), ElementsAre(c_a, c_b, c_c));
    EXPECT_EQ(Peer::GetCount(operation), 4U);
}

TEST(CSmallComponentSupportTest, Reset_GivesUpTheCloudAndItsCountAndKeepsTheContent)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {c_c});
    Operation operation(content);
    Peer::Reset(operation);
    EXPECT_EQ(Peer::GetCloud(operation), nullptr);
    EXPECT_EQ(Peer::GetCount(operation), 0U);
    EXPECT_EQ(content.use_count(), 2);
}

TEST(CSmallComponentSupportTest, RebuildAfterReset_CountsAnew)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {c_c});
    Operation operation(content);
    Peer::Reset(operation);
    Peer::ComputeNNSupportStructures(operation);
    EXPECT_EQ(Peer::GetCloud(operation)->GetCount(), 3U);
    EXPECT_EQ(Peer::GetCount(operation), 2U);
}

TEST(CSmallComponentSupportTest, RebuildWithoutContent_GivesUpCloudAndCount)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {c_c});
    Operation operation(content);
    Peer::SetContent(operation, nullptr);
    Peer::ComputeNNSupportStructures(operation);
    EXPECT_EQ(Peer::GetCloud(operation), nullptr);
    EXPECT_EQ(Peer::GetCount(operation), 0U);
}

TEST(CSmallComponentSupportTest, RebuildWithoutSmallPoints_GivesUpCloudAndCount)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {c_c});
    Operation operation(content);
    Peer::SetContent(operation, MakeFuserContent({c_a}, {}));
    Peer::ComputeNNSupportStructures(operation);
    EXPECT_EQ(Peer::GetCloud(operation), nullptr);
    EXPECT_EQ(Peer::GetCount(operation), 0U);
}

TEST(CSmallComponentSupportTest, Cloud_IsSearchedByIndex)
{
    ContentPointer content = MakeFuserContent({c_a, c_b}, {c_c});
    const Operation operation(content);
    const auto support = Peer::GetCloud(operation)->GetPointCloudSupport();
    const INearestNeighborSearch& search = *support->GetNearestNeighborSearch();
    EXPECT_EQ(search.FindNearestNeighbor(c_a, 1.0F, nullptr), 0);
    EXPECT_EQ(search.FindNearestNeighbor(c_b, 1.0F, nullptr), 1);
    EXPECT_EQ(search.FindNearestNeighbor(c_c, 1.0F, nullptr), 2);
}

}  // namespace
}  // namespace DataLayer
