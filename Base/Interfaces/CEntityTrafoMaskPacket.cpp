#include "Base/Interfaces/CEntityTrafoMaskPacket.h"

namespace Base
{

CEntityTrafoMaskPacket::CEntityTrafoMaskPacket(const CGeometricEntityPacket& packet)
    : m_entity(packet.GetEntity()),
      m_trafo(packet.GetTrafo()),
      m_mask(packet.GetSurfelCollectionMask())
{}

}  // namespace Base
