#pragma once

#include <cstddef>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"

namespace DataLayer
{

/// Shows the operation's private parts to its tests.
class CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer
{
public:
    using Operation = CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
    using OptionalPacket = ScanAPI::TOptional<Base::CGeometricEntityPacket>;

    [[nodiscard]] static OptionalPacket CutPacket(const Operation& operation,
                                                  const Base::CGeometricEntityPacket& packet,
                                                  const CCutPointCloudWithPixelMask& cutter)
    {
        return operation.cutPacket(packet, cutter);
    }

    [[nodiscard]] static OptionalPacket FreezeOutlierBits(
        const Operation& operation, const Base::CGeometricEntityPacket& packet)
    {
        return operation.freezeOutlierBits(packet);
    }

    /// Where the members lie, in bytes from the start of the object, in the order of the contract.
    struct SOffsets
    {
        std::ptrdiff_t regionSelection;
        std::ptrdiff_t matrix;
        std::ptrdiff_t numModifiedPackets;
    };
    [[nodiscard]] static SOffsets GetOffsets(const Operation& operation)
    {
        const auto offset = [&](const auto& member) {
            return reinterpret_cast<const char*>(&member) -
                   reinterpret_cast<const char*>(&operation);
        };
        return {offset(operation.m_regionSelection), offset(operation.m_matrix),
                offset(operation.m_numModifiedPackets)};
    }
};

}  // namespace DataLayer
