#pragma once

#include <memory>

#include "Base/Export.h"
#include "Base/Interfaces/CEntityID.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Math/LqMatrix4R.h"

namespace Base
{

/// A geometric entity with its placement, its surfel mask and its optimization level.
///
/// A change is always a new packet. A plain value: distinct objects may be used from any thread.
class VEKO2_BASE_EXPORT CGeometricEntityPacket
{
public:
    /// A packet with trafo and mask; both count as present, also when \p mask is an empty pointer.
    CGeometricEntityPacket(const std::shared_ptr<const IGeometricEntity>& entity,
                           const LqMatrix4Rd& trafo,
                           const std::shared_ptr<const CSurfelCollectionMask>& mask,
                           int optimizationLevel);

    /// A packet without trafo and without mask.
    CGeometricEntityPacket(const std::shared_ptr<const IGeometricEntity>& entity,
                           int optimizationLevel);

    [[nodiscard]] const std::shared_ptr<const IGeometricEntity>& GetEntity() const
    {
        return m_entity;
    }

    /// The identity of the entity; the nil identity when the packet has no entity.
    [[nodiscard]] const CEntityID& GetEntityID() const;

// The constant results below are part of the contract.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
    /// The placement, which is applied to the surfels before any other transform; `c_matInvalidD`
    /// when the packet has none.
    [[nodiscard]] const LqMatrix4Rd GetTrafo() const
    {
        return m_trafo;
    }

    /// The mask, which may be an empty pointer also when it is present; empty when it is not.
    [[nodiscard]] const std::shared_ptr<const CSurfelCollectionMask> GetSurfelCollectionMask() const
    {
        return m_mask;
    }

    [[nodiscard]] const int GetOptimizationLevel() const
    {
        return m_optimizationLevel;
    }
#pragma GCC diagnostic pop

    [[nodiscard]] bool HasTrafo() const
    {
        return m_hasTrafo;
    }
    [[nodiscard]] bool HasSurfelCollectionMask() const
    {
        return m_hasMask;
    }

    /// This packet with \p mask in place of its own, present.
    [[nodiscard]] CGeometricEntityPacket WithMask(
        const std::shared_ptr<const CSurfelCollectionMask>& mask) const;

    /// This packet with \p trafo in place of its own, present.
    [[nodiscard]] CGeometricEntityPacket WithTrafo(const LqMatrix4Rd& trafo) const;

private:
    std::shared_ptr<const IGeometricEntity> m_entity;
    LqMatrix4Rd m_trafo = c_matInvalidD;
    bool m_hasTrafo = false;
    std::shared_ptr<const CSurfelCollectionMask> m_mask;
    bool m_hasMask = false;
    int m_optimizationLevel = 0;
};

}  // namespace Base
