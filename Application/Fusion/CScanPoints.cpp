#include "Application/Fusion/CScanPoints.h"

#include <stdexcept>

namespace Application
{

namespace
{

std::shared_ptr<const Base::ISurfelCollection> RequireCollection(const CScanFuser::SScan& scan)
{
    if (scan.entity == nullptr)
    {
        throw std::invalid_argument("A scan to fuse has no entity.");
    }
    auto collection = scan.entity->GetSurfelCollection(true);
    if (collection == nullptr)
    {
        throw std::invalid_argument("The entity of a scan to fuse has no surfel collection.");
    }
    return collection;
}

const Base::CSurfelBitMask* RequireWords(const Base::CSurfelCollectionMask* mask,
                                         std::uint64_t count)
{
    if (mask == nullptr || mask->GetBitMasks().empty())
    {
        return nullptr;
    }
    if (mask->GetBitMasks().size() != count)
    {
        throw std::invalid_argument("The mask of a scan to fuse has not one word per surfel.");
    }
    return mask->GetBitMasks().data();
}

}  // namespace

CScanPoints::CScanPoints(const CScanFuser::SScan& scan, std::uint16_t leftOutFlags)
    : m_collection(RequireCollection(scan)),
      m_mask(scan.mask),
      m_trafo(scan.trafo),
      m_count(m_collection->GetCount()),
      m_firstPosition(nullptr),
      m_positionStride(0),
      m_words(RequireWords(m_mask.get(), m_count)),
      m_leftOutFlags(leftOutFlags)
{
    const auto& positions = m_collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    m_firstPosition = positions.GetFirstElement();
    m_positionStride = positions.GetStrideInBytes();
}

}  // namespace Application
