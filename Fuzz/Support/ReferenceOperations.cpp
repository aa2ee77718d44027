#include "Fuzz/Support/ReferenceOperations.h"

#include <cmath>
#include <cstring>
#include <string_view>

#include "Base/Math/CBox3D.h"
#include "Fuzz/Support/FuzzTarget.h"
#include "Tests/Support/ReferenceCut.h"

namespace Fuzzing
{

namespace
{

using Words = SExpectedBatch::Words;

bool IsFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

LqMatrix4Rd Multiply(const LqMatrix4Rd& a, const LqMatrix4Rd& b)
{
    LqMatrix4Rd product;
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            double sum = a(row, 0) * b(0, column);
            for (std::size_t k = 1; k < 4; ++k)
            {
                sum = sum + a(row, k) * b(k, column);
            }
            product(row, column) = sum;
        }
    }
    return product;
}

const Words& GetWords(const CEntityMap::SEntry& entry)
{
    static const Words c_none;
    return entry.mask == nullptr ? c_none : entry.mask->GetBitMasks();
}

std::optional<Words> CutEntry(const CEntityMap::SEntry& entry,
                              const Base::SRegionSelectionInfo& selection,
                              const LqMatrix4Rd& matrix)
{
    if (entry.entity == nullptr || entry.isSkeleton)
    {
        return std::nullopt;
    }
    Geometry::CBox3D box;
    for (const LqVector3f& point : entry.points)
    {
        if (IsFinite(point))
        {
            box.Extend(point);
        }
    }
    auto result = TestSupport::ReferenceCut(selection, entry.points, box.min, box.max,
                                            GetWords(entry), Multiply(entry.trafo, matrix));
    return result.hasChanged ? std::optional(std::move(result.words)) : std::nullopt;
}

std::optional<Words> Freeze(Words words)
{
    bool hasChanged = false;
    for (Base::CSurfelBitMask& word : words)
    {
        if ((word.bits & 7U) != 0 && (word.bits & 0x100U) == 0)
        {
            word.bits = static_cast<std::uint16_t>(word.bits | 0x100U);
            hasChanged = true;
        }
    }
    return hasChanged ? std::optional(std::move(words)) : std::nullopt;
}

/// The fused point that is nearest to \p query within 2.25; the first of several, -1 for none.
std::int64_t FindNearest(const std::vector<LqVector3f>& points, const LqVector3f& query)
{
    constexpr float c_bound = 2.25F;
    std::int64_t nearest = -1;
    float least = c_bound * c_bound;
    for (std::size_t index = 0; IsFinite(query) && index < points.size(); ++index)
    {
        const float dx = points[index].x - query.x;
        const float dy = points[index].y - query.y;
        const float dz = points[index].z - query.z;
        const float xx = dx * dx;
        const float yy = dy * dy;
        const float zz = dz * dz;
        const float two = xx + yy;
        const float distance = two + zz;
        const bool isNearer = nearest < 0 ? distance <= least : distance < least;
        if (IsFinite(points[index]) && isNearer)
        {
            nearest = static_cast<std::int64_t>(index);
            least = distance;
        }
    }
    return nearest;
}

LqVector3f Place(const LqMatrix4Rd& trafo, const LqVector3f& point)
{
    float moved[4];
    for (std::size_t column = 0; column < 4; ++column)
    {
        const auto at = [&](std::size_t row) { return static_cast<float>(trafo(row, column)); };
        const float x = point.x * at(0);
        const float y = point.y * at(1);
        const float z = point.z * at(2);
        const float two = x + y;
        const float three = two + z;
        moved[column] = three + at(3);
    }
    return {moved[0] / moved[3], moved[1] / moved[3], moved[2] / moved[3]};
}

std::optional<Words> FlagEntry(const CEntityMap::SEntry& entry, const LqMatrix4Rd& trafo,
                               const std::vector<LqVector3f>& points, std::size_t numMain)
{
    Words words = GetWords(entry);
    if (words.empty())
    {
        words.resize(entry.points.size());
    }
    bool hasChanged = false;
    for (std::size_t index = 0; index < entry.points.size() && index < words.size(); ++index)
    {
        const std::uint16_t old = words[index].bits;
        if ((old & 0x10U) != 0)
        {
            continue;
        }
        const std::int64_t neighbor = FindNearest(points, Place(trafo, entry.points[index]));
        // The first point of the small components counts as main body.
        const bool isMain = neighbor >= 0 && neighbor <= static_cast<std::int64_t>(numMain);
        words[index].bits = static_cast<std::uint16_t>(isMain ? old & 0xFFFDU : old | 2U);
        hasChanged = hasChanged || words[index].bits != old;
    }
    return hasChanged ? std::optional(std::move(words)) : std::nullopt;
}

/// The flag and the mask, which every new state has.
void RequireNewState(const SExpectedBatch::SMessage& expected, bool flag,
                     const Base::CEntityMapPartialValue& state)
{
    Require(state.flag.HasValue() && state.flag.GetValue() == flag,
            "a new state has its operation's flag");
    Require(state.mask.HasValue(), "a new state has a mask");
    const CEntityMap::MaskPointer& mask = state.mask.GetValue();
    if (expected.newWords.has_value())
    {
        Require(mask != nullptr && mask != expected.entry.mask &&
                    mask->GetBitMasks() == *expected.newWords,
                "a new mask is what the definition says, to the bit");
    }
    else
    {
        Require(mask == expected.entry.mask, "a mask that does not change stays the one it is");
    }
}

/// What both sides of a cut have of the entry's value.
void RequireWhole(const CEntityMap::SEntry& entry, const Base::CEntityMapPartialValue& state)
{
    Require(state.optimizationLevel.HasValue() &&
                state.optimizationLevel.GetValue() == entry.optimizationLevel,
            "a state has the entry's level");
    Require(state.trafo.HasValue() && std::memcmp(state.trafo.GetValue().data(), entry.trafo.data(),
                                                  sizeof(double) * 16) == 0,
            "a state has the entry's trafo");
    Require(state.entity.HasValue() && state.entity.GetValue() == entry.entity,
            "a state has the entry's entity");
}

void RequireOldState(const SExpectedBatch& expected, const CEntityMap::SEntry& entry,
                     const Base::CEntityMapPartialValue& state)
{
    Require(state.entity.HasValue() && state.entity.GetValue() == entry.entity,
            "an old state has the entry's entity");
    const bool hasOthers = state.flag.HasValue() || state.mask.HasValue() ||
                           state.trafo.HasValue() || state.optimizationLevel.HasValue();
    if (!expected.areWhole)
    {
        Require(!hasOthers, "an old state has nothing that does not change");
        return;
    }
    RequireWhole(entry, state);
    Require(state.flag.HasValue() && state.flag.GetValue() == entry.flag,
            "an old state has the entry's flag");
    Require(state.mask.HasValue() && state.mask.GetValue() == entry.mask,
            "an old state has the entry's mask");
}

}  // namespace

void SExpectedBatch::RequireSame(const Base::CEntityMapModifyBatch& answer) const
{
    Require(answer.origin == origin && !answer.flag, "a batch is named after its operation");
    Require(answer.messages.size() == messages.size(), "a batch has the messages that it should");
    for (std::size_t index = 0; index < messages.size(); ++index)
    {
        const Base::CEntityMapModifyMessage& message = answer.messages[index];
        const SMessage& expected = messages[index];
        Require(message.kind == Base::CEntityMapModifyMessage::Modify &&
                    message.key == expected.entry.key,
                "messages come in the order of the entries");
        RequireOldState(*this, expected.entry, message.GetOldState());
        const Base::CEntityMapPartialValue& newState = message.GetNewState();
        RequireNewState(expected, !areWhole, newState);
        if (areWhole)
        {
            RequireWhole(expected.entry, newState);
        }
        else
        {
            Require(!newState.entity.HasValue() && !newState.trafo.HasValue() &&
                        !newState.optimizationLevel.HasValue(),
                    "a new state has nothing that does not change");
        }
    }
}

std::optional<SExpectedBatch> AnswerCut(const CEntityMap& map,
                                        const Base::SRegionSelectionInfo& selection,
                                        const LqMatrix4Rd& matrix)
{
    SExpectedBatch batch;
    batch.origin = L"CCutWithPixelMaskSyncableEntityCollectionModifyOperation";
    batch.areWhole = true;
    for (const CEntityMap::SEntry& entry : map.GetEntries())
    {
        if (!entry.hasValue)
        {
            return std::nullopt;
        }
        std::optional<Words> words = CutEntry(entry, selection, matrix);
        if (auto frozen = Freeze(words.has_value() ? *words : GetWords(entry)))
        {
            words = std::move(frozen);
        }
        batch.numModified += words.has_value() ? 1 : 0;
        batch.messages.push_back({entry, std::move(words)});
    }
    if (batch.numModified == 0)
    {
        batch.messages.clear();
    }
    return batch;
}

std::optional<SExpectedBatch> AnswerSmallComponents(const CEntityMap& map,
                                                    const DataLayer::SFuserContent& content,
                                                    const std::vector<LqVector3f>& mainPoints,
                                                    const std::vector<LqVector3f>& smallPoints)
{
    SExpectedBatch batch;
    batch.origin = L"CSmallComponentModifyOperation";
    if (mainPoints.empty() || smallPoints.empty())
    {
        return batch;
    }
    std::vector<LqVector3f> points = mainPoints;
    points.insert(points.end(), smallPoints.begin(), smallPoints.end());
    std::vector<SExpectedBatch::SMessage> messages;
    for (const CEntityMap::SEntry& entry : map.GetEntries())
    {
        const auto known = content.packets.find(entry.key);
        if (known == content.packets.end())
        {
            return batch;
        }
        if (!entry.hasValue)
        {
            return std::nullopt;
        }
        const auto entity = known->second.GetEntity();
        if (entity == nullptr || entry.entity == nullptr ||
            !(entity->GetID() == entry.entity->GetID()))
        {
            return batch;
        }
        if (auto words = FlagEntry(entry, known->second.GetTrafo(), points, mainPoints.size()))
        {
            messages.push_back({entry, std::move(words)});
        }
    }
    batch.messages = std::move(messages);
    return batch;
}

}  // namespace Fuzzing
