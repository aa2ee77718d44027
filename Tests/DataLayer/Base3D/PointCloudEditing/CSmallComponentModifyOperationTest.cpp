#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Support/VekoException.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/Support/CLogCapture.h"
#include "Tests/Support/ConcurrentCallers.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Operation = CSmallComponentModifyOperation;
using Peer = CSmallComponentModifyOperationTestPeer;
using ContentPointer = std::shared_ptr<const SFuserContent>;
using Message = Base::CEntityMapModifyMessage;

/// Beside a main point.
constexpr LqVector3f c_main{0, 0, 0};
/// Beside a small component's point.
constexpr LqVector3f c_small{20, 0, 0};

/// A fuser that knows a main body at the origin, and small components at x = 10 (whose first point
/// counts as main body) and x = 20.
class SmallComponentOperationTest : public ::testing::Test
{
protected:
    std::shared_ptr<SFuserContent> m_content =
        MakeFuserContent({{0, 0, 0}}, {{10, 0, 0}, {20, 0, 0}});

    /// Entities that change when they have no flags, and that do not.
    SMockEntity m_changed{{c_main, c_small}};
    SMockEntity m_unchanged{{c_main}};

    /// An entry of \p entity that the fuser knows.
    Base::CEntityMapSyncEntry makeKnownEntry(
        const SMockEntity& entity,
        const std::shared_ptr<const Base::CSurfelCollectionMask>& mask = nullptr,
        const LqMatrix4Rd& fuserTrafo = c_matIdentityD)
    {
        Base::CEntityMapSyncEntry entry = MakeEntry(entity.entity, mask);
        AddToFuser(*m_content, entry.key, entity.entity, fuserTrafo);
        return entry;
    }

    [[nodiscard]] Base::CEntityMapModifyBatch compute(const Base::CEntityMapSyncBatch& batch) const
    {
        ContentPointer content = m_content;
        return Operation(content).ComputeModifications(batch);
    }

    template <typename... Entries>
    [[nodiscard]] std::vector<Message> messagesOf(const Entries&... entries) const
    {
        return compute(MakeBatch(entries...)).messages;
    }
};

TEST_F(SmallComponentOperationTest, EmptyBatch_GivesOriginFalseFlagAndNoMessages)
{
    const Base::CEntityMapModifyBatch batch = compute(MakeBatch());
    EXPECT_EQ(batch.origin, L"CSmallComponentModifyOperation");
    EXPECT_EQ(batch.origin.size(), 30U);
    EXPECT_FALSE(batch.flag);
    EXPECT_THAT(batch.messages, IsEmpty());
}

TEST_F(SmallComponentOperationTest, ChangedBatch_GivesOriginAndFalseFlag)
{
    const Base::CEntityMapModifyBatch batch = compute(MakeBatch(makeKnownEntry(m_changed)));
    EXPECT_EQ(batch.origin, L"CSmallComponentModifyOperation");
    EXPECT_FALSE(batch.flag);
    EXPECT_EQ(batch.messages.size(), 1U);
}

TEST_F(SmallComponentOperationTest, ChangedEntry_GivesItsEntityItsNewMaskAndATrueFlagOnly)
{
    const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_changed);
    const std::vector<Message> messages = messagesOf(entry);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].kind, Message::Modify);
    EXPECT_EQ(messages[0].key, entry.key);

    const Base::CEntityMapPartialValue& oldState = messages[0].GetOldState();
    EXPECT_EQ(oldState.entity.GetValue(), m_changed.entity);
    EXPECT_FALSE(oldState.optimizationLevel.HasValue());
    EXPECT_FALSE(oldState.mask.HasValue());
    EXPECT_FALSE(oldState.trafo.HasValue());
    EXPECT_FALSE(oldState.flag.HasValue());

    const Base::CEntityMapPartialValue& newState = messages[0].GetNewState();
    EXPECT_EQ(WordsOf(newState.mask.GetValue()), MakeWords({0, 2}));
    EXPECT_TRUE(newState.flag.GetValue());
    EXPECT_FALSE(newState.optimizationLevel.HasValue());
    EXPECT_FALSE(newState.trafo.HasValue());
    EXPECT_FALSE(newState.entity.HasValue());
}

TEST_F(SmallComponentOperationTest, UnchangedEntries_GiveNoMessageAndTheOthersTheirs)
{
    const Base::CEntityMapSyncEntry first = makeKnownEntry(m_changed);
    const Base::CEntityMapSyncEntry second = makeKnownEntry(m_unchanged);
    const Base::CEntityMapSyncEntry third =
        makeKnownEntry(m_changed, MakeSurfelMask(MakeWords({2, 0})));
    const std::vector<Message> messages = messagesOf(first, second, third);
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].key, first.key);
    EXPECT_EQ(messages[1].key, third.key);
}

TEST_F(SmallComponentOperationTest, NoSmallPoints_ReadNothing)
{
    m_content->smallComponentBlocks.clear();
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), Base::CEntityMapSyncEntry()), IsEmpty());
    EXPECT_EQ(m_changed.entity->numGetSurfelCollectionCalls, 0U);
    EXPECT_EQ(m_changed.entity->numGetIDCalls, 0U);
}

TEST_F(SmallComponentOperationTest, NoSmallPoints_LeaveStaleFlags)
{
    m_content->smallComponentBlocks.clear();
    EXPECT_THAT(messagesOf(makeKnownEntry(m_unchanged, MakeSurfelMask(MakeWords({2})))), IsEmpty());
}

TEST_F(SmallComponentOperationTest, NoMainPoints_ReadNothing)
{
    m_content->mainComponentBlocks.clear();
    Base::CEntityMapSyncEntry withoutValue;
    AddToFuser(*m_content, withoutValue.key, m_changed.entity);
    const Base::CEntityMapModifyBatch batch =
        compute(MakeBatch(makeKnownEntry(m_changed), withoutValue));
    EXPECT_EQ(batch.origin, L"CSmallComponentModifyOperation");
    EXPECT_THAT(batch.messages, IsEmpty());
    EXPECT_EQ(m_changed.entity->numGetSurfelCollectionCalls, 0U);
}

TEST_F(SmallComponentOperationTest, NoContent_ReadsNothing)
{
    m_content = nullptr;
    const Base::CEntityMapModifyBatch batch = compute(MakeBatch(Base::CEntityMapSyncEntry()));
    EXPECT_EQ(batch.origin, L"CSmallComponentModifyOperation");
    EXPECT_THAT(batch.messages, IsEmpty());
}

TEST_F(SmallComponentOperationTest, ContentTakenAwayWithTheCloudLeft_ReadsNothing)
{
    ContentPointer content = m_content;
    Operation operation(content);
    Peer::SetContent(operation, nullptr);
    EXPECT_THAT(operation.ComputeModifications(MakeBatch(Base::CEntityMapSyncEntry())).messages,
                IsEmpty());
}

TEST_F(SmallComponentOperationTest, CloudTakenAwayWithTheCountLeft_ReadsNothing)
{
    const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_changed);
    ContentPointer content = m_content;
    Operation operation(content);
    Peer::SetCloud(operation, nullptr, 1);
    EXPECT_THAT(operation.ComputeModifications(MakeBatch(entry)).messages, IsEmpty());
}

TEST_F(SmallComponentOperationTest, UnknownKey_DiscardsEarlierMessages)
{
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), MakeEntry(m_changed.entity)), IsEmpty());
}

TEST_F(SmallComponentOperationTest, UnknownKey_LeavesLaterEntriesUnread)
{
    Base::CEntityMapSyncEntry withoutValue;
    AddToFuser(*m_content, withoutValue.key, m_unchanged.entity);
    EXPECT_THAT(messagesOf(MakeEntry(m_changed.entity), withoutValue, makeKnownEntry(m_unchanged)),
                IsEmpty());
    EXPECT_EQ(m_unchanged.entity->numGetIDCalls, 0U);
}

TEST_F(SmallComponentOperationTest, UnknownKeyWithoutValue_DoesNotThrow)
{
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), Base::CEntityMapSyncEntry()), IsEmpty());
}

TEST_F(SmallComponentOperationTest, KnownKeyWithoutValue_Throws)
{
    Base::CEntityMapSyncEntry withoutValue;
    AddToFuser(*m_content, withoutValue.key, m_changed.entity);
    EXPECT_THROW(static_cast<void>(messagesOf(makeKnownEntry(m_changed), withoutValue)),
                 ScanAPI::BadOptionalAccessException);
}

TEST_F(SmallComponentOperationTest, ChangedIdentity_DiscardsEarlierMessages)
{
    Base::CEntityMapSyncEntry replaced = makeKnownEntry(m_unchanged);
    replaced.value.GetValue().entity = m_changed.entity;
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), replaced), IsEmpty());
}

TEST_F(SmallComponentOperationTest, ChangedIdentity_LeavesLaterEntriesUnread)
{
    Base::CEntityMapSyncEntry replaced = makeKnownEntry(m_changed);
    replaced.value.GetValue().entity = SMockEntity({c_main}).entity;
    static_cast<void>(messagesOf(replaced, makeKnownEntry(m_unchanged)));
    EXPECT_EQ(m_unchanged.entity->numGetIDCalls, 0U);
}

TEST_F(SmallComponentOperationTest, Identity_IsComparedByAllSixteenBytes)
{
    for (std::size_t byte = 0; byte < 16; ++byte)
    {
        const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_changed);
        std::array<std::uint8_t, 16> bytes = m_changed.entity->id.GetBytes();
        bytes.at(byte) ^= 1;
        const auto other =
            std::make_shared<CMockGeometricEntity>(m_changed.collection, Base::CEntityID(bytes));
        AddToFuser(*m_content, entry.key, other);
        EXPECT_THAT(messagesOf(entry), IsEmpty()) << "byte " << byte;
    }
}

TEST_F(SmallComponentOperationTest, EqualIdentityOfAnotherObject_IsTheSameEntity)
{
    const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_changed);
    const SMockEntity fuserEntity({c_small, c_small, c_small});
    fuserEntity.entity->id = m_changed.entity->id;
    AddToFuser(*m_content, entry.key, fuserEntity.entity);
    const std::vector<Message> messages = messagesOf(entry);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].GetOldState().entity.GetValue(), m_changed.entity);
    EXPECT_EQ(WordsOf(messages[0].GetNewState().mask.GetValue()), MakeWords({0, 2}));
    EXPECT_EQ(fuserEntity.entity->numGetSurfelCollectionCalls, 0U);
}

TEST_F(SmallComponentOperationTest, MissingEntity_IsAnotherIdentity)
{
    Base::CEntityMapSyncEntry entry = makeKnownEntry(m_unchanged);
    entry.value.GetValue().entity = nullptr;
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), entry), IsEmpty());
}

TEST_F(SmallComponentOperationTest, MissingEntityOfTheFuser_IsAnotherIdentity)
{
    const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_unchanged);
    AddToFuser(*m_content, entry.key, nullptr);
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), entry), IsEmpty());
}

TEST_F(SmallComponentOperationTest, MissingEntityOnBothSides_IsAnotherIdentity)
{
    const Base::CEntityMapSyncEntry entry = MakeEntry(nullptr);
    AddToFuser(*m_content, entry.key, nullptr);
    EXPECT_THAT(messagesOf(makeKnownEntry(m_changed), entry), IsEmpty());
}

TEST_F(SmallComponentOperationTest, Surfels_ArePlacedByTheFusersTrafo)
{
    // The fuser's trafo carries the surfel to a small component, the map's leaves it at home.
    Base::CEntityMapSyncEntry entry =
        makeKnownEntry(m_unchanged, nullptr, MakeTranslation(20, 0, 0));
    entry.value.GetValue().trafo = c_matIdentityD;
    const std::vector<Message> messages = messagesOf(entry);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(WordsOf(messages[0].GetNewState().mask.GetValue()), MakeWords({2}));
}

TEST_F(SmallComponentOperationTest, TrafoOfTheMap_IsNotUsed)
{
    Base::CEntityMapSyncEntry entry = makeKnownEntry(m_unchanged);
    entry.value.GetValue().trafo = MakeTranslation(20, 0, 0);
    EXPECT_THAT(messagesOf(entry), IsEmpty());
}

TEST_F(SmallComponentOperationTest, MaskOfTheEntry_IsContinued)
{
    const std::vector<Message> messages =
        messagesOf(makeKnownEntry(m_changed, MakeSurfelMask(MakeWords({0x0A, 0x08}))));
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(WordsOf(messages[0].GetNewState().mask.GetValue()), MakeWords({0x08, 0x0A}));
}

TEST_F(SmallComponentOperationTest, FewChangesAmongManySurfels_KeepAllOtherWords)
{
    // Words are looked at in blocks, and copied only behind one without a change.
    std::vector<LqVector3f> positions(5000, c_main);
    std::vector<Base::CSurfelBitMask> words(positions.size() + 10);
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        words[index].bits = static_cast<std::uint16_t>(index << 5U);
    }
    std::vector<Base::CSurfelBitMask> expected = words;
    for (const std::size_t index : {2100U, 2101U, 4999U})
    {
        positions[index] = c_small;
        expected[index].bits |= Base::CSurfelBitMask::SurfelFlagSmallComponent;
    }
    const std::vector<Message> messages =
        messagesOf(makeKnownEntry(SMockEntity(positions), MakeSurfelMask(words)));
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(WordsOf(messages[0].GetNewState().mask.GetValue()), expected);
}

TEST_F(SmallComponentOperationTest, CollectionWithoutPositions_Throws)
{
    m_changed.collection->SetPositionAccess(nullptr);
    EXPECT_THROW(static_cast<void>(messagesOf(makeKnownEntry(m_changed))), VekoException);
}

TEST_F(SmallComponentOperationTest, Entries_AreExaminedOnTheCallingThreadInTheirOrder)
{
    std::vector<int> order;
    bool isElsewhere = false;
    const std::thread::id caller = std::this_thread::get_id();
    const auto note = [&](int number) {
        return [&, number](bool) {
            order.push_back(number);
            isElsewhere |= std::this_thread::get_id() != caller;
        };
    };
    m_changed.entity->onGetSurfelCollection = note(1);
    m_unchanged.entity->onGetSurfelCollection = note(2);
    static_cast<void>(messagesOf(makeKnownEntry(m_unchanged), makeKnownEntry(m_changed),
                                 makeKnownEntry(m_unchanged)));
    EXPECT_THAT(order, ElementsAre(2, 1, 2));
    EXPECT_FALSE(isElsewhere);
}

TEST_F(SmallComponentOperationTest, SecondCall_GivesTheSame)
{
    const Base::CEntityMapSyncBatch batch = MakeBatch(makeKnownEntry(m_changed));
    ContentPointer content = m_content;
    const Operation operation(content);
    for (int call = 0; call < 2; ++call)
    {
        const Base::CEntityMapModifyBatch result = operation.ComputeModifications(batch);
        ASSERT_EQ(result.messages.size(), 1U);
        EXPECT_EQ(WordsOf(result.messages[0].GetNewState().mask.GetValue()), MakeWords({0, 2}));
    }
}

TEST_F(SmallComponentOperationTest, ConcurrentCalls_GiveTheSame)
{
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (int index = 0; index < 50; ++index)
    {
        entries.push_back(makeKnownEntry(m_changed));
    }
    const Base::CEntityMapSyncBatch batch(entries);
    ContentPointer content = m_content;
    const Operation operation(content);
    std::vector<std::size_t> numFlagged(c_numCallers);
    RunCallers([&](std::size_t caller) {
        for (const Message& message : operation.ComputeModifications(batch).messages)
        {
            numFlagged[caller] +=
                WordsOf(message.GetNewState().mask.GetValue())[1].bits == 2 ? 1 : 0;
        }
    });
    EXPECT_THAT(numFlagged, testing::Each(50U));
}

TEST_F(SmallComponentOperationTest, Log_TellsWhatWasDone)
{
    const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_changed);
    const CLogCapture log(Logging::c_levelDebug);
    static_cast<void>(messagesOf(entry));
    const std::vector<Logging::SLogRecord> records = log.GetRecords();
    ASSERT_EQ(records.size(), 2U);
    for (const Logging::SLogRecord& record : records)
    {
        EXPECT_EQ(record.category, L"Veko2.CSmallComponentModifyOperation");
        EXPECT_EQ(record.file, "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation");
        EXPECT_EQ(record.function,
                  "DataLayer::CSmallComponentModifyOperation::computeMaskModification");
    }
    EXPECT_EQ(records[0].level, Logging::c_levelInfo);
    EXPECT_EQ(records[0].line, 83);
    EXPECT_EQ(records[0].message, L"Compute mask modifications.");
    EXPECT_EQ(records[1].level, Logging::c_levelDebug);
    EXPECT_EQ(records[1].line, 89);
    EXPECT_EQ(records[1].message,
              L"Remove small components after update of [" + entry.key.AsString() + L"]");
}

TEST_F(SmallComponentOperationTest, Log_TellsWhereNothingWasDone)
{
    const Base::CEntityMapSyncEntry entry = makeKnownEntry(m_unchanged);
    const CLogCapture log(Logging::c_levelDebug);
    static_cast<void>(messagesOf(entry));
    const std::vector<Logging::SLogRecord> records = log.GetRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1].level, Logging::c_levelDebug);
    EXPECT_EQ(records[1].line, 98);
    EXPECT_EQ(records[1].message, L"Nothing to do for update of [" + entry.key.AsString() + L"]");
}

TEST_F(SmallComponentOperationTest, LogAtInfo_HasNoDebugLines)
{
    const CLogCapture log(Logging::c_levelInfo);
    static_cast<void>(messagesOf(makeKnownEntry(m_changed), makeKnownEntry(m_unchanged)));
    const std::vector<Logging::SLogRecord> records = log.GetRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].line, 83);
    EXPECT_EQ(records[1].line, 83);
}

TEST_F(SmallComponentOperationTest, Info_IsAskedBeforeTheSurfelsAndDebugAfterThem)
{
    const CLogCapture log(Logging::c_levelWarn);
    m_changed.entity->onGetSurfelCollection = [](bool) {
        Logging::SetLogLevel(Logging::c_levelDebug);
    };
    static_cast<void>(messagesOf(makeKnownEntry(m_changed)));
    const std::vector<Logging::SLogRecord> records = log.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].line, 89);
}

TEST_F(SmallComponentOperationTest, MaskModification_IsAppendedToTheMessages)
{
    const Base::CUniqueID key;
    ContentPointer content = m_content;
    const Operation operation(content);
    std::vector<Message> messages(2);
    Peer::ComputeMaskModification(operation, key,
                                  Base::CEntityTrafoMaskPacket(Base::CGeometricEntityPacket(
                                      m_changed.entity, c_matIdentityD, nullptr, 0)),
                                  messages);
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].kind, Message::FullValue);
    EXPECT_EQ(messages[2].kind, Message::Modify);
    EXPECT_EQ(messages[2].key, key);
}

}  // namespace
}  // namespace DataLayer
