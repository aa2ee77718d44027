#pragma once

#include <memory>

#include "Base/Export.h"
#include "Base/Interfaces/CGeometricEntityPacket.h"

namespace Base
{

/// The entity, trafo and mask of a packet, read only.
///
/// A plain value: distinct objects may be used from any thread.
class VEKO2_BASE_EXPORT CEntityTrafoMaskPacket
{
public:
    /// Takes the three as \p packet answers them: where it has no trafo or no mask, the trafo is
    /// `c_matInvalidD` and the mask empty.
    CEntityTrafoMaskPacket(const CGeometricEntityPacket& packet);

    [[nodiscard]] std::shared_ptr<const IGeometricEntity> GetEntity() const { return m_entity; }
    [[nodiscard]] const LqMatrix4Rd& GetTrafo() const { return m_trafo; }
    // Constant, as the packet's own.
    [[nodiscard]] const std::shared_ptr<const CSurfelCollectionMask> GetSurfelCollectionMask() const
    {
        return m_mask;
    }

private:
    std::shared_ptr<const IGeometricEntity> m_entity;
    LqMatrix4Rd m_trafo;
    std::shared_ptr<const CSurfelCollectionMask> m_mask;
};

}  // namespace Base
