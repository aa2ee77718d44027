#include "Base/Interfaces/CGeometricEntityPacket.h"

namespace Base
{

CGeometricEntityPacket::CGeometricEntityPacket(
    const std::shared_ptr<const IGeometricEntity>& entity, const LqMatrix4Rd& trafo,
    const std::shared_ptr<const CSurfelCollectionMask>& mask, int optimizationLevel)
    : m_entity(entity),
      m_trafo(trafo),
      m_hasTrafo(true),
      m_mask(mask),
      m_hasMask(true),
      m_optimizationLevel(optimizationLevel)
{}

CGeometricEntityPacket::CGeometricEntityPacket(
    const std::shared_ptr<const IGeometricEntity>& entity, int optimizationLevel)
    : m_entity(entity), m_optimizationLevel(optimizationLevel)
{}

const CEntityID& CGeometricEntityPacket::GetEntityID() const
{
    static constexpr CEntityID c_nilID = CEntityID::Nil();
    return m_entity != nullptr ? m_entity->GetID() : c_nilID;
}

CGeometricEntityPacket CGeometricEntityPacket::WithMask(
    const std::shared_ptr<const CSurfelCollectionMask>& mask) const
{
    CGeometricEntityPacket packet(*this);
    packet.m_mask = mask;
    packet.m_hasMask = true;
    return packet;
}

CGeometricEntityPacket CGeometricEntityPacket::WithTrafo(const LqMatrix4Rd& trafo) const
{
    CGeometricEntityPacket packet(*this);
    packet.m_trafo = trafo;
    packet.m_hasTrafo = true;
    return packet;
}

}  // namespace Base
