#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Math/LqVector3f.h"

namespace Fuzzing
{

/// A synchronised map of entities as its owner keeps it, and the model of what operations do to it.
class CEntityMap
{
public:
    using MaskPointer = std::shared_ptr<const Base::CSurfelCollectionMask>;
    using EntityPointer = std::shared_ptr<const Base::IGeometricEntity>;

    struct SEntry
    {
        Base::CUniqueID key = Base::CUniqueID::Nil();
        EntityPointer entity;
        /// Those of the entity's collection.
        std::vector<LqVector3f> points;
        bool isSkeleton = false;
        LqMatrix4Rd trafo;
        MaskPointer mask;
        int optimizationLevel = 0;
        bool flag = false;
        bool hasValue = true;
    };

    /// A new entry with an entity of its own; \p traits are its level, and whether it is a
    /// skeleton.
    void Insert(const std::vector<LqVector3f>& points, const LqMatrix4Rd& trafo, MaskPointer mask,
                std::uint8_t traits);

    /// \p entry must be one of this map's.
    void Remove(const SEntry* entry);

    /// An entity without surfels that is in no map.
    [[nodiscard]] static EntityPointer MakeOtherEntity();

    [[nodiscard]] const std::vector<SEntry>& GetEntries() const { return m_entries; }

    /// Null when there are not so many.
    [[nodiscard]] SEntry* Find(std::size_t index);

    [[nodiscard]] Base::CEntityMapSyncBatch MakeBatch() const;

    /// Takes over the new states of an operation's answer. Fails when one names a key that is not
    /// in the map.
    void Apply(const Base::CEntityMapModifyBatch& answer);

    /// The words of all masks, for a comparison afterwards.
    [[nodiscard]] std::vector<std::vector<Base::CSurfelBitMask>> CopyWords() const;

    /// Whether each collection still has its entry's points.
    [[nodiscard]] bool HasPoints() const;

private:
    std::vector<SEntry> m_entries;
    std::uint8_t m_numMade = 0;
};

}  // namespace Fuzzing
