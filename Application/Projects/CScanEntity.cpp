#include "Application/Projects/CScanEntity.h"

#include <utility>

#include "Application/Projects/CSkeletonTag.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

CScanEntity::CScanEntity(const Base::CEntityID& id,
                         std::shared_ptr<const Base::ISurfelCollection> collection, bool isSkeleton)
    : m_id(id), m_collection(std::move(collection)), m_isSkeleton(isSkeleton)
{}

std::shared_ptr<const Base::ISurfelCollection> CScanEntity::GetSurfelCollection(
    bool /*forEditing*/) const
{
    return m_collection;
}

const Base::CEntityID& CScanEntity::GetID() const
{
    return m_id;
}

std::shared_ptr<Base::IVekoSerializable> CScanEntity::FindTag(
    const std::string& interfaceName) const
{
    if (m_isSkeleton && interfaceName == "ISkeletonEntityTag")
    {
        return std::make_shared<CSkeletonTag>();
    }
    return nullptr;
}

std::shared_ptr<const CScanEntity> CScanEntity::With(
    std::shared_ptr<const Base::ISurfelCollection> collection) const
{
    return std::make_shared<const CScanEntity>(m_id, std::move(collection), m_isSkeleton);
}

}  // namespace Application
