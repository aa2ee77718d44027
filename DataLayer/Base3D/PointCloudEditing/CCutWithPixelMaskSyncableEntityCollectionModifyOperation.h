#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "Base/Interfaces/ISyncableEntityCollectionModifyOperation.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Support/TOptional.h"
#include "Base/Support/shared_not_null.h"
#include "DataLayer/Base3D/PointCloudEditing/Export.h"

namespace Base
{
class CGeometricEntityPacket;
class IGeometricEntity;
struct SRegionSelectionInfo;
}  // namespace Base

namespace DataLayer
{

class CCutPointCloudWithPixelMask;

/// Cuts every entity of a synchronised map with one region that was painted on the screen.
///
///     const CCutWithPixelMaskSyncableEntityCollectionModifyOperation operation(
///         selection, c_matIdentityD);
///     const Base::CEntityMapModifyBatch batch = operation.ComputeModifications(syncBatch);
///
/// An entity under the paint gets a new mask, in which SurfelFlagCut is set on the surfels that
/// CCutPointCloudWithPixelMask finds there; skeleton entities are left whole. In every mask, cut or
/// not, the outlier bits are frozen: a surfel that has one of them gets SurfelFlagOutlierFrozen.
/// Surfels, masks and the map itself are only read.
class VEKO2_POINTCLOUDEDITING_EXPORT CCutWithPixelMaskSyncableEntityCollectionModifyOperation
    : public ISyncableEntityCollectionModifyOperation
{
public:
    /// Keeps \p regionSelection alive as long as the operation. \p matrix is applied to each
    /// entity's surfels after the entity's own trafo and before the selection's view chain. A
    /// std::shared_ptr given for \p regionSelection throws VekoException when it is empty.
    CCutWithPixelMaskSyncableEntityCollectionModifyOperation(
        const ScanAPI::shared_not_null<const Base::SRegionSelectionInfo>& regionSelection,
        LqMatrix4Rd matrix);
    ~CCutWithPixelMaskSyncableEntityCollectionModifyOperation() override;

    /// Cuts the entities in parallel. When at least one mask has changed, the batch has one Modify
    /// message for every entry, in the order of the entries, also for those that did not change:
    /// all five members of the entry's value as the old state, and the same with the new mask and a
    /// flag of false as the new state. When none has, it has no message. Its origin is this class's
    /// name.
    ///
    /// Every entity must answer with a surfel collection. Results are the same for every number of
    /// threads. Safe on any number of threads at once.
    ///
    /// @throw ScanAPI::BadOptionalAccessException when an entry has no value.
    /// @throw VekoException when a collection that may lie under the paint has no positions.
    /// @throw std::length_error as CCutPointCloudWithPixelMask::Compute().
    /// After an exception GetNumModifiedPackets() is what it was.
    [[nodiscard]] Base::CEntityMapModifyBatch ComputeModifications(
        const Base::CEntityMapSyncBatch& syncBatch) const override;

    /// How many masks have changed, cut or frozen, in all calls of ComputeModifications() so far,
    /// modulo 2^32. Safe from any thread.
    [[nodiscard]] unsigned int GetNumModifiedPackets() const;

private:
    friend class CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer;

    using OptionalPacket = ScanAPI::TOptional<Base::CGeometricEntityPacket>;
    using MaskPointer = std::shared_ptr<const Base::CSurfelCollectionMask>;

    /// The task of one entry: its new mask, empty when it does not change.
    [[nodiscard]] MaskPointer computeNewMask(const Base::CEntityMapValue& value,
                                             const CCutPointCloudWithPixelMask& cutter) const;

    [[nodiscard]] bool isToBeCut(const Base::CGeometricEntityPacket& packet,
                                 const CCutPointCloudWithPixelMask& cutter) const;

    /// The packet with its mask cut, or nothing when the cut changes no word.
    [[nodiscard]] OptionalPacket cutPacket(const Base::CGeometricEntityPacket& packet,
                                           const CCutPointCloudWithPixelMask& cutter) const;

    /// The packet with the outlier bits of its mask frozen, or nothing when that changes no word.
    [[nodiscard]] OptionalPacket freezeOutlierBits(
        const Base::CGeometricEntityPacket& packet) const;

    /// Carries a packet's surfels to the coordinates in which the view chain starts. A packet
    /// without trafo is not told apart: its marker lies nowhere on the screen.
    [[nodiscard]] LqMatrix4Rd combine(const Base::CGeometricEntityPacket& packet) const;

    std::shared_ptr<const Base::SRegionSelectionInfo> m_regionSelection;
    LqMatrix4Rd m_matrix;
    mutable std::atomic<std::uint32_t> m_numModifiedPackets = 0;
};

}  // namespace DataLayer
