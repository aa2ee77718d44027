#include "Tests/Oracle/EntityBatches.h"

#include <array>
#include <set>
#include <utility>

#include "Base/Support/VekoException.h"
#include "Tests/Oracle/Scenes.h"
#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/MockTags.h"

namespace Oracle
{
namespace
{

enum ETag : std::uint8_t
{
    None = 0,
    Skeleton = 1,
    Other = 2,
};

enum EError : std::uint8_t
{
    NoError = 0,
    NoValue = 1,
    NoPositions = 2,
};

enum EMaskSource : std::uint8_t
{
    NoMask = 0,
    OwnMask = 1,
    NewMask = 2,
};

void AppendRandomID(CCaseRandom& random, CNamedArrays& cases, const std::string& name)
{
    // Few different bytes at either end, so that keys are told apart by all of them.
    std::array<std::uint8_t, 16> bytes{};
    bytes[random.OneOf({0U, 7U, 15U})] = static_cast<std::uint8_t>(random.Below(3));
    if (!random.OneIn(8))
    {
        const std::uint64_t low = random.Bits();
        const std::uint64_t high = random.Bits();
        std::memcpy(bytes.data(), &low, sizeof low);
        std::memcpy(bytes.data() + sizeof low, &high, sizeof high);
    }
    cases.Append<std::uint8_t>(name, std::span<const std::uint8_t>(bytes));
}

/// Appends one side of a change.
void AppendSide(const Base::CEntityMapPartialValue& side,
                const std::set<const Base::CSurfelCollectionMask*>& ownMasks,
                const CEntities& entities, CNamedArrays& answers)
{
    const unsigned present = (side.optimizationLevel.HasValue() ? 1U : 0U) |
                             (side.mask.HasValue() ? 2U : 0U) | (side.trafo.HasValue() ? 4U : 0U) |
                             (side.entity.HasValue() ? 8U : 0U) | (side.flag.HasValue() ? 16U : 0U);
    answers.Append<std::uint8_t>("side_present", static_cast<std::uint8_t>(present));
    answers.Append<std::int32_t>(
        "side_level", side.optimizationLevel.HasValue() ? side.optimizationLevel.GetValue() : 0);
    AppendMatrix(answers, "side_trafo",
                 side.trafo.HasValue() ? side.trafo.GetValue() : LqMatrix4Rd());
    answers.Append<std::int32_t>("side_entity", side.entity.HasValue()
                                                    ? entities.IndexOf(side.entity.GetValue().get())
                                                    : -1);
    answers.Append<std::uint8_t>("side_flag", side.flag.HasValue() && side.flag.GetValue() ? 1 : 0);

    const Base::CSurfelCollectionMask* const mask =
        side.mask.HasValue() ? side.mask.GetValue().get() : nullptr;
    answers.Append<std::uint8_t>("side_mask", mask == nullptr           ? NoMask
                                              : ownMasks.contains(mask) ? OwnMask
                                                                        : NewMask);
    if (mask != nullptr)
    {
        for (const Base::CSurfelBitMask word : mask->GetBitMasks())
        {
            answers.Append<std::uint16_t>("side_words", word.bits);
        }
    }
    answers.EndList<std::uint16_t>("side_words", "side_word_offsets");
}

}  // namespace

SBatchFaults SBatchFaults::Choose(CCaseRandom& random)
{
    switch (random.Below(16))
    {
        case 0:
            return {.mayLackValues = true};
        case 1:
            return {.mayLackPositions = true};
        default:
            return {};
    }
}

void DeclareEntityBatches(CNamedArrays& cases)
{
    DeclareCollections(cases);
    DeclareWords(cases);
    cases.Declare<std::uint8_t>("entity_id", {16});
    cases.Declare<std::uint32_t>("entity_collection");
    cases.Declare<std::uint8_t>("entity_tag");
    cases.Declare<std::int32_t>("entity_tag_value");
    cases.Declare<std::uint8_t>("entry_key", {16});
    cases.Declare<std::uint8_t>("entry_has_value");
    cases.Declare<std::int32_t>("entry_level");
    cases.Declare<double>("entry_trafo", {16});
    cases.Declare<std::uint8_t>("entry_flag");
    cases.Declare<std::uint64_t>("entry_reserved");
    cases.Declare<std::int32_t>("entry_entity");
    cases.Declare<std::int32_t>("entry_words");
    cases.Declare<std::uint64_t>("entry_offsets");
    cases.Append<std::uint64_t>("entry_offsets", 0);
    cases.Declare<std::uint8_t>("calls");
}

std::uint32_t AppendEntity(CCaseRandom& random, CNamedArrays& cases, std::vector<LqVector3f> points,
                           const SBatchFaults& faults)
{
    AppendRandomID(random, cases, "entity_id");
    cases.Append<std::uint32_t>(
        "entity_collection",
        AppendCollection(random, cases, std::move(points), faults.mayLackPositions));
    cases.Append<std::uint8_t>("entity_tag",
                               random.OneOf<std::uint8_t>({None, None, None, Skeleton, Other}));
    cases.Append<std::int32_t>("entity_tag_value", random.OneOf({0, 1, -1, 256}));
    return static_cast<std::uint32_t>(cases.GetCount("entity_tag") - 1);
}

void AppendEntry(CCaseRandom& random, CNamedArrays& cases, std::int32_t entity,
                 const LqMatrix4Rd& trafo, const SBatchFaults& faults)
{
    AppendRandomID(random, cases, "entry_key");
    cases.Append<std::uint8_t>("entry_has_value", faults.mayLackValues && random.OneIn(3) ? 0 : 1);
    cases.Append<std::int32_t>("entry_level", static_cast<std::int32_t>(random.Bits()));
    AppendMatrix(cases, "entry_trafo", trafo);
    cases.Append<std::uint8_t>("entry_flag", static_cast<std::uint8_t>(random.Below(2)));
    cases.Append<std::uint64_t>("entry_reserved", random.Bits());
    cases.Append<std::int32_t>("entry_entity", entity);

    std::size_t count = random.Below(8);
    if (entity >= 0)
    {
        const std::uint32_t collection =
            cases.Get<std::uint32_t>("entity_collection")[static_cast<std::size_t>(entity)];
        const auto offsets = cases.Get<std::uint64_t>("position_offsets");
        count = offsets[collection + 1] - offsets[collection];
    }
    std::int32_t words = -1;
    if (!random.OneIn(6))
    {
        words = static_cast<std::int32_t>(AppendWords(random, cases, count));
    }
    cases.Append<std::int32_t>("entry_words", words);
}

void EndBatch(CCaseRandom& random, CNamedArrays& cases)
{
    cases.EndList<std::uint8_t>("entry_key", "entry_offsets");
    cases.Append<std::uint8_t>("calls", random.OneIn(4) ? 2 : 1);
}

Base::CUniqueID GetID(const CNamedArrays& cases, const std::string& name, std::size_t index)
{
    std::array<std::uint8_t, 16> bytes{};
    std::memcpy(bytes.data(), cases.Get<std::uint8_t>(name).data() + 16 * index, 16);
    return Base::CUniqueID(bytes);
}

std::shared_ptr<const Base::IGeometricEntity> CEntities::Get(std::int32_t index)
{
    if (index < 0)
    {
        return nullptr;
    }
    auto& entity = m_entities[index];
    if (entity == nullptr)
    {
        const auto at = static_cast<std::size_t>(index);
        const auto made = std::make_shared<TestSupport::CMockGeometricEntity>(
            MakeCollection(m_cases, m_cases.Get<std::uint32_t>("entity_collection")[at]),
            Base::CEntityID(GetID(m_cases, "entity_id", at).GetBytes()));
        const std::uint8_t tag = m_cases.Get<std::uint8_t>("entity_tag")[at];
        if (tag == Skeleton)
        {
            made->tags["ISkeletonEntityTag"] = std::make_shared<TestSupport::CMockSkeletonTag>(
                m_cases.Get<std::int32_t>("entity_tag_value")[at]);
        }
        else if (tag == Other)
        {
            made->tags["ISkeletonEntityTag"] = std::make_shared<TestSupport::CMockOtherTag>();
        }
        entity = made;
        m_indices[made.get()] = index;
    }
    return entity;
}

std::int32_t CEntities::IndexOf(const Base::IGeometricEntity* entity) const
{
    return entity == nullptr ? -1 : m_indices.at(entity);
}

void CEntities::Clear()
{
    m_entities.clear();
    m_indices.clear();
}

Base::CEntityMapSyncBatch MakeBatch(const CNamedArrays& cases, std::size_t index,
                                    CEntities& entities)
{
    const std::size_t first = cases.Get<std::uint64_t>("entry_offsets")[index];
    const std::size_t last = cases.Get<std::uint64_t>("entry_offsets")[index + 1];
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (std::size_t at = first; at < last; ++at)
    {
        Base::CEntityMapSyncEntry entry{GetID(cases, "entry_key", at), {}};
        if (cases.Get<std::uint8_t>("entry_has_value")[at] != 0)
        {
            Base::CEntityMapValue value;
            value.optimizationLevel = cases.Get<std::int32_t>("entry_level")[at];
            const std::int32_t words = cases.Get<std::int32_t>("entry_words")[at];
            if (words >= 0)
            {
                std::vector<Base::CSurfelBitMask> bitMasks;
                for (const std::uint16_t word : cases.GetList<std::uint16_t>(
                         "words", "word_offsets", static_cast<std::size_t>(words)))
                {
                    bitMasks.push_back({word});
                }
                value.mask =
                    std::make_shared<const Base::CSurfelCollectionMask>(std::move(bitMasks));
            }
            value.trafo = GetMatrix(cases, "entry_trafo", at);
            value.entity = entities.Get(cases.Get<std::int32_t>("entry_entity")[at]);
            value.flag = cases.Get<std::uint8_t>("entry_flag")[at] != 0;
            value.reserved = cases.Get<std::uint64_t>("entry_reserved")[at];
            entry.value = value;
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

void DeclareBatchAnswers(CNamedArrays& answers)
{
    answers.Declare<std::uint8_t>("error");
    answers.Declare<std::uint32_t>("total");
    answers.Declare<std::uint8_t>("batch_flag");
    answers.DeclareLists<std::uint8_t>("origins", "origin_offsets");
    answers.Declare<std::uint64_t>("message_offsets");
    answers.Append<std::uint64_t>("message_offsets", 0);
    answers.Declare<std::uint8_t>("message_key", {16});
    answers.Declare<std::uint32_t>("message_kind");
    answers.Declare<std::uint8_t>("side_present");
    answers.Declare<std::int32_t>("side_level");
    answers.Declare<double>("side_trafo", {16});
    answers.Declare<std::int32_t>("side_entity");
    answers.Declare<std::uint8_t>("side_flag");
    answers.Declare<std::uint8_t>("side_mask");
    answers.DeclareLists<std::uint16_t>("side_words", "side_word_offsets");
}

void AppendBatchAnswer(const DataLayer::ISyncableEntityCollectionModifyOperation& operation,
                       const Base::CEntityMapSyncBatch& batch, const CEntities& entities,
                       const std::function<std::uint32_t()>& getTotal, CNamedArrays& answers)
{
    std::uint8_t error = NoError;
    Base::CEntityMapModifyBatch modifications;
    try
    {
        modifications = operation.ComputeModifications(batch);
    }
    catch (const ScanAPI::BadOptionalAccessException&)
    {
        error = NoValue;
    }
    catch (const VekoException&)
    {
        error = NoPositions;
    }
    std::set<const Base::CSurfelCollectionMask*> ownMasks;
    for (const Base::CEntityMapSyncEntry& entry : batch.GetEntries())
    {
        if (entry.value.HasValue())
        {
            ownMasks.insert(entry.value.GetValue().mask.get());
        }
    }

    answers.Append<std::uint8_t>("error", error);
    answers.Append<std::uint32_t>("total", getTotal());
    answers.Append<std::uint8_t>("batch_flag", modifications.flag ? 1 : 0);
    for (const wchar_t character : modifications.origin)
    {
        answers.Append<std::uint8_t>("origins", static_cast<std::uint8_t>(character));
    }
    answers.EndList<std::uint8_t>("origins", "origin_offsets");
    for (const Base::CEntityMapModifyMessage& message : modifications.messages)
    {
        answers.Append<std::uint8_t>("message_key",
                                     std::span<const std::uint8_t>(message.key.GetBytes()));
        answers.Append<std::uint32_t>("message_kind", message.kind);
        AppendSide(message.GetOldState(), ownMasks, entities, answers);
        AppendSide(message.GetNewState(), ownMasks, entities, answers);
    }
    answers.EndList<std::uint32_t>("message_kind", "message_offsets");
}

}  // namespace Oracle
