#include "Base/Interfaces/SyncableEntityMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "Base/Interfaces/ISyncableEntityCollectionModifyOperation.h"
#include "Base/Support/TOptional.h"
#include "Base/Support/VekoException.h"
#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/Selections.h"

namespace Base
{
namespace
{

using TestSupport::CMockGeometricEntity;
using TestSupport::MakeTranslation;

// Batches are gathered by moving messages; a move that may throw would make that a copy.
static_assert(std::is_nothrow_move_constructible_v<CEntityMapModifyMessage>);
static_assert(std::is_nothrow_move_constructible_v<CEntityMapSyncEntry>);
static_assert(!std::is_convertible_v<CEntityMapValue, CEntityMapPartialValue>);
static_assert(std::is_convertible_v<std::vector<CEntityMapSyncEntry>, CEntityMapSyncBatch>);
static_assert(!std::is_copy_constructible_v<DataLayer::ISyncableEntityCollectionModifyOperation>);
static_assert(!std::is_copy_assignable_v<DataLayer::ISyncableEntityCollectionModifyOperation>);
static_assert(std::has_virtual_destructor_v<DataLayer::ISyncableEntityCollectionModifyOperation>);

/// A full record whose members all differ from the default ones.
CEntityMapValue MakeValue()
{
    CEntityMapValue value;
    value.optimizationLevel = 4;
    value.mask = std::make_shared<CSurfelCollectionMask>(std::vector<CSurfelBitMask>{{1}, {2}});
    value.trafo = MakeTranslation(1, 2, 3);
    value.entity = std::make_shared<CMockGeometricEntity>(nullptr);
    value.flag = true;
    value.reserved = 0x123456789ABCDEF0U;
    return value;
}

void ExpectAllPresent(const CEntityMapPartialValue& partial, const CEntityMapValue& value)
{
    EXPECT_EQ(partial.optimizationLevel.GetValue(), value.optimizationLevel);
    EXPECT_EQ(partial.mask.GetValue(), value.mask);
    EXPECT_EQ(partial.trafo.GetValue(), value.trafo);
    EXPECT_EQ(partial.entity.GetValue(), value.entity);
    EXPECT_EQ(partial.flag.GetValue(), value.flag);
}

/// Two records, each with one mask of its own, and who holds the masks.
struct STwoMasks
{
    CEntityMapValue first = MakeValue();
    CEntityMapValue second = MakeValue();
    std::weak_ptr<const CSurfelCollectionMask> firstMask = first.mask;
    std::weak_ptr<const CSurfelCollectionMask> secondMask = second.mask;

    /// Gives up the records' own holds.
    void Release()
    {
        first = CEntityMapValue();
        second = CEntityMapValue();
    }
};

TEST(CEntityMapValueTest, DefaultConstructor_HoldsNothing)
{
    const CEntityMapValue value;
    EXPECT_EQ(value.optimizationLevel, 0);
    EXPECT_EQ(value.mask, nullptr);
    EXPECT_EQ(value.trafo, LqMatrix4Rd());
    EXPECT_EQ(value.entity, nullptr);
    EXPECT_FALSE(value.flag);
    EXPECT_EQ(value.reserved, 0U);
}

TEST(MakeEntityMapValueTest, WholePacket_GivesAllItsParts)
{
    const CEntityMapValue source = MakeValue();
    const CEntityMapValue value = MakeEntityMapValue(
        CGeometricEntityPacket(source.entity, source.trafo, source.mask, 9), false);
    EXPECT_EQ(value.optimizationLevel, 9);
    EXPECT_EQ(value.mask, source.mask);
    EXPECT_EQ(value.trafo, source.trafo);
    EXPECT_EQ(value.entity, source.entity);
    EXPECT_FALSE(value.flag);
    EXPECT_EQ(value.reserved, 0U);
}

TEST(MakeEntityMapValueTest, Flag_IsTheArgument)
{
    EXPECT_TRUE(MakeEntityMapValue(CGeometricEntityPacket(nullptr, 0), true).flag);
}

TEST(MakeEntityMapValueTest, PacketWithoutTrafo_GivesTheInvalidMatrix)
{
    const auto entity = std::make_shared<CMockGeometricEntity>(nullptr);
    const CEntityMapValue value =
        MakeEntityMapValue(CGeometricEntityPacket(entity, 6).WithMask(MakeValue().mask), false);
    EXPECT_TRUE(std::all_of(value.trafo.data(), value.trafo.data() + 16,
                            [](double element) { return std::isnan(element); }));
    EXPECT_EQ(value.entity, entity);
    EXPECT_EQ(value.optimizationLevel, 6);
}

TEST(MakeEntityMapValueTest, PacketWithoutMask_GivesAnEmptyPointer)
{
    const auto entity = std::make_shared<CMockGeometricEntity>(nullptr);
    const CEntityMapValue value = MakeEntityMapValue(
        CGeometricEntityPacket(entity, 6).WithTrafo(MakeTranslation(1, 2, 3)), false);
    EXPECT_EQ(value.mask, nullptr);
    EXPECT_EQ(value.trafo, MakeTranslation(1, 2, 3));
    EXPECT_EQ(value.entity, entity);
    EXPECT_EQ(value.optimizationLevel, 6);
}

TEST(CEntityMapPartialValueTest, DefaultConstructor_HasNothingPresent)
{
    const CEntityMapPartialValue partial;
    EXPECT_FALSE(partial.optimizationLevel.HasValue());
    EXPECT_FALSE(partial.mask.HasValue());
    EXPECT_FALSE(partial.trafo.HasValue());
    EXPECT_FALSE(partial.entity.HasValue());
    EXPECT_FALSE(partial.flag.HasValue());
}

TEST(CEntityMapPartialValueTest, FromValue_HasAllFivePresent)
{
    const CEntityMapValue value = MakeValue();
    ExpectAllPresent(CEntityMapPartialValue(value), value);
}

TEST(CEntityMapPartialValueTest, FromEmptyValue_HasAllFivePresent)
{
    const CEntityMapValue value;
    ExpectAllPresent(CEntityMapPartialValue(value), value);
}

TEST(CEntityMapPartialValueTest, FromMovedValue_TakesTheSharedPointersOver)
{
    const CEntityMapValue value = MakeValue();
    CEntityMapValue moved = value;
    const CEntityMapPartialValue partial(std::move(moved));
    ExpectAllPresent(partial, value);
    EXPECT_EQ(value.mask.use_count(), 2);
    EXPECT_EQ(value.entity.use_count(), 2);
}

TEST(CEntityMapSyncBatchTest, DefaultConstructor_HasNoEntries)
{
    EXPECT_TRUE(CEntityMapSyncBatch().GetEntries().empty());
}

TEST(CEntityMapSyncBatchTest, GetEntries_KeepsTheirOrder)
{
    std::vector<CEntityMapSyncEntry> entries(3);
    entries[1].value.Emplace(MakeValue());
    const std::vector<CEntityMapSyncEntry> expected = entries;
    const CEntityMapSyncBatch batch(std::move(entries));
    ASSERT_EQ(batch.GetEntries().size(), 3U);
    for (std::size_t index = 0; index < 3; ++index)
    {
        EXPECT_EQ(batch.GetEntries()[index].key, expected[index].key);
        EXPECT_EQ(batch.GetEntries()[index].value.HasValue(), index == 1);
    }
    EXPECT_EQ(batch.GetEntries()[1].value.GetValue().entity, expected[1].value.GetValue().entity);
}

TEST(CEntityMapSyncEntryTest, DefaultConstructor_HasNoValueAndAKeyOfItsOwn)
{
    const CEntityMapSyncEntry entry;
    EXPECT_FALSE(entry.value.HasValue());
    EXPECT_NE(entry.key, CEntityMapSyncEntry().key);
}

TEST(CEntityMapModifyBatchTest, DefaultConstructor_HoldsNothing)
{
    const CEntityMapModifyBatch batch;
    EXPECT_TRUE(batch.origin.empty());
    EXPECT_FALSE(batch.flag);
    EXPECT_TRUE(batch.messages.empty());
}

TEST(CEntityMapModifyMessageTest, Kinds_HaveTheirNumbers)
{
    EXPECT_EQ(CEntityMapModifyMessage::FullValue, 0U);
    EXPECT_EQ(CEntityMapModifyMessage::PartialValue, 1U);
    EXPECT_EQ(CEntityMapModifyMessage::Modify, 2U);
    EXPECT_EQ(sizeof(CEntityMapModifyMessage::kind), 4U);
}

TEST(CEntityMapModifyMessageTest, DefaultConstructor_HasTheNilKeyAndAnEmptyFullRecord)
{
    const CEntityMapModifyMessage message;
    EXPECT_EQ(message.kind, CEntityMapModifyMessage::FullValue);
    EXPECT_EQ(message.key, CUniqueID::Nil());
    EXPECT_EQ(message.GetValue().entity, nullptr);
}

TEST(CEntityMapModifyMessageTest, KeyConstructor_HasTheKey)
{
    const CUniqueID key;
    EXPECT_EQ(CEntityMapModifyMessage(key).key, key);
}

TEST(CEntityMapModifyMessageTest, SetValue_CarriesTheFullRecord)
{
    const CEntityMapValue value = MakeValue();
    CEntityMapModifyMessage message;
    message.SetModify({}, {});
    message.SetValue(value);
    EXPECT_EQ(message.kind, CEntityMapModifyMessage::FullValue);
    ExpectAllPresent(CEntityMapPartialValue(message.GetValue()), value);
    EXPECT_EQ(message.GetValue().reserved, value.reserved);
}

TEST(CEntityMapModifyMessageTest, SetPartialValue_CarriesThePartialRecord)
{
    const CEntityMapValue value = MakeValue();
    CEntityMapModifyMessage message;
    message.SetPartialValue(CEntityMapPartialValue(value));
    EXPECT_EQ(message.kind, CEntityMapModifyMessage::PartialValue);
    ExpectAllPresent(message.GetPartialValue(), value);
}

TEST(CEntityMapModifyMessageTest, SetModify_CarriesOldThenNewState)
{
    const CEntityMapValue oldValue = MakeValue();
    const CEntityMapValue newValue = MakeValue();
    CEntityMapModifyMessage message;
    message.SetModify(CEntityMapPartialValue(oldValue), CEntityMapPartialValue(newValue));
    EXPECT_EQ(message.kind, CEntityMapModifyMessage::Modify);
    ExpectAllPresent(message.GetOldState(), oldValue);
    ExpectAllPresent(message.GetNewState(), newValue);
}

TEST(CEntityMapModifyMessageTest, SetModify_FromItsOwnStatesSwapsThem)
{
    const CEntityMapValue oldValue = MakeValue();
    const CEntityMapValue newValue = MakeValue();
    CEntityMapModifyMessage message;
    message.SetModify(CEntityMapPartialValue(oldValue), CEntityMapPartialValue(newValue));
    message.SetModify(message.GetNewState(), message.GetOldState());
    ExpectAllPresent(message.GetOldState(), newValue);
    ExpectAllPresent(message.GetNewState(), oldValue);
}

TEST(CEntityMapModifyMessageTest, ReadingAnotherKind_Throws)
{
    CEntityMapModifyMessage message;
    EXPECT_THROW(static_cast<void>(message.GetPartialValue()), VekoException);
    EXPECT_THROW(static_cast<void>(message.GetOldState()), VekoException);
    EXPECT_THROW(static_cast<void>(message.GetNewState()), VekoException);
    message.SetPartialValue({});
    EXPECT_THROW(static_cast<void>(message.GetValue()), VekoException);
    EXPECT_THROW(static_cast<void>(message.GetOldState()), VekoException);
    message.SetModify({}, {});
    EXPECT_THROW(static_cast<void>(message.GetValue()), VekoException);
    EXPECT_THROW(static_cast<void>(message.GetPartialValue()), VekoException);
}

TEST(CEntityMapModifyMessageTest, CopiedModify_HoldsBothRecordsUntilItIsDestroyed)
{
    STwoMasks masks;
    auto original = std::make_unique<CEntityMapModifyMessage>();
    original->SetModify(CEntityMapPartialValue(masks.first), CEntityMapPartialValue(masks.second));
    auto copy = std::make_unique<CEntityMapModifyMessage>(*original);
    masks.Release();
    EXPECT_EQ(masks.firstMask.use_count(), 2);
    EXPECT_EQ(masks.secondMask.use_count(), 2);
    original.reset();
    EXPECT_EQ(masks.firstMask.use_count(), 1);
    EXPECT_EQ(masks.secondMask.use_count(), 1);
    copy.reset();
    EXPECT_TRUE(masks.firstMask.expired());
    EXPECT_TRUE(masks.secondMask.expired());
}

TEST(CEntityMapModifyMessageTest, CopiedFullValue_HoldsItsRecordUntilItIsDestroyed)
{
    STwoMasks masks;
    auto original = std::make_unique<CEntityMapModifyMessage>();
    original->SetValue(masks.first);
    auto copy = std::make_unique<CEntityMapModifyMessage>(*original);
    masks.Release();
    EXPECT_EQ(masks.firstMask.use_count(), 2);
    original.reset();
    EXPECT_EQ(copy->GetValue().mask, masks.firstMask.lock());
    copy.reset();
    EXPECT_TRUE(masks.firstMask.expired());
}

TEST(CEntityMapModifyMessageTest, CopiedPartialValue_HoldsItsRecordUntilItIsDestroyed)
{
    STwoMasks masks;
    auto original = std::make_unique<CEntityMapModifyMessage>();
    original->SetPartialValue(CEntityMapPartialValue(masks.first));
    auto copy = std::make_unique<CEntityMapModifyMessage>(*original);
    masks.Release();
    EXPECT_EQ(masks.firstMask.use_count(), 2);
    original.reset();
    EXPECT_EQ(copy->GetPartialValue().mask.GetValue(), masks.firstMask.lock());
    copy.reset();
    EXPECT_TRUE(masks.firstMask.expired());
}

TEST(CEntityMapModifyMessageTest, Assignment_ReleasesWhatAnotherKindHeld)
{
    STwoMasks masks;
    CEntityMapModifyMessage target;
    target.SetModify(CEntityMapPartialValue(masks.first), CEntityMapPartialValue(masks.second));
    masks.Release();
    CEntityMapModifyMessage source;
    const CEntityMapValue value = MakeValue();
    source.SetValue(value);
    target = source;
    EXPECT_TRUE(masks.firstMask.expired());
    EXPECT_TRUE(masks.secondMask.expired());
    EXPECT_EQ(target.kind, CEntityMapModifyMessage::FullValue);
    EXPECT_EQ(target.key, source.key);
    EXPECT_EQ(target.GetValue().mask, value.mask);
}

TEST(CEntityMapModifyMessageTest, MovedFrom_CopiesAndDestroysByItsKind)
{
    STwoMasks masks;
    CEntityMapModifyMessage original;
    original.SetModify(CEntityMapPartialValue(masks.first), CEntityMapPartialValue(masks.second));
    masks.Release();
    auto target = std::make_unique<CEntityMapModifyMessage>(std::move(original));
    // Reading and copying what was moved from is what this is about.
    const CEntityMapModifyMessage copyOfMovedFrom(original);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(copyOfMovedFrom.kind, CEntityMapModifyMessage::Modify);
    EXPECT_EQ(copyOfMovedFrom.GetOldState().mask.GetValue(), nullptr);
    EXPECT_EQ(copyOfMovedFrom.GetNewState().mask.GetValue(), nullptr);
    EXPECT_EQ(masks.firstMask.use_count(), 1);
    target.reset();
    EXPECT_TRUE(masks.firstMask.expired());
    EXPECT_TRUE(masks.secondMask.expired());
}

TEST(CEntityMapModifyMessageTest, GrowingBatch_MovesMessagesOfAllKinds)
{
    const CEntityMapValue value = MakeValue();
    CEntityMapModifyBatch batch;
    for (unsigned index = 0; index < 100; ++index)
    {
        CEntityMapModifyMessage message;
        switch (index % 3)
        {
            case 0:
                message.SetValue(value);
                break;
            case 1:
                message.SetPartialValue(CEntityMapPartialValue(value));
                break;
            default:
                message.SetModify(CEntityMapPartialValue(value), CEntityMapPartialValue());
        }
        batch.messages.push_back(std::move(message));
    }
    EXPECT_EQ(value.mask.use_count(), 101);
    for (unsigned index = 0; index < 100; ++index)
    {
        EXPECT_EQ(batch.messages[index].kind, index % 3);
    }
    batch.messages.clear();
    EXPECT_EQ(value.mask.use_count(), 1);
}

TEST(ISyncableEntityCollectionModifyOperationTest, DestroyedThroughTheInterface)
{
    class COperation : public DataLayer::ISyncableEntityCollectionModifyOperation
    {
    public:
        explicit COperation(std::shared_ptr<int> held) : m_held(std::move(held)) {}
        [[nodiscard]] CEntityMapModifyBatch ComputeModifications(
            const CEntityMapSyncBatch& /*syncBatch*/) const override
        {
            return {};
        }

    private:
        std::shared_ptr<int> m_held;
    };
    const auto held = std::make_shared<int>(0);
    std::unique_ptr<DataLayer::ISyncableEntityCollectionModifyOperation> operation =
        std::make_unique<COperation>(held);
    EXPECT_EQ(held.use_count(), 2);
    operation.reset();
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace Base
