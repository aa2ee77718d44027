// What the operation does with the surfels of one entity.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CMockNeighborCloud.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using ::testing::ElementsAre;

using Operation = CSmallComponentModifyOperation;
using Peer = CSmallComponentModifyOperationTestPeer;
using ContentPointer = std::shared_ptr<const SFuserContent>;

constexpr std::int32_t c_none = -1;

/// An operation whose neighbours are told, with three main points unless a test says otherwise.
class CSmallComponentScanDataTest : public ::testing::Test
{
protected:
    CSmallComponentScanDataTest() { setCount(3); }

    void setCount(std::uint64_t numMainComponentPoints)
    {
        auto cloud = std::make_unique<CMockNeighborCloud>(m_search);
        m_cloud = cloud.get();
        Peer::SetCloud(m_operation, std::move(cloud), numMainComponentPoints);
    }

    /// The new mask of \p entity, whose surfels get \p neighbors.
    std::shared_ptr<Base::CSurfelCollectionMask> compute(
        const SMockEntity& entity, std::vector<std::int32_t> neighbors,
        const std::shared_ptr<const Base::CSurfelCollectionMask>& mask,
        const LqMatrix4Rd& trafo = c_matIdentityD)
    {
        m_search->answers = std::move(neighbors);
        m_search->queries.clear();
        return Peer::RemoveSmallComponents(
            m_operation, Base::CEntityTrafoMaskPacket(
                             Base::CGeometricEntityPacket(entity.entity, trafo, mask, 0)));
    }

    /// The words of one surfel per neighbour after the edit; those given when nothing changed.
    Words wordsAfter(const std::vector<std::int32_t>& neighbors, const Words& words)
    {
        const SMockEntity entity(std::vector<LqVector3f>(neighbors.size()));
        const auto mask = compute(entity, neighbors, MakeSurfelMask(words));
        return mask != nullptr ? mask->GetBitMasks() : words;
    }

    ContentPointer m_noContent;
    Operation m_operation{m_noContent};
    std::shared_ptr<CMockNearestNeighborSearch> m_search =
        std::make_shared<CMockNearestNeighborSearch>();
    const CMockNeighborCloud* m_cloud = nullptr;
};

TEST_F(CSmallComponentScanDataTest, MaskThatMatches_GivesNothing)
{
    const SMockEntity entity(std::vector<LqVector3f>(2));
    EXPECT_EQ(compute(entity, {0, c_none}, MakeSurfelMask(MakeWords({0, 2}))), nullptr);
}

TEST_F(CSmallComponentScanDataTest, NoFlagsAndAllNearMainPoints_GiveNothing)
{
    const SMockEntity entity(std::vector<LqVector3f>(2));
    EXPECT_EQ(compute(entity, {0, 2}, MakeSurfelMask({})), nullptr);
}

TEST_F(CSmallComponentScanDataTest, MainPoint_ClearsTheFlag)
{
    EXPECT_EQ(wordsAfter({2}, MakeWords({2})), MakeWords({0}));
}

TEST_F(CSmallComponentScanDataTest, SmallPoint_SetsTheFlag)
{
    EXPECT_EQ(wordsAfter({4}, MakeWords({0})), MakeWords({2}));
}

TEST_F(CSmallComponentScanDataTest, NoNeighbor_SetsTheFlag)
{
    EXPECT_EQ(wordsAfter({c_none}, MakeWords({0})), MakeWords({2}));
    EXPECT_EQ(wordsAfter({std::numeric_limits<std::int32_t>::min()}, MakeWords({0})),
              MakeWords({2}));
}

TEST_F(CSmallComponentScanDataTest, FirstPointBehindTheMainOnes_CountsAsMain)
{
    EXPECT_EQ(wordsAfter({3}, MakeWords({0})), MakeWords({0}));
    EXPECT_EQ(wordsAfter({3}, MakeWords({2})), MakeWords({0}));
}

/// With more main points or surfels than 32 bits, or 31, can tell.
using BigScanDataTest = CSmallComponentScanDataTest;

TEST_F(BigScanDataTest, Count_IsComparedByItsLowWord)
{
    setCount((std::uint64_t{1} << 32) + 5);
    EXPECT_EQ(wordsAfter({0, 5, 6, 0x7FFFFFFF, c_none}, MakeWords({2, 2, 0, 0, 0})),
              MakeWords({0, 0, 2, 2, 2}));
}

TEST_F(BigScanDataTest, CountOfNoLowWord_TakesTheFirstIndexAloneAsMain)
{
    setCount(std::uint64_t{1} << 32);
    EXPECT_EQ(wordsAfter({0, 1, c_none}, MakeWords({2, 0, 0})), MakeWords({0, 2, 2}));
}

TEST_F(BigScanDataTest, Count_IsComparedAsASignedNumber)
{
    // From 2^31 on it is negative, and no index is at most that.
    for (const std::uint64_t count : {0x80000000U, 0x80000005U, 0xFFFFFFFFU})
    {
        setCount(count);
        EXPECT_EQ(wordsAfter({0, 1, 5, 6, 0x7FFFFFFE, 0x7FFFFFFF, c_none}, Words(7)),
                  MakeWords({2, 2, 2, 2, 2, 2, 2}))
            << count;
    }
}

TEST_F(BigScanDataTest, LargestCount_TakesEveryIndexAsMain)
{
    setCount(0x7FFFFFFFU);
    EXPECT_EQ(wordsAfter({0, 5, 0x7FFFFFFE, 0x7FFFFFFF, c_none}, MakeWords({2, 2, 2, 2, 0})),
              MakeWords({0, 0, 0, 0, 2}));
}

TEST_F(BigScanDataTest, CountBelowTheLargest_TakesIndicesBehindItAsSmall)
{
    setCount(0x7FFFFFFDU);
    EXPECT_EQ(wordsAfter({0, 0x7FFFFFFD, 0x7FFFFFFE, 0x7FFFFFFF}, MakeWords({2, 2, 0, 0})),
              MakeWords({0, 0, 2, 2}));
}

TEST_F(BigScanDataTest, Surfels_AreCountedModuloTwoToThe32)
{
    const SMockEntity entity(std::vector<LqVector3f>(5));
    entity.collection->SetCount((std::uint64_t{1} << 32) + 3);
    const auto mask = compute(entity, {c_none}, MakeSurfelMask(MakeWords({0, 0, 0, 0, 0})));
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->GetBitMasks(), MakeWords({2, 2, 2, 0, 0}));
}

TEST_F(CSmallComponentScanDataTest, ExcludedSurfel_KeepsItsWord)
{
    EXPECT_EQ(wordsAfter({0, c_none}, MakeWords({0x12, 0x10})), MakeWords({0x12, 0x10}));
}

TEST_F(CSmallComponentScanDataTest, ExcludedSurfel_CostsNoQuery)
{
    const SMockEntity entity({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}});
    static_cast<void>(compute(entity, {0}, MakeSurfelMask(MakeWords({0x10, 0, 0xFFFF}))));
    ASSERT_EQ(m_search->queries.size(), 1U);
    EXPECT_EQ(m_search->queries[0].point, (LqVector3f{2, 0, 0}));
}

TEST_F(CSmallComponentScanDataTest, OtherBits_AreLeftAlone)
{
    EXPECT_EQ(wordsAfter({0, c_none}, MakeWords({0xFFEF, 0xFFED})), MakeWords({0xFFED, 0xFFEF}));
}

TEST_F(CSmallComponentScanDataTest, OnePass_SetsAndClears)
{
    EXPECT_EQ(wordsAfter({4, 0, c_none, 3}, MakeWords({0, 2, 0, 2})), MakeWords({2, 0, 2, 0}));
}

TEST_F(CSmallComponentScanDataTest, NoFlags_BecomeOneWordPerSurfel)
{
    const SMockEntity entity(std::vector<LqVector3f>(3));
    const auto mask = compute(entity, {0, c_none, 0}, MakeSurfelMask({}));
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->GetBitMasks(), MakeWords({0, 2, 0}));
}

TEST_F(CSmallComponentScanDataTest, MissingMask_CountsAsNoFlags)
{
    const SMockEntity entity(std::vector<LqVector3f>(2));
    const auto mask = compute(entity, {c_none, 0}, nullptr);
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->GetBitMasks(), MakeWords({2, 0}));
}

TEST_F(CSmallComponentScanDataTest, SurplusWords_AreKept)
{
    const SMockEntity entity(std::vector<LqVector3f>(2));
    const auto mask = compute(entity, {c_none}, MakeSurfelMask(MakeWords({0, 0, 0x20, 0x22})));
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->GetBitMasks(), MakeWords({2, 2, 0x20, 0x22}));
}

TEST_F(CSmallComponentScanDataTest, SurfelsWithoutAWord_AreLeftOut)
{
    const SMockEntity entity(std::vector<LqVector3f>(100));
    const auto mask = compute(entity, {c_none}, MakeSurfelMask(MakeWords({0, 0})));
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->GetBitMasks(), MakeWords({2, 2}));
    EXPECT_EQ(m_search->queries.size(), 2U);
}

TEST_F(CSmallComponentScanDataTest, NoSurfels_GiveNothing)
{
    const SMockEntity entity({});
    EXPECT_EQ(compute(entity, {c_none}, MakeSurfelMask({})), nullptr);
}

TEST_F(CSmallComponentScanDataTest, Words_AreSizedAndCountedBeforePositionsAreAskedFor)
{
    const SMockEntity entity(std::vector<LqVector3f>(2));
    unsigned numCounts = 0;
    entity.collection->onGetElementAccess = [&] {
        numCounts = entity.collection->numGetCountCalls;
    };
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
    EXPECT_EQ(numCounts, 2U);
    EXPECT_EQ(entity.collection->numGetElementAccessCalls, 1U);
}

TEST_F(CSmallComponentScanDataTest, MissingPositions_Throw)
{
    const SMockEntity entity(std::vector<LqVector3f>(2));
    entity.collection->SetPositionAccess(nullptr);
    try
    {
        static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
        FAIL() << "nothing thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_EQ(exception.GetMessageText(),
                  L"Nicht verfuegbare ElementAccessor-Definition angefordert.");
    }
}

TEST_F(CSmallComponentScanDataTest, Queries_CarryTheBoundAndNothingElse)
{
    const SMockEntity entity(std::vector<LqVector3f>(1));
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
    ASSERT_EQ(m_search->queries.size(), 1U);
    EXPECT_EQ(m_search->queries[0].bound, 2.25F);
    EXPECT_EQ(m_search->queries[0].reserved, nullptr);
}

TEST_F(CSmallComponentScanDataTest, Positions_AreTransformedAndDividedByW)
{
    LqMatrix4Rd trafo = MakeTranslation(10, 20, 30);
    trafo(2, 3) = 0.5;
    const SMockEntity entity({{1, 2, 2}, {3, 4, 6}});
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({}), trafo));
    ASSERT_EQ(m_search->queries.size(), 2U);
    EXPECT_EQ(m_search->queries[0].point, (LqVector3f{5.5F, 11, 16}));
    EXPECT_EQ(m_search->queries[1].point, (LqVector3f{3.25F, 6, 9}));
}

TEST_F(CSmallComponentScanDataTest, Trafo_IsRoundedToFloatBeforeUse)
{
    const SMockEntity entity({{3, 0, 0}});
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({}), MakeScale(1.0 + 0x1p-25, 1, 1)));
    EXPECT_EQ(m_search->queries.at(0).point.x, 3.0F);
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({}), MakeTranslation(1.0e8, 0, 0)));
    EXPECT_EQ(m_search->queries.at(0).point.x, 1.0e8F);
}

TEST_F(CSmallComponentScanDataTest, StridedPositions_AreReadInTheirOrder)
{
    SMockEntity entity({});
    entity.collection = std::make_shared<CMockSurfelCollection>(
        std::vector<LqVector3f>{{1, 0, 0}, {2, 0, 0}, {3, 0, 0}}, 17, 3);
    entity.entity->collection = entity.collection;
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
    ASSERT_EQ(m_search->queries.size(), 3U);
    for (std::size_t index = 0; index < 3; ++index)
    {
        EXPECT_EQ(m_search->queries[index].point,
                  (LqVector3f{static_cast<float>(index + 1), 0, 0}));
    }
}

TEST_F(CSmallComponentScanDataTest, Entity_IsAskedForItsCollectionWithTrueOnce)
{
    const SMockEntity entity(std::vector<LqVector3f>(1));
    std::vector<bool> arguments;
    entity.entity->onGetSurfelCollection = [&](bool forEditing) {
        arguments.push_back(forEditing);
    };
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
    EXPECT_THAT(arguments, ElementsAre(true));
}

TEST_F(CSmallComponentScanDataTest, Mask_IsLeftAsItWas)
{
    const auto mask = MakeSurfelMask(MakeWords({0, 2}));
    const SMockEntity entity(std::vector<LqVector3f>(2));
    ASSERT_NE(compute(entity, {c_none, 0}, mask), nullptr);
    EXPECT_EQ(mask->GetBitMasks(), MakeWords({0, 2}));
}

TEST_F(CSmallComponentScanDataTest, Support_IsReleasedBeforeTheFirstQuery)
{
    const SMockEntity entity(std::vector<LqVector3f>(1));
    long useCount = 0;
    m_search->onQuery = [&] { useCount = m_cloud->GetSupport().use_count(); };
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
    EXPECT_EQ(useCount, 1);
}

TEST_F(CSmallComponentScanDataTest, Queries_RunOnTheCallingThread)
{
    const SMockEntity entity(std::vector<LqVector3f>(1000));
    bool isElsewhere = false;
    const std::thread::id caller = std::this_thread::get_id();
    m_search->onQuery = [&] { isElsewhere |= std::this_thread::get_id() != caller; };
    static_cast<void>(compute(entity, {0}, MakeSurfelMask({})));
    EXPECT_FALSE(isElsewhere);
    EXPECT_EQ(m_search->queries.size(), 1000U);
}

// With the operation's own cloud.

class CSmallComponentRealCloudTest : public ::testing::Test
{
protected:
    /// The words of \p positions, none flagged before, with a main body around x = 0, and small
    /// components at x = 10, whose first point counts as main body, and at x = 20.
    [[nodiscard]] static Words wordsOf(const std::vector<LqVector3f>& positions)
    {
        ContentPointer content = MakeFuserContent({{0, 0, 0}, {1, 0, 0}}, {{10, 0, 0}, {20, 0, 0}});
        const Operation operation(content);
        const SMockEntity entity(positions);
        const auto mask = Peer::RemoveSmallComponents(
            operation, Base::CEntityTrafoMaskPacket(Base::CGeometricEntityPacket(
                           entity.entity, c_matIdentityD, MakeSurfelMask({}), 0)));
        return mask != nullptr ? mask->GetBitMasks() : Words(positions.size());
    }
};

TEST_F(CSmallComponentRealCloudTest, SurfelFarFromEveryFusedPoint_IsFlagged)
{
    EXPECT_EQ(wordsOf({{0, 100, 0}}), MakeWords({2}));
}

TEST_F(CSmallComponentRealCloudTest, Bound_IsInclusive)
{
    EXPECT_EQ(wordsOf({{-2.25F, 0, 0}, {-2.2500002F, 0, 0}}), MakeWords({0, 2}));
}

TEST_F(CSmallComponentRealCloudTest, NearestPoint_Decides)
{
    EXPECT_EQ(wordsOf({{1.5F, 0, 0}, {20.5F, 0, 0}, {10, 1, 0}}), MakeWords({0, 2, 0}));
}

TEST_F(CSmallComponentRealCloudTest, PositionThatIsNotFinite_HasNoNeighborAndIsFlagged)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(wordsOf({{infinity, 0, 0}, {0, -infinity, 0}, {0, 0, notANumber}}),
              MakeWords({2, 2, 2}));
}

}  // namespace
}  // namespace DataLayer
