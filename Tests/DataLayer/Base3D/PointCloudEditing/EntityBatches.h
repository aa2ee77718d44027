#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "Base/Interfaces/SyncableEntityMap.h"
#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/CMockSurfelCollection.h"

namespace TestSupport
{

using Words = std::vector<Base::CSurfelBitMask>;

/// Flag words from plain numbers.
inline Words MakeWords(std::initializer_list<std::uint16_t> bits)
{
    Words words;
    for (const std::uint16_t word : bits)
    {
        words.push_back({word});
    }
    return words;
}

inline std::shared_ptr<const Base::CSurfelCollectionMask> MakeSurfelMask(Words words)
{
    return std::make_shared<const Base::CSurfelCollectionMask>(std::move(words));
}

/// A mock entity together with its mock collection.
struct SMockEntity
{
    std::shared_ptr<CMockSurfelCollection> collection;
    std::shared_ptr<CMockGeometricEntity> entity;

    explicit SMockEntity(const std::vector<LqVector3f>& positions)
        : collection(std::make_shared<CMockSurfelCollection>(positions)),
          entity(std::make_shared<CMockGeometricEntity>(collection))
    {}
};

/// An entry with a key of its own and the given parts; everything else is what a caller need not
/// say.
inline Base::CEntityMapSyncEntry MakeEntry(
    std::shared_ptr<const Base::IGeometricEntity> entity,
    std::shared_ptr<const Base::CSurfelCollectionMask> mask = nullptr,
    const LqMatrix4Rd& trafo = c_matIdentityD)
{
    Base::CEntityMapValue value;
    value.entity = std::move(entity);
    value.mask = std::move(mask);
    value.trafo = trafo;
    Base::CEntityMapSyncEntry entry;
    entry.value = std::move(value);
    return entry;
}

/// A batch of the given entries.
template <typename... Entries>
Base::CEntityMapSyncBatch MakeBatch(Entries&&... entries)
{
    return Base::CEntityMapSyncBatch(
        std::vector<Base::CEntityMapSyncEntry>{std::forward<Entries>(entries)...});
}

/// The words of a mask that must be there.
inline const Words& WordsOf(const std::shared_ptr<const Base::CSurfelCollectionMask>& mask)
{
    return mask->GetBitMasks();
}

}  // namespace TestSupport
