#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Interfaces/ISkeletonEntityTag.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CheckedCount.h"
#include "DataLayer/Base3D/PointCloudEditing/LogMessage.h"

namespace DataLayer
{

namespace
{

const Logging::CLogger c_logger(L"Veko2.CCutWithPixelMaskSyncableEntityCollectionModifyOperation");

constexpr char c_file[] =
    "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation";
constexpr char c_taskFunction[] =
    "DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation::CutPacketTask";

using Base::CSurfelBitMask;
using Base::CSurfelCollectionMask;
using MaskPointer = std::shared_ptr<const CSurfelCollectionMask>;

bool IsSkeletonEntity(const Base::IGeometricEntity& entity)
{
    static const std::string c_tagName = "ISkeletonEntityTag";
    const std::shared_ptr<const Base::IVekoSerializable> tag = entity.FindTag(c_tagName);
    const auto* const skeletonTag = dynamic_cast<const Base::ISkeletonEntityTag*>(tag.get());
    return skeletonTag != nullptr && skeletonTag->IsSkeletonEntity() != 0;
}

bool IsToBeFrozen(CSurfelBitMask word)
{
    return (word.bits & CSurfelBitMask::SurfelFlagsOutlier) != 0 &&
           (word.bits & CSurfelBitMask::SurfelFlagOutlierFrozen) == 0;
}

/// Without early return, and by index, so that the pass over a mask that stays as it is, the usual
/// one, takes several words at a time.
bool IsAnyToBeFrozen(const std::vector<CSurfelBitMask>& words)
{
    const CSurfelBitMask* const first = words.data();
    const std::size_t numWords = words.size();
    std::uint16_t outlierBits = 0;
    for (std::size_t index = 0; index < numWords; ++index)
    {
        const std::uint16_t bits = first[index].bits;
        const bool isFrozen = (bits & CSurfelBitMask::SurfelFlagOutlierFrozen) != 0;
        outlierBits |= isFrozen ? 0 : bits & CSurfelBitMask::SurfelFlagsOutlier;
    }
    return outlierBits != 0;
}

/// One message per entry, with the entry's value as its old state, which is taken over, and the
/// same with the entry's new mask, where there is one, as its new state.
std::vector<Base::CEntityMapModifyMessage> MakeMessages(
    std::vector<Base::CEntityMapSyncEntry>&& entries, std::vector<MaskPointer>&& newMasks)
{
    std::vector<Base::CEntityMapModifyMessage> messages;
    Base::ReserveInLargePages(messages, entries.size());
    for (std::size_t index = 0; index < entries.size(); ++index)
    {
        Base::CEntityMapValue& value = entries[index].value.GetValue();
        Base::CEntityMapPartialValue newState(value);
        newState.flag = false;
        if (newMasks[index] != nullptr)
        {
            newState.mask = std::move(newMasks[index]);
        }
        messages.emplace_back(entries[index].key)
            .SetModify(Base::CEntityMapPartialValue(std::move(value)), std::move(newState));
    }
    return messages;
}

}  // namespace

CCutWithPixelMaskSyncableEntityCollectionModifyOperation::
    CCutWithPixelMaskSyncableEntityCollectionModifyOperation(
        const ScanAPI::shared_not_null<const Base::SRegionSelectionInfo>& regionSelection,
        LqMatrix4Rd matrix)
    : m_regionSelection(regionSelection.get_shared()), m_matrix(matrix)
{}

CCutWithPixelMaskSyncableEntityCollectionModifyOperation::
    ~CCutWithPixelMaskSyncableEntityCollectionModifyOperation() = default;

Base::CEntityMapModifyBatch
CCutWithPixelMaskSyncableEntityCollectionModifyOperation::ComputeModifications(
    const Base::CEntityMapSyncBatch& syncBatch) const
{
    const std::uint32_t numEntries = CheckedCount(syncBatch.GetEntries().size());
    const CCutPointCloudWithPixelMask cutter(m_regionSelection);
    // A copy, so that whoever changes the batch meanwhile does not change what is cut.
    std::vector<Base::CEntityMapSyncEntry> entries;
    Base::ReserveInLargePages(entries, numEntries);
    entries = syncBatch.GetEntries();
    // Of a changed packet its mask is all that is new. Counting them and building the messages
    // afterwards leaves the tasks without a shared counter, and without messages to throw away
    // when nothing has changed.
    std::vector<MaskPointer> newMasks(numEntries);
    Base::ParallelFor(numEntries, [&](std::uint32_t index) {
        newMasks[index] = computeNewMask(entries[index].value.GetValue(), cutter);
    });
    const auto numModified = static_cast<std::uint32_t>(std::count_if(
        newMasks.begin(), newMasks.end(), [](const MaskPointer& mask) { return mask != nullptr; }));

    Base::CEntityMapModifyBatch batch;
    batch.origin = L"CCutWithPixelMaskSyncableEntityCollectionModifyOperation";
    if (numModified != 0)
    {
        batch.messages = MakeMessages(std::move(entries), std::move(newMasks));
    }
    // Last, when nothing more can fail.
    m_numModifiedPackets.fetch_add(numModified, std::memory_order_relaxed);
    return batch;
}

unsigned int CCutWithPixelMaskSyncableEntityCollectionModifyOperation::GetNumModifiedPackets() const
{
    return m_numModifiedPackets.load(std::memory_order_relaxed);
}

CCutWithPixelMaskSyncableEntityCollectionModifyOperation::MaskPointer
CCutWithPixelMaskSyncableEntityCollectionModifyOperation::computeNewMask(
    const Base::CEntityMapValue& value, const CCutPointCloudWithPixelMask& cutter) const
{
    const Base::CGeometricEntityPacket packet(value.entity, value.trafo, value.mask,
                                              value.optimizationLevel);
    VEKO2_LOG(c_logger, Debug, c_file, 62, c_taskFunction, L"Cutting Entity %s",
              packet.GetEntityID().AsString().c_str());
    const OptionalPacket cut =
        isToBeCut(packet, cutter) ? cutPacket(packet, cutter) : OptionalPacket();
    // Every mask is frozen, cut or not.
    const OptionalPacket frozen = freezeOutlierBits(cut.HasValue() ? cut.GetValue() : packet);
    const OptionalPacket& changed = frozen.HasValue() ? frozen : cut;
    return changed.HasValue() ? changed.GetValue().GetSurfelCollectionMask() : nullptr;
}

bool CCutWithPixelMaskSyncableEntityCollectionModifyOperation::isToBeCut(
    const Base::CGeometricEntityPacket& packet, const CCutPointCloudWithPixelMask& cutter) const
{
    const Base::IGeometricEntity* const entity = packet.GetEntity().get();
    return entity != nullptr &&
           cutter.IntersectsRegion(combine(packet), *entity->GetSurfelCollection(false)) &&
           !IsSkeletonEntity(*entity);
}

CCutWithPixelMaskSyncableEntityCollectionModifyOperation::OptionalPacket
CCutWithPixelMaskSyncableEntityCollectionModifyOperation::cutPacket(
    const Base::CGeometricEntityPacket& packet, const CCutPointCloudWithPixelMask& cutter) const
{
    const MaskPointer mask =
        packet.HasSurfelCollectionMask() ? packet.GetSurfelCollectionMask() : nullptr;
    static const std::vector<CSurfelBitMask> c_noWords;
    const std::shared_ptr<const Base::ISurfelCollection> collection =
        packet.GetEntity()->GetSurfelCollection(true);

    // What Compute() does with a list of one, without the lists.
    CCutPointCloudWithPixelMask::Results::value_type result;
    cutter.classify(*collection, mask != nullptr ? mask->GetBitMasks() : c_noWords, combine(packet),
                    result);
    auto& [hasChanged, words] = result;
    if (!hasChanged)
    {
        return {};
    }
    return packet.WithMask(std::make_shared<const CSurfelCollectionMask>(std::move(words)));
}

CCutWithPixelMaskSyncableEntityCollectionModifyOperation::OptionalPacket
CCutWithPixelMaskSyncableEntityCollectionModifyOperation::freezeOutlierBits(
    const Base::CGeometricEntityPacket& packet) const
{
    const MaskPointer mask =
        packet.HasSurfelCollectionMask() ? packet.GetSurfelCollectionMask() : nullptr;
    if (mask == nullptr || !IsAnyToBeFrozen(mask->GetBitMasks()))
    {
        return {};
    }
    std::vector<CSurfelBitMask> words = mask->GetBitMasks();
    for (CSurfelBitMask& word : words)
    {
        if (IsToBeFrozen(word))
        {
            word.bits |= CSurfelBitMask::SurfelFlagOutlierFrozen;
        }
    }
    return packet.WithMask(std::make_shared<const CSurfelCollectionMask>(std::move(words)));
}

LqMatrix4Rd CCutWithPixelMaskSyncableEntityCollectionModifyOperation::combine(
    const Base::CGeometricEntityPacket& packet) const
{
    return packet.GetTrafo() * m_matrix;
}

}  // namespace DataLayer
