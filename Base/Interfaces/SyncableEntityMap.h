#pragma once

#include <memory>

#include "Base/Export.h"
#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Interfaces/CUniqueID.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Interfaces/SyncableMap.h"
#include "Base/Math/LqMatrix4R.h"

// The synchronised map of geometric entities: the records of SyncableMap.h with its five arguments.

namespace Base
{

using CEntityMapValue =
    TSyncableMapValue<CUniqueID, std::shared_ptr<const IGeometricEntity>, LqMatrix4Rd,
                      std::shared_ptr<const CSurfelCollectionMask>, int>;

using CEntityMapPartialValue =
    TSyncableMapPartialValue<CUniqueID, std::shared_ptr<const IGeometricEntity>, LqMatrix4Rd,
                             std::shared_ptr<const CSurfelCollectionMask>, int>;

using CEntityMapSyncEntry =
    TSyncableMapSyncEntry<CUniqueID, std::shared_ptr<const IGeometricEntity>, LqMatrix4Rd,
                          std::shared_ptr<const CSurfelCollectionMask>, int>;

using CEntityMapSyncBatch =
    TSyncableMapSyncBatch<CUniqueID, std::shared_ptr<const IGeometricEntity>, LqMatrix4Rd,
                          std::shared_ptr<const CSurfelCollectionMask>, int>;

using CEntityMapModifyMessage =
    TSyncableMapModifyMessage<CUniqueID, std::shared_ptr<const IGeometricEntity>, LqMatrix4Rd,
                              std::shared_ptr<const CSurfelCollectionMask>, int>;

using CEntityMapModifyBatch =
    TSyncableMapModifyBatch<CUniqueID, std::shared_ptr<const IGeometricEntity>, LqMatrix4Rd,
                            std::shared_ptr<const CSurfelCollectionMask>, int>;

/// The full state of an entry whose entity is \p packet's, with the given flag and a 64-bit field
/// of 0. A packet without trafo gives `c_matInvalidD`, one without mask an empty pointer.
[[nodiscard]] VEKO2_BASE_EXPORT CEntityMapValue
MakeEntityMapValue(const CGeometricEntityPacket& packet, bool flag);

}  // namespace Base
