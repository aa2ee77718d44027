// Operations on the entity map that several threads share, for some of which an entity throws.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CutOperationTest.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using Message = Base::CEntityMapModifyMessage;

constexpr std::size_t c_numRounds = 10;
constexpr std::size_t c_numEntries = 50;

/// Whether every entry of a batch has become \p words.
bool HaveAll(const std::vector<Message>& messages, const Words& words)
{
    return messages.size() == c_numEntries &&
           std::all_of(messages.begin(), messages.end(), [&](const Message& message) {
               return WordsOf(message.GetNewState().mask.GetValue()) == words;
           });
}

/// An entity that throws what its caller has to get when it is asked for its surfels.
std::shared_ptr<CMockGeometricEntity> MakeThrowingEntity(const LqVector3f& position,
                                                         std::size_t caller)
{
    const SMockEntity throwing({position});
    throwing.entity->onGetSurfelCollection = [caller](bool) { throw CCallerFault(caller); };
    return throwing.entity;
}

/// Entries of \p entity for each caller; for a throwing one, an entity that throws is among them.
std::vector<std::vector<Base::CEntityMapSyncEntry>> MakeBatches(
    const SMockEntity& entity, const std::shared_ptr<const Base::CSurfelCollectionMask>& mask)
{
    std::vector<std::vector<Base::CEntityMapSyncEntry>> batches(c_numCallers);
    for (std::size_t caller = 0; caller < c_numCallers; ++caller)
    {
        for (std::size_t index = 0; index < c_numEntries; ++index)
        {
            const bool isThrowing = IsThrowingCaller(caller) && index == caller * 7 % c_numEntries;
            batches[caller].push_back(
                isThrowing
                    ? MakeEntry(MakeThrowingEntity(entity.collection->GetPosition(0), caller), mask)
                    : MakeEntry(entity.entity, mask));
        }
    }
    return batches;
}

TEST_F(CutOperationTest, ConcurrentCallsSomeThatThrow_OthersAreRightAndAddUp)
{
    const auto batches = MakeBatches(m_cut, m_outlier);
    for (std::size_t round = 0; round < c_numRounds; ++round)
    {
        ExpectEverySecondGetsItsFault([&](std::size_t caller) {
            return HaveAll(messagesOf(Base::CEntityMapSyncBatch(batches[caller])),
                           MakeWords({0x0109}));
        });
    }
    EXPECT_EQ(m_operation.GetNumModifiedPackets(),
              c_numEntries * c_numRounds * c_numCallsPerCaller * c_numCallers / 2);
}

TEST(SmallComponentOperationThreads, ConcurrentCallsSomeThatThrow_OthersAreRight)
{
    const SMockEntity entity({{0, 0, 0}, {20, 0, 0}});
    const auto content = MakeFuserContent({{0, 0, 0}}, {{10, 0, 0}, {20, 0, 0}});
    const auto batches = MakeBatches(entity, nullptr);
    for (const auto& batch : batches)
    {
        for (const Base::CEntityMapSyncEntry& entry : batch)
        {
            AddToFuser(*content, entry.key, entry.value.GetValue().entity);
        }
    }
    for (std::size_t round = 0; round < c_numRounds; ++round)
    {
        // Anew, since it keeps what it has found out about its points.
        std::shared_ptr<const SFuserContent> known = content;
        const CSmallComponentModifyOperation operation(known);
        ExpectEverySecondGetsItsFault([&](std::size_t caller) {
            const Base::CEntityMapSyncBatch batch(batches[caller]);
            return HaveAll(operation.ComputeModifications(batch).messages, MakeWords({0, 2}));
        });
    }
}

}  // namespace
}  // namespace DataLayer
