#pragma once

#include "Base/Export.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Support/INonCopyable.h"

namespace DataLayer
{

/// An edit of a synchronised map of geometric entities: asked with the map's current state, it
/// answers with the changes to make. The map itself, its entities and masks are only read.
///
/// Created by the application and destroyed through this interface.
class VEKO2_BASE_EXPORT ISyncableEntityCollectionModifyOperation : public INonCopyable
{
public:
    virtual ~ISyncableEntityCollectionModifyOperation();

    /// The changes to make to the map whose current state is \p syncBatch. Safe from any number of
    /// threads at once.
    /// @throw ScanAPI::BadOptionalAccessException when an entry whose value it needs has none.
    [[nodiscard]] virtual Base::CEntityMapModifyBatch ComputeModifications(
        const Base::CEntityMapSyncBatch& syncBatch) const = 0;

protected:
    ISyncableEntityCollectionModifyOperation() = default;
};

}  // namespace DataLayer
