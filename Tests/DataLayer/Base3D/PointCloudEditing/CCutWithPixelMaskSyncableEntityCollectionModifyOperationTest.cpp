#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Base/Support/VekoException.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CutOperationTest.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/Support/CLogCapture.h"
#include "Tests/Support/ConcurrentCallers.h"
#include "Tests/Support/MockTags.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Operation = CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
using Peer = CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer;
using Message = Base::CEntityMapModifyMessage;

static_assert(std::is_base_of_v<ISyncableEntityCollectionModifyOperation, Operation>);
static_assert(!std::is_copy_constructible_v<Operation> && !std::is_copy_assignable_v<Operation>);
static_assert(!std::is_move_constructible_v<Operation> && !std::is_move_assignable_v<Operation>);

TEST_F(CutOperationTest, Constructor_SharesTheSelectionUntilDestroyed)
{
    const auto selection = MakeCutSelection();
    {
        const Operation operation(selection, c_matIdentityD);
        EXPECT_EQ(selection.use_count(), 2);
    }
    EXPECT_EQ(selection.use_count(), 1);
}

TEST_F(CutOperationTest, Constructor_StartsWithNoModifiedPackets)
{
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 0U);
}

TEST_F(CutOperationTest, Members_LieInTheOrderOfTheContract)
{
    const Peer::SOffsets offsets = Peer::GetOffsets(m_operation);
    EXPECT_EQ(offsets.regionSelection, 8);
    EXPECT_EQ(offsets.matrix, 32);
    EXPECT_EQ(offsets.numModifiedPackets, 160);
}

TEST_F(CutOperationTest, EmptyBatch_GivesOriginFalseFlagAndNoMessages)
{
    const Base::CEntityMapModifyBatch batch = m_operation.ComputeModifications(MakeBatch());
    EXPECT_EQ(batch.origin, L"CCutWithPixelMaskSyncableEntityCollectionModifyOperation");
    EXPECT_EQ(batch.origin.size(), 56U);
    EXPECT_FALSE(batch.flag);
    EXPECT_THAT(batch.messages, IsEmpty());
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 0U);
}

TEST_F(CutOperationTest, ChangedBatch_GivesOriginAndFalseFlag)
{
    const Base::CEntityMapModifyBatch batch =
        m_operation.ComputeModifications(MakeBatch(MakeEntry(m_cut.entity)));
    EXPECT_EQ(batch.origin, L"CCutWithPixelMaskSyncableEntityCollectionModifyOperation");
    EXPECT_FALSE(batch.flag);
}

TEST_F(CutOperationTest, NothingCutOrFrozen_GivesNoMessages)
{
    EXPECT_THAT(messagesOf(MakeBatch(MakeEntry(m_missed.entity, m_noFlags),
                                     MakeEntry(nullptr, m_noFlags), MakeEntry(m_missed.entity))),
                IsEmpty());
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 0U);
}

TEST_F(CutOperationTest, OneChanged_GivesAMessageForEveryEntryInTheirOrder)
{
    std::vector<Base::CEntityMapSyncEntry> entries(100);
    for (auto& entry : entries)
    {
        entry = MakeEntry(m_missed.entity);
    }
    entries[42] = MakeEntry(m_cut.entity);
    const std::vector<Message> messages = messagesOf(Base::CEntityMapSyncBatch(entries));
    ASSERT_EQ(messages.size(), 100U);
    for (std::size_t index = 0; index < 100; ++index)
    {
        EXPECT_EQ(messages[index].kind, Message::Modify);
        EXPECT_EQ(messages[index].key, entries[index].key);
        EXPECT_EQ(messages[index].GetNewState().mask.GetValue() != nullptr, index == 42);
    }
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 1U);
}

TEST_F(CutOperationTest, OldState_IsTheEntrysValueWithAllFiveMembers)
{
    Base::CEntityMapSyncEntry entry =
        MakeEntry(m_cut.entity, m_noFlags, MakeTranslation(0.25, 0.0, 0.0));
    entry.value.GetValue().optimizationLevel = 3;
    entry.value.GetValue().flag = true;
    const std::vector<Message> messages = messagesOf(MakeBatch(entry));
    ASSERT_EQ(messages.size(), 1U);
    const Base::CEntityMapPartialValue& oldState = messages[0].GetOldState();
    EXPECT_EQ(oldState.optimizationLevel.GetValue(), 3);
    EXPECT_EQ(oldState.mask.GetValue(), m_noFlags);
    EXPECT_EQ(oldState.trafo.GetValue(), MakeTranslation(0.25, 0.0, 0.0));
    EXPECT_EQ(oldState.entity.GetValue(), m_cut.entity);
    EXPECT_TRUE(oldState.flag.GetValue());
}

TEST_F(CutOperationTest, NewStateOfChangedEntry_IsItsValueWithTheNewMaskAndAFalseFlag)
{
    Base::CEntityMapSyncEntry entry =
        MakeEntry(m_cut.entity, m_noFlags, MakeTranslation(0.25, 0.0, 0.0));
    entry.value.GetValue().optimizationLevel = 3;
    entry.value.GetValue().flag = true;
    const std::vector<Message> messages = messagesOf(MakeBatch(entry));
    ASSERT_EQ(messages.size(), 1U);
    const Base::CEntityMapPartialValue& newState = messages[0].GetNewState();
    EXPECT_EQ(newState.optimizationLevel.GetValue(), 3);
    EXPECT_EQ(WordsOf(newState.mask.GetValue()), MakeWords({8}));
    EXPECT_EQ(newState.trafo.GetValue(), MakeTranslation(0.25, 0.0, 0.0));
    EXPECT_EQ(newState.entity.GetValue(), m_cut.entity);
    EXPECT_FALSE(newState.flag.GetValue());
}

TEST_F(CutOperationTest, NewStateOfUnchangedEntry_IsItsValueWithAFalseFlag)
{
    Base::CEntityMapSyncEntry entry =
        MakeEntry(m_missed.entity, m_noFlags, MakeTranslation(0.25, 0.0, 0.0));
    entry.value.GetValue().optimizationLevel = 3;
    entry.value.GetValue().flag = true;
    const std::vector<Message> messages = messagesOf(MakeBatch(entry, MakeEntry(m_cut.entity)));
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_TRUE(messages[0].GetOldState().flag.GetValue());
    const Base::CEntityMapPartialValue& newState = messages[0].GetNewState();
    EXPECT_EQ(newState.optimizationLevel.GetValue(), 3);
    EXPECT_EQ(newState.mask.GetValue(), m_noFlags);
    EXPECT_EQ(newState.trafo.GetValue(), MakeTranslation(0.25, 0.0, 0.0));
    EXPECT_EQ(newState.entity.GetValue(), m_missed.entity);
    EXPECT_FALSE(newState.flag.GetValue());
}

TEST_F(CutOperationTest, UnchangedEntryWithoutMask_HasAPresentEmptyMaskOnBothSides)
{
    const std::vector<Message> messages =
        messagesOf(MakeBatch(MakeEntry(m_missed.entity), MakeEntry(m_cut.entity)));
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].GetOldState().mask.GetValue(), nullptr);
    EXPECT_EQ(messages[0].GetNewState().mask.GetValue(), nullptr);
}

TEST_F(CutOperationTest, Batch_IsLeftAsItWas)
{
    const Base::CEntityMapSyncBatch batch = MakeBatch(MakeEntry(m_cut.entity, m_outlier));
    static_cast<void>(messagesOf(batch));
    EXPECT_EQ(batch.GetEntries().front().value.GetValue().mask, m_outlier);
    EXPECT_EQ(batch.GetEntries().front().value.GetValue().entity, m_cut.entity);
    EXPECT_EQ(WordsOf(m_outlier), MakeWords({1}));
}

TEST_F(CutOperationTest, BatchReplacedDuringTheCall_IsCutAsItWas)
{
    Base::CEntityMapSyncBatch batch =
        MakeBatch(MakeEntry(m_missed.entity), MakeEntry(m_cut.entity));
    m_missed.entity->onGetSurfelCollection = [&](bool) { batch = MakeBatch(); };
    EXPECT_EQ(messagesOf(batch).size(), 2U);
}

TEST_F(CutOperationTest, SharedMask_GivesEachChangedEntryANewOne)
{
    const std::vector<Message> messages =
        messagesOf(MakeBatch(MakeEntry(m_cut.entity, m_outlier), MakeEntry(nullptr, m_outlier)));
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(WordsOf(messages[0].GetNewState().mask.GetValue()), MakeWords({0x0109}));
    EXPECT_EQ(WordsOf(messages[1].GetNewState().mask.GetValue()), MakeWords({0x0101}));
    EXPECT_EQ(WordsOf(m_outlier), MakeWords({1}));
}

TEST_F(CutOperationTest, CutAndFrozenEntry_CountsOnce)
{
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity, m_outlier))));
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 1U);
}

TEST_F(CutOperationTest, TwoCallsOfThreeChanges_CountSix)
{
    const Base::CEntityMapSyncBatch batch =
        MakeBatch(MakeEntry(m_cut.entity), MakeEntry(nullptr, m_outlier),
                  MakeEntry(m_missed.entity), MakeEntry(m_cut.entity, m_outlier));
    static_cast<void>(messagesOf(batch));
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 3U);
    static_cast<void>(messagesOf(batch));
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 6U);
}

TEST_F(CutOperationTest, ConcurrentCalls_GiveTheSameAndAddUp)
{
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (int index = 0; index < 50; ++index)
    {
        entries.push_back(MakeEntry(m_cut.entity, m_outlier));
        entries.push_back(MakeEntry(m_missed.entity, m_noFlags));
    }
    const Base::CEntityMapSyncBatch batch(entries);
    constexpr unsigned numCalls = 5;
    std::vector<std::size_t> numCutWords(c_numCallers);
    RunCallers([&](std::size_t caller) {
        for (unsigned call = 0; call < numCalls; ++call)
        {
            for (const Message& message : messagesOf(batch))
            {
                const auto& mask = message.GetNewState().mask.GetValue();
                numCutWords[caller] += WordsOf(mask).front().bits == 0x0109 ? 1 : 0;
            }
        }
    });
    EXPECT_THAT(numCutWords, testing::Each(50 * numCalls));
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 50 * numCalls * c_numCallers);
}

TEST_F(CutOperationTest, SkeletonEntity_IsNotCut)
{
    m_cut.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(1);
    EXPECT_THAT(messagesOf(MakeBatch(MakeEntry(m_cut.entity, m_noFlags))), IsEmpty());
}

TEST_F(CutOperationTest, SkeletonEntity_IsFrozenWhichCounts)
{
    m_cut.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(1);
    EXPECT_EQ(newWordsOf(MakeEntry(m_cut.entity, m_outlier)), MakeWords({0x0101}));
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 1U);
}

TEST_F(CutOperationTest, SkeletonTag_AnyAnswerButZeroIsASkeleton)
{
    for (const std::int32_t answer : {-1, 2, 0x10000, INT32_MIN})
    {
        m_cut.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(answer);
        EXPECT_THAT(messagesOf(MakeBatch(MakeEntry(m_cut.entity))), IsEmpty()) << answer;
    }
}

TEST_F(CutOperationTest, SkeletonTagThatSaysZero_IsCut)
{
    m_cut.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(0);
    EXPECT_EQ(newWordsOf(MakeEntry(m_cut.entity)), MakeWords({8}));
}

TEST_F(CutOperationTest, TagOfAnotherKind_IsNone)
{
    m_cut.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockOtherTag>();
    EXPECT_EQ(newWordsOf(MakeEntry(m_cut.entity)), MakeWords({8}));
}

TEST_F(CutOperationTest, SkeletonTagUnderAnotherName_IsNone)
{
    m_cut.entity->tags["ISkeletonEntity"] = std::make_shared<CMockSkeletonTag>(1);
    EXPECT_EQ(newWordsOf(MakeEntry(m_cut.entity)), MakeWords({8}));
}

TEST_F(CutOperationTest, MissedEntity_IsNotAskedForItsTag)
{
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_missed.entity))));
    EXPECT_EQ(m_missed.entity->numFindTagCalls, 0U);
}

TEST_F(CutOperationTest, MissedEntity_IsFrozen)
{
    EXPECT_EQ(newWordsOf(MakeEntry(m_missed.entity, m_outlier)), MakeWords({0x0101}));
}

TEST_F(CutOperationTest, EntityUnderThePaintWithNothingToCut_IsFrozenOnly)
{
    // Around the view, so that its box is not missed.
    const SMockEntity around({{-3.0F, -3.0F, 0.0F}, {3.0F, 3.0F, 1.0F}});
    EXPECT_EQ(newWordsOf(MakeEntry(around.entity, MakeSurfelMask(MakeWords({4, 0})))),
              MakeWords({0x0104, 0}));
    EXPECT_EQ(around.collection->numGetElementAccessCalls, 1U);
}

TEST_F(CutOperationTest, MissedEntityWithoutPositions_DoesNotThrow)
{
    m_missed.collection->SetPositionAccess(nullptr);
    EXPECT_NO_THROW(static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_missed.entity)))));
}

TEST_F(CutOperationTest, CutEntityWithoutPositions_Throws)
{
    m_cut.collection->SetPositionAccess(nullptr);
    EXPECT_THROW(static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity)))), VekoException);
}

TEST_F(CutOperationTest, MissingEntity_IsFrozenOnly)
{
    EXPECT_EQ(newWordsOf(MakeEntry(nullptr, m_outlier)), MakeWords({0x0101}));
}

TEST_F(CutOperationTest, Entity_IsAskedInTheOrderOfTheDecisions)
{
    const CLogCapture log(Logging::c_levelDebug);
    std::vector<std::string> calls;
    const auto tag = std::make_shared<CMockSkeletonTag>(0);
    m_cut.entity->tags["ISkeletonEntityTag"] = tag;
    m_cut.entity->onGetSurfelCollection = [&](bool forEditing) {
        calls.push_back(std::to_string(log.GetRecords().size()) + " message, collection " +
                        (forEditing ? "true" : "false"));
    };
    m_cut.entity->onFindTag = [&](const std::string& name) { calls.push_back(name); };
    tag->onIsSkeletonEntity = [&] { calls.emplace_back("answer"); };
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity))));
    EXPECT_THAT(calls, ElementsAre("1 message, collection false", "ISkeletonEntityTag", "answer",
                                   "1 message, collection true"));
}

TEST_F(CutOperationTest, MissedEntity_IsAskedForItsCollectionWithFalseOnly)
{
    std::vector<bool> arguments;
    m_missed.entity->onGetSurfelCollection = [&](bool forEditing) {
        arguments.push_back(forEditing);
    };
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_missed.entity, m_outlier))));
    EXPECT_THAT(arguments, ElementsAre(false));
}

TEST_F(CutOperationTest, SkeletonEntity_IsAskedForItsCollectionWithFalseOnly)
{
    std::vector<bool> arguments;
    m_cut.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(1);
    m_cut.entity->onGetSurfelCollection = [&](bool forEditing) { arguments.push_back(forEditing); };
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity))));
    EXPECT_THAT(arguments, ElementsAre(false));
}

TEST_F(CutOperationTest, SingleEntry_IsCutOnTheCallingThread)
{
    std::thread::id thread;
    m_cut.entity->onGetSurfelCollection = [&](bool) { thread = std::this_thread::get_id(); };
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity))));
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(CutOperationTest, EntryWithoutValue_ThrowsAndCountsNothing)
{
    const Base::CEntityMapSyncBatch batch = MakeBatch(
        MakeEntry(m_cut.entity), Base::CEntityMapSyncEntry(), MakeEntry(nullptr, m_outlier));
    EXPECT_THROW(static_cast<void>(messagesOf(batch)), ScanAPI::BadOptionalAccessException);
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 0U);
}

TEST_F(CutOperationTest, EntryWithoutValue_IsNotLogged)
{
    const CLogCapture log(Logging::c_levelDebug);
    EXPECT_THROW(static_cast<void>(messagesOf(MakeBatch(Base::CEntityMapSyncEntry()))),
                 ScanAPI::BadOptionalAccessException);
    EXPECT_THAT(log.GetRecords(), IsEmpty());
}

TEST_F(CutOperationTest, ThrowingEntity_LeavesTheCountOfEarlierCalls)
{
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity))));
    SMockEntity throwing({c_inside});
    throwing.entity->onGetSurfelCollection = [](bool forEditing) {
        if (forEditing)
        {
            throw std::runtime_error("The surfels are gone.");
        }
    };
    try
    {
        static_cast<void>(
            messagesOf(MakeBatch(MakeEntry(m_cut.entity), MakeEntry(throwing.entity))));
        FAIL() << "nothing thrown";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ(error.what(), "The surfels are gone.");
    }
    EXPECT_EQ(m_operation.GetNumModifiedPackets(), 1U);
}

TEST_F(CutOperationTest, DebugLine_TellsTheEntityAndItsPlace)
{
    const CLogCapture log(Logging::c_levelDebug);
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_missed.entity))));
    const std::vector<Logging::SLogRecord> records = log.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].category,
              L"Veko2.CCutWithPixelMaskSyncableEntityCollectionModifyOperation");
    EXPECT_EQ(records[0].level, Logging::c_levelDebug);
    EXPECT_EQ(records[0].file,
              "DataLayer/Base3D/PointCloudEditing/"
              "CCutWithPixelMaskSyncableEntityCollectionModifyOperation");
    EXPECT_EQ(records[0].line, 62);
    EXPECT_EQ(records[0].function,
              "DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation::CutPacketTask");
    EXPECT_EQ(records[0].message, L"Cutting Entity " + m_missed.entity->id.AsString());
}

TEST_F(CutOperationTest, DebugLineOfMissingEntity_HasTheNilIdentity)
{
    const CLogCapture log(Logging::c_levelDebug);
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(nullptr, m_noFlags))));
    const std::vector<Logging::SLogRecord> records = log.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, L"Cutting Entity 00000000-0000-0000-0000-000000000000");
}

TEST_F(CutOperationTest, DebugLine_IsWrittenForEveryEntry)
{
    const CLogCapture log(Logging::c_levelDebug);
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity), MakeEntry(m_missed.entity),
                                           MakeEntry(nullptr, m_noFlags))));
    EXPECT_EQ(log.GetRecords().size(), 3U);
}

TEST_F(CutOperationTest, DebugDisabled_AsksForNoIdentity)
{
    const CLogCapture log(Logging::c_levelInfo);
    static_cast<void>(messagesOf(MakeBatch(MakeEntry(m_cut.entity))));
    EXPECT_THAT(log.GetRecords(), IsEmpty());
    EXPECT_EQ(m_cut.entity->numGetIDCalls, 0U);
}

TEST_F(CutOperationTest, TrafoActsBeforeTheMatrix)
{
    // (1, 0) scaled to (0.25, 0) and then moved to (-0.25, 0) lands on column 3; moved first and
    // then scaled it lands on column 4.
    const SMockEntity entity({{1.0F, 0.0F, 0.5F}});
    const Operation operation(MakeDeviceSelection(c_cutViewSize, c_cutViewSize, {{3, 4}}),
                              MakeTranslation(-0.5, 0.0, 0.0));
    static_cast<void>(operation.ComputeModifications(
        MakeBatch(MakeEntry(entity.entity, nullptr, MakeScale(0.25, 1.0, 1.0)))));
    EXPECT_EQ(operation.GetNumModifiedPackets(), 1U);
}

TEST_F(CutOperationTest, TrafoAndMatrix_AreCombinedInDouble)
{
    // Each translation alone loses its last quarter in float; together they move by 0.25.
    const Operation operation(MakeDeviceSelection(c_cutViewSize, c_cutViewSize, {{5, 4}}),
                              MakeTranslation(0.25 - 1.0e9, 0.0, 0.0));
    static_cast<void>(operation.ComputeModifications(
        MakeBatch(MakeEntry(m_cut.entity, nullptr, MakeTranslation(1.0e9, 0.0, 0.0)))));
    EXPECT_EQ(operation.GetNumModifiedPackets(), 1U);
}

TEST_F(CutOperationTest, EntryWithInvalidTrafo_IsFrozenOnly)
{
    EXPECT_EQ(newWordsOf(MakeEntry(m_cut.entity, m_outlier, c_matInvalidD)), MakeWords({0x0101}));
}

}  // namespace
}  // namespace DataLayer
