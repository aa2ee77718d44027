#pragma once

#include <memory>

#include "Base/Export.h"
#include "Base/Interfaces/IIdentified.h"
#include "Base/Interfaces/ISkeletonEntityTag.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/ITagged.h"

namespace Base
{

/// A geometric object of a scan project: surfels with an identity and tags.
///
/// Held through pointers to const only; all operations are safe for concurrent readers.
class VEKO2_BASE_EXPORT IGeometricEntity : public virtual IIdentified, public virtual ITagged
{
public:
    ~IGeometricEntity() override;

    /// The entity's surfels in its own coordinates, never null.
    ///
    /// \p forEditing is true where the surfels themselves are about to be read, and false where
    /// only the collection's support (its bounding box) is; an entity that loads its surfels when
    /// they are needed may tell the two apart. Both answers describe the same surfels.
    [[nodiscard]] virtual std::shared_ptr<const ISurfelCollection> GetSurfelCollection(
        bool forEditing) const = 0;

protected:
    IGeometricEntity() = default;
    IGeometricEntity(const IGeometricEntity&) = default;
    IGeometricEntity& operator=(const IGeometricEntity&) = default;
};

}  // namespace Base
