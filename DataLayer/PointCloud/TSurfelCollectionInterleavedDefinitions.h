#pragma once

#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "Base/Support/LargePages.h"
#include "DataLayer/PointCloud/CPointCloudSupport.h"
#include "DataLayer/PointCloud/SurfelSubsets.h"
#include "DataLayer/PointCloud/TSurfelCollectionInterleaved.h"
#include "DataLayer/PointCloud/TSurfelReader.h"
#include "DataLayer/PointCloud/TSurfelTraits.h"

// Not installed: included by the sources that instantiate the template, one per record.

namespace DataLayer
{

/// The collection's own records when it keeps such, else null.
template <typename Surfel, typename Interface>
[[nodiscard]] const Surfel* FindRecords(
    const TSurfelCollectionInterleaved<Surfel, Interface>& /*kind*/,
    const Base::ISurfelCollection& collection)
{
    const auto* const sameKind =
        dynamic_cast<const TSurfelCollectionInterleaved<Surfel, Interface>*>(&collection);
    return sameKind != nullptr && sameKind->GetCount() != 0 ? &sameKind->GetSurfel(0) : nullptr;
}

template <typename Surfel, typename Interface>
TSurfelCollectionInterleaved<Surfel, Interface>::TSurfelCollectionInterleaved()
{
    updateAccessors();
}

template <typename Surfel, typename Interface>
TSurfelCollectionInterleaved<Surfel, Interface>::~TSurfelCollectionInterleaved() = default;

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::Reserve(std::uint64_t count)
{
    m_surfels.reserve(count);
    updateAccessors();
    resetSupport();
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::AddSurfelNoReset(Surfel&& surfel)
{
    const std::size_t oldCapacity = m_surfels.capacity();
    m_surfels.push_back(surfel);
    if (m_surfels.capacity() != oldCapacity)
    {
        updateAccessors();
    }
}

template <typename Surfel, typename Interface>
Surfel* TSurfelCollectionInterleaved<Surfel, Interface>::AddSurfelsNoReset(std::uint64_t count)
{
    const std::uint64_t oldCount = GetCount();
    const std::uint64_t newCount = AddSurfelCounts(oldCount, count);
    if (newCount > m_surfels.capacity())
    {
        Base::ReserveInLargePages(m_surfels,
                                  std::max<std::uint64_t>(newCount, 2 * m_surfels.capacity()));
    }
    m_surfels.resize(newCount);
    updateAccessors();
    return m_surfels.data() + oldCount;
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::ForceUpdate()
{
    auto support = makeSupport();
    support->BuildAll();
    setSupport(std::move(support));
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::ForceUpdateButIndex()
{
    auto support = makeSupport();
    support->BuildAllButIndex();
    setSupport(std::move(support));
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::Serialize(
    Base::IVekoStreamWrite& stream) const
{
    using Traits = TSurfelTraits<Surfel>;
    if constexpr (Traits::c_serializedSize == sizeof(Surfel))
    {
        Base::WriteElements(stream, Traits::c_tag, m_surfels.data(), GetCount(), sizeof(Surfel));
    }
    else
    {
        std::vector<std::byte> packed(m_surfels.size() * Traits::c_serializedSize);
        for (std::size_t index = 0; index < m_surfels.size(); ++index)
        {
            std::memcpy(packed.data() + index * Traits::c_serializedSize, &m_surfels[index],
                        Traits::c_serializedSize);
        }
        Base::WriteElements(stream, Traits::c_tag, packed.data(), GetCount(),
                            Traits::c_serializedSize);
    }
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::Serialize(Base::IVekoStreamRead& stream)
{
    using Traits = TSurfelTraits<Surfel>;
    const std::vector<std::byte> packed =
        Base::ReadElements(stream, Traits::c_tag, Traits::c_serializedSize);
    Surfels surfels(packed.size() / Traits::c_serializedSize, Surfel());
    for (std::size_t index = 0; index < surfels.size(); ++index)
    {
        std::memcpy(static_cast<void*>(&surfels[index]),
                    packed.data() + index * Traits::c_serializedSize, Traits::c_serializedSize);
    }
    SetSurfels(std::move(surfels));
}

template <typename Surfel, typename Interface>
std::shared_ptr<const Base::IPointCloudSupport>
TSurfelCollectionInterleaved<Surfel, Interface>::GetPointCloudSupport() const
{
    const std::lock_guard lock(m_supportMutex);
    if (m_support == nullptr || m_supportCount != GetCount())
    {
        m_support = makeSupport();
        m_supportCount = GetCount();
    }
    return m_support;
}

template <typename Surfel, typename Interface>
std::shared_ptr<Base::ISurfelCollection>
TSurfelCollectionInterleaved<Surfel, Interface>::GetSubsetCopyByIndex(
    const std::vector<std::size_t>& indices, SubsetMode mode) const
{
    return createFrom(CopySubsetByIndex<Surfels>(
        "DataLayer::TSurfelCollectionInterleaved::GetSubsetCopyByIndex", GetCount(), indices, mode,
        [surfels = m_surfels.data()](std::uint64_t index) { return surfels[index]; }));
}

template <typename Surfel, typename Interface>
std::shared_ptr<Base::ISurfelCollection>
TSurfelCollectionInterleaved<Surfel, Interface>::GetSubsetCopyByMask(
    const std::vector<Base::CSurfelBitMask>& bitMasks, Base::CSurfelBitMask bits,
    MaskMode mode) const
{
    return createFrom(CopySubsetByMask<Surfels>(
        "DataLayer::TSurfelCollectionInterleaved::GetSubsetCopyByMask", GetCount(), bitMasks, bits,
        mode, [surfels = m_surfels.data()](std::uint64_t index) { return surfels[index]; }));
}

template <typename Surfel, typename Interface>
std::shared_ptr<Base::ISurfelCollection>
TSurfelCollectionInterleaved<Surfel, Interface>::GetSubsetCopyByMask(const std::vector<bool>& mask,
                                                                     MaskMode mode) const
{
    return createFrom(CopySubsetByMask<Surfels>(
        "DataLayer::TSurfelCollectionInterleaved::GetSubsetCopyByMask", GetCount(), mask, mode,
        [surfels = m_surfels.data()](std::uint64_t index) { return surfels[index]; }));
}

template <typename Surfel, typename Interface>
std::unique_ptr<Base::ISurfelCollection>
TSurfelCollectionInterleaved<Surfel, Interface>::CloneFromCollection(
    const std::vector<const Base::ISurfelCollection*>& collections,
    const std::vector<LqMatrix4Rd>& trafos) const
{
    CheckSources("DataLayer::TSurfelCollectionInterleaved::CloneFromCollection", collections,
                 trafos);
    std::vector<TSurfelReader<Surfel>> readers;
    readers.reserve(collections.size());
    std::uint64_t count = 0;
    for (std::size_t place = 0; place < collections.size(); ++place)
    {
        const Base::ISurfelCollection& collection = *collections[place];
        readers.emplace_back(collection, FindRecords(*this, collection), trafos[place]);
        count = AddSurfelCounts(count, readers.back().GetCount());
    }
    Surfels surfels(count);
    Surfel* target = surfels.data();
    for (const TSurfelReader<Surfel>& reader : readers)
    {
        reader.ReadAll(target);
        target += reader.GetCount();
    }
    return createFrom(std::move(surfels));
}

template <typename Surfel, typename Interface>
std::unique_ptr<Base::ISurfelCollection> TSurfelCollectionInterleaved<Surfel, Interface>::Clone(
    const LqMatrix4Rd& trafo) const
{
    return CloneFromCollection({this}, {trafo});
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::Append(
    const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo)
{
    const TSurfelReader<Surfel> reader(collection, FindRecords(*this, collection), trafo);
    const std::uint64_t oldCount = GetCount();
    const std::uint64_t count = AddSurfelCounts(oldCount, reader.GetCount());
    if (count > m_surfels.capacity())
    {
        // The old array lives until the new one is complete, since the source may borrow it.
        Surfels surfels;
        surfels.reserve(std::max(count, 2 * oldCount));
        surfels.assign(m_surfels.begin(), m_surfels.end());
        surfels.resize(count);
        reader.ReadAll(surfels.data() + oldCount);
        SetSurfels(std::move(surfels));
        return;
    }
    struct SResizeAtEnd
    {
        Surfels& surfels;
        std::uint64_t count;
        ~SResizeAtEnd() { surfels.resize(count); }
    } resizeAtEnd{m_surfels, oldCount};
    m_surfels.resize(count);
    reader.ReadAll(m_surfels.data() + oldCount);
    resizeAtEnd.count = count;
    resetSupport();
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::ScatterCopy(
    const Base::ISurfelCollection& collection, const IndexPairs& pairs, const LqMatrix4Rd& trafo)
{
    const TSurfelReader<Surfel> reader(collection, FindRecords(*this, collection), trafo);
    CheckIndexPairs("DataLayer::TSurfelCollectionInterleaved::ScatterCopy", pairs,
                    reader.GetCount(), GetCount());
    // All surfels are read before the first is overwritten, since the source may borrow them.
    Surfels moved(pairs.size());
    ForEachSurfelBlock(pairs.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t place = begin; place < end; ++place)
        {
            moved[place] = reader.Read(pairs[place].first);
        }
    });
    for (std::size_t place = 0; place < pairs.size(); ++place)
    {
        m_surfels[pairs[place].second] = moved[place];
    }
    resetSupport();
}

template <typename Surfel, typename Interface>
std::vector<ScanAPI::SimpleVec3f> TSurfelCollectionInterleaved<Surfel, Interface>::GetAllPositions()
    const
{
    return CopyElements(m_positions, GetCount());
}

template <typename Surfel, typename Interface>
bool TSurfelCollectionInterleaved<Surfel, Interface>::HasNormals() const
{
    return TSurfelTraits<Surfel>::c_hasNormal;
}

template <typename Surfel, typename Interface>
std::vector<ScanAPI::SimpleVec3f> TSurfelCollectionInterleaved<Surfel, Interface>::GetAllNormals()
    const
{
    return HasNormals() ? CopyElements(m_normals, GetCount()) : std::vector<ScanAPI::SimpleVec3f>();
}

template <typename Surfel, typename Interface>
Base::AElementAccessBase* TSurfelCollectionInterleaved<Surfel, Interface>::getElementAccess(
    const std::type_index& definition)
{
    if (definition == typeid(Base::CSCElementDefinitionPosition))
    {
        return &m_positions;
    }
    if (HasNormals() && definition == typeid(Base::CSCElementDefinitionNormal))
    {
        return &m_normals;
    }
    return nullptr;
}

template <typename Surfel, typename Interface>
const Base::AElementAccessBase* TSurfelCollectionInterleaved<Surfel, Interface>::getElementAccess(
    const std::type_index& definition) const
{
    if (definition == typeid(Base::CSCElementDefinitionPosition))
    {
        return &m_positions;
    }
    if (HasNormals() && definition == typeid(Base::CSCElementDefinitionNormal))
    {
        return &m_normals;
    }
    return nullptr;
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::SetSurfels(Surfels&& surfels)
{
    m_surfels = std::move(surfels);
    updateAccessors();
    resetSupport();
}

template <typename Surfel, typename Interface>
std::unique_ptr<TSurfelCollectionInterleaved<Surfel, Interface>>
TSurfelCollectionInterleaved<Surfel, Interface>::createFrom(Surfels&& surfels) const
{
    auto collection = createEmpty();
    collection->SetSurfels(std::move(surfels));
    return collection;
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::updateAccessors()
{
    const Surfel* const surfels = m_surfels.data();
    m_positions = CPositionAccess(surfels, sizeof(Surfel));
    if constexpr (TSurfelTraits<Surfel>::c_hasNormal)
    {
        using Traits = TSurfelTraits<Surfel>;
        const auto* const bytes = reinterpret_cast<const std::byte*>(surfels);
        m_normals = CNormalAccess(bytes == nullptr ? nullptr : bytes + Traits::c_normalOffset,
                                  sizeof(Surfel), Traits::c_decoder);
    }
}

template <typename Surfel, typename Interface>
std::shared_ptr<const CPointCloudSupport>
TSurfelCollectionInterleaved<Surfel, Interface>::makeSupport() const
{
    return std::make_shared<const CPointCloudSupport>(
        SPositionArray{m_positions.GetFirstElement(), sizeof(Surfel), GetCount()});
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::setSupport(
    std::shared_ptr<const Base::IPointCloudSupport> support)
{
    const std::lock_guard lock(m_supportMutex);
    m_support = std::move(support);
    m_supportCount = GetCount();
}

template <typename Surfel, typename Interface>
void TSurfelCollectionInterleaved<Surfel, Interface>::resetSupport()
{
    const std::lock_guard lock(m_supportMutex);
    m_support.reset();
}

}  // namespace DataLayer
