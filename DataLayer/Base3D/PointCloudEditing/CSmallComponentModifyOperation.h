#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Interfaces/CEntityTrafoMaskPacket.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Interfaces/ISyncableEntityCollectionModifyOperation.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "DataLayer/Base3D/PointCloudEditing/Export.h"

namespace DataLayer
{

class CNearestNeighborSplit;
class CSurfelCollectionMinimal;
struct SFuserContent;

/// Flags the surfels of a synchronised map that belong to small components of the fused model.
///
///     std::shared_ptr<const SFuserContent> content = ...;
///     const CSmallComponentModifyOperation operation(content);
///     const Base::CEntityMapModifyBatch batch = operation.ComputeModifications(syncBatch);
///
/// A surfel whose nearest fused point within 2.25, in the unit of the fused points' coordinates,
/// belongs to a main component loses SurfelFlagSmallComponent; one whose nearest fused point
/// belongs to a small component, or that has none within the bound, gets it. On purpose, the first
/// point of the small components counts as one of a main component. Surfels with SurfelFlagExcluded
/// are left alone. Surfels, masks, the content and the map itself are only read.
class VEKO2_POINTCLOUDEDITING_EXPORT CSmallComponentModifyOperation
    : public ISyncableEntityCollectionModifyOperation
{
public:
    /// Shares \p fuserContent, which may be empty and must not change while the operation lives,
    /// and indexes its points once. Without points of small components, or without points of main
    /// ones, the operation answers every batch with no messages.
    /// @throw std::length_error when there are more than 2^31 - 1 fused points, but only after they
    /// have been gathered in memory.
    explicit CSmallComponentModifyOperation(std::shared_ptr<const SFuserContent>& fuserContent);
    ~CSmallComponentModifyOperation() override;

    /// Flags the entries one after the other on the calling thread. The batch has one Modify
    /// message per entry whose mask changes, in the order of the entries: only the entry's entity
    /// as the old state, only the new mask and a flag of true as the new state. Its origin is this
    /// class's name.
    ///
    /// Surfels are placed by the fuser's trafo of the entity, not by the map's. All or nothing: an
    /// entry that the fuser does not know, or whose entity is not the one that the fuser knows
    /// under this key (a missing entity is none), means that the content does not describe the map,
    /// and the batch has no messages at all. A missing mask counts as no flags. Every entity must
    /// answer with a surfel collection. Safe on any number of threads at once.
    ///
    /// @throw ScanAPI::BadOptionalAccessException when an entry that the fuser knows has no value.
    /// @throw VekoException when an entity's collection has no positions.
    [[nodiscard]] Base::CEntityMapModifyBatch ComputeModifications(
        const Base::CEntityMapSyncBatch& syncBatch) const override;

private:
    friend class CSmallComponentModifyOperationTestPeer;

    /// Builds the neighbour cloud anew from the content. The number of main points is added to what
    /// it was: only reset() and the constructor set it to 0.
    void computeNNSupportStructures();

    /// Gives up the neighbour cloud and keeps the content.
    void reset();

    /// The packet's mask with SurfelFlagSmallComponent as the fused points tell, or an empty
    /// pointer when no word changes. Needs a neighbour cloud and an entity. Surfels without a word
    /// in a mask that has words are left out.
    [[nodiscard]] std::shared_ptr<Base::CSurfelCollectionMask> removeSmallComponentsInScanData(
        const Base::CEntityTrafoMaskPacket& packet) const;

    /// Appends the message for the entry \p key, whose state is \p packet, if its mask changes.
    void computeMaskModification(const Base::CUniqueID& key,
                                 const Base::CEntityTrafoMaskPacket& packet,
                                 std::vector<Base::CEntityMapModifyMessage>& messages) const;

    std::shared_ptr<const SFuserContent> m_fuserContent;
    /// The main points, then the points of the small components, so that the index of a neighbour
    /// tells which it is. Empty without points of small components.
    std::unique_ptr<CSurfelCollectionMinimal> m_nnCloud;
    std::uint64_t m_numMainComponentPoints = 0;
    /// Tells main points from small ones without finding them. Belongs to this cloud and this
    /// number and changes with them; empty where cells are of no use for this cloud.
    std::unique_ptr<const CNearestNeighborSplit> m_split;
};

}  // namespace DataLayer
