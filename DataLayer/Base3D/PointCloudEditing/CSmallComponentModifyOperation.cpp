#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/CLogger.h"
#include "DataLayer/Base3D/PointCloudEditing/LogMessage.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"
#include "DataLayer/PointCloud/CCompactSurfelPositionNormal.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/QNormal.h"

namespace DataLayer
{

namespace
{

const Logging::CLogger c_logger(L"Veko2.CSmallComponentModifyOperation");

constexpr char c_file[] = "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation";
constexpr char c_maskFunction[] =
    "DataLayer::CSmallComponentModifyOperation::computeMaskModification";

/// How far a fused point may be to count as a surfel's neighbour, in the unit of the fused points.
constexpr float c_searchBound = 2.25F;

using Base::CSurfelBitMask;
using PointBlocks = std::vector<std::shared_ptr<SFuserPointBlock>>;

std::span<const SFuserPointRecord> pointsOf(const SFuserPointBlock* block)
{
    return block != nullptr && block->first != nullptr
               ? std::span<const SFuserPointRecord>(block->first, block->count)
               : std::span<const SFuserPointRecord>();
}

std::uint64_t countPoints(const PointBlocks& blocks)
{
    std::uint64_t numPoints = 0;
    for (const auto& block : blocks)
    {
        numPoints += pointsOf(block.get()).size();
    }
    return numPoints;
}

/// Fused points have no normal that the search would ask for; all get the same one.
void appendPoints(const PointBlocks& blocks, CSurfelCollectionMinimal& cloud)
{
    const std::uint16_t normal = EncodeQNormal(0.0F, 0.0F, 1.0F);
    for (const auto& block : blocks)
    {
        for (const SFuserPointRecord& point : pointsOf(block.get()))
        {
            cloud.AddSurfelNoReset({{point.x, point.y, point.z}, normal});
        }
    }
}

/// A missing entity is never the same as another, not even as a missing one.
bool isSameEntity(const Base::IGeometricEntity* a, const Base::IGeometricEntity* b)
{
    return a != nullptr && b != nullptr && a->GetID() == b->GetID();
}

/// Whether the fused point at \p neighbor belongs to a main component. No neighbour (a negative
/// index) does not; the first point behind the main ones does, on purpose. The comparison is that
/// of signed 32-bit numbers.
bool isMainComponentPoint(std::int32_t neighbor, std::uint64_t numMainComponentPoints)
{
    return neighbor >= 0 && neighbor <= static_cast<std::int32_t>(
                                            static_cast<std::uint32_t>(numMainComponentPoints));
}

}  // namespace

CSmallComponentModifyOperation::CSmallComponentModifyOperation(
    std::shared_ptr<const SFuserContent>& fuserContent)
    : m_fuserContent(fuserContent)
{
    computeNNSupportStructures();
}

CSmallComponentModifyOperation::~CSmallComponentModifyOperation() = default;

Base::CEntityMapModifyBatch CSmallComponentModifyOperation::ComputeModifications(
    const Base::CEntityMapSyncBatch& syncBatch) const
{
    Base::CEntityMapModifyBatch batch;
    batch.origin = L"CSmallComponentModifyOperation";
    if (m_fuserContent == nullptr || m_nnCloud == nullptr || m_numMainComponentPoints == 0)
    {
        return batch;
    }
    std::vector<Base::CEntityMapModifyMessage> messages;
    for (const Base::CEntityMapSyncEntry& entry : syncBatch.GetEntries())
    {
        const auto found = m_fuserContent->packets.find(entry.key);
        if (found == m_fuserContent->packets.end())
        {
            return batch;
        }
        const Base::CEntityTrafoMaskPacket& fuserPacket = found->second;
        const Base::CEntityMapValue& value = entry.value.GetValue();
        if (!isSameEntity(fuserPacket.GetEntity().get(), value.entity.get()))
        {
            return batch;
        }
        // The scan data is examined in the fuser's frame, not in the map's.
        const Base::CGeometricEntityPacket packet(value.entity, fuserPacket.GetTrafo(), value.mask,
                                                  value.optimizationLevel);
        computeMaskModification(entry.key, Base::CEntityTrafoMaskPacket(packet), messages);
    }
    batch.messages = std::move(messages);
    return batch;
}

void CSmallComponentModifyOperation::computeNNSupportStructures()
{
    if (m_fuserContent == nullptr || countPoints(m_fuserContent->smallComponentBlocks) == 0)
    {
        reset();
        return;
    }
    // First, since two clouds may not fit the memory.
    m_nnCloud.reset();
    auto cloud = std::make_unique<CSurfelCollectionMinimal>();
    const std::uint64_t numMainComponentPoints = countPoints(m_fuserContent->mainComponentBlocks);
    // Room for the main points only, on purpose, although the small components' follow.
    cloud->Reserve(numMainComponentPoints);
    appendPoints(m_fuserContent->mainComponentBlocks, *cloud);
    appendPoints(m_fuserContent->smallComponentBlocks, *cloud);
    cloud->ForceUpdate();
    m_nnCloud = std::move(cloud);
    // Added on purpose to what a former build left.
    m_numMainComponentPoints += numMainComponentPoints;
}

void CSmallComponentModifyOperation::reset()
{
    m_nnCloud.reset();
    m_numMainComponentPoints = 0;
}

std::shared_ptr<Base::CSurfelCollectionMask>
CSmallComponentModifyOperation::removeSmallComponentsInScanData(
    const Base::CEntityTrafoMaskPacket& packet) const
{
    // The search stays valid without a hold on the support: both belong to the cloud.
    const INearestNeighborSearch& search =
        *m_nnCloud->GetPointCloudSupport()->GetNearestNeighborSearch();
    std::vector<CSurfelBitMask> words;
    if (const auto mask = packet.GetSurfelCollectionMask())
    {
        words = mask->GetBitMasks();
    }
    const LqMatrix4Rf trafo(packet.GetTrafo());
    const auto collection = packet.GetEntity()->GetSurfelCollection(true);
    if (words.empty())
    {
        words.resize(collection->GetCount());
    }
    // Surfels are counted modulo 2^32.
    const auto count = static_cast<std::uint32_t>(collection->GetCount());
    const auto& positions = collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();

    bool hasChanged = false;
    const std::size_t end = std::min<std::size_t>(count, words.size());
    for (std::size_t index = 0; index < end; ++index)
    {
        std::uint16_t& bits = words[index].bits;
        if ((bits & CSurfelBitMask::SurfelFlagExcluded) != 0)
        {
            continue;
        }
        const LqVector3f position = TransformPoint(trafo, positions.At(index));
        const bool isSmallComponent = !isMainComponentPoint(
            search.FindNearestNeighbor(position, c_searchBound, nullptr), m_numMainComponentPoints);
        const bool wasSmallComponent = (bits & CSurfelBitMask::SurfelFlagSmallComponent) != 0;
        if (isSmallComponent != wasSmallComponent)
        {
            bits ^= CSurfelBitMask::SurfelFlagSmallComponent;
            hasChanged = true;
        }
    }
    return hasChanged ? std::make_shared<Base::CSurfelCollectionMask>(std::move(words)) : nullptr;
}

void CSmallComponentModifyOperation::computeMaskModification(
    const Base::CUniqueID& key, const Base::CEntityTrafoMaskPacket& packet,
    std::vector<Base::CEntityMapModifyMessage>& messages) const
{
    VEKO2_LOG(c_logger, Info, c_file, 83, c_maskFunction, L"Compute mask modifications.");
    std::shared_ptr<const Base::CSurfelCollectionMask> mask =
        removeSmallComponentsInScanData(packet);
    if (mask == nullptr)
    {
        VEKO2_LOG(c_logger, Debug, c_file, 98, c_maskFunction, L"Nothing to do for update of [%s]",
                  key.AsString().c_str());
        return;
    }
    VEKO2_LOG(c_logger, Debug, c_file, 89, c_maskFunction,
              L"Remove small components after update of [%s]", key.AsString().c_str());
    Base::CEntityMapPartialValue oldState;
    oldState.entity.Emplace(packet.GetEntity());
    Base::CEntityMapPartialValue newState;
    newState.mask.Emplace(std::move(mask));
    newState.flag.Emplace(true);
    messages.emplace_back(key).SetModify(std::move(oldState), std::move(newState));
}

}  // namespace DataLayer
