#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "Base/Interfaces/ISyncableEntityCollectionModifyOperation.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Tests/Oracle/CCaseRandom.h"
#include "Tests/Oracle/CNamedArrays.h"

// Batches of the synchronised entity map, as cases and as answers.

namespace Oracle
{

/// Declares the arrays of entities and entries, and those of collections and words.
void DeclareEntityBatches(CNamedArrays& cases);

/// What the entries of one batch may do wrong; never both, since which of two failures arrives is
/// open.
struct SBatchFaults
{
    bool mayLackValues = false;
    bool mayLackPositions = false;

    [[nodiscard]] static SBatchFaults Choose(CCaseRandom& random);
};

/// Appends an entity; \p points are those of its collection.
/// @return its index
std::uint32_t AppendEntity(CCaseRandom& random, CNamedArrays& cases, std::vector<LqVector3f> points,
                           const SBatchFaults& faults);

/// Appends an entry with some key.
/// \p entity is an index, or negative for none.
void AppendEntry(CCaseRandom& random, CNamedArrays& cases, std::int32_t entity,
                 const LqMatrix4Rd& trafo, const SBatchFaults& faults);

/// Ends the batch of a case. Its operation is asked once or several times.
void EndBatch(CCaseRandom& random, CNamedArrays& cases);

/// The key, or the identifier, at \p index of an array of such.
[[nodiscard]] Base::CUniqueID GetID(const CNamedArrays& cases, const std::string& name,
                                    std::size_t index);

/// The entities of a file's cases, made when asked for.
class CEntities
{
public:
    explicit CEntities(const CNamedArrays& cases) : m_cases(cases) {}

    /// The entity at \p index, the same object each time; null when negative.
    [[nodiscard]] std::shared_ptr<const Base::IGeometricEntity> Get(std::int32_t index);

    /// The index of an entity that was asked for; -1 when null.
    [[nodiscard]] std::int32_t IndexOf(const Base::IGeometricEntity* entity) const;

    /// Forgets all entities.
    void Clear();

private:
    const CNamedArrays& m_cases;
    std::map<std::int32_t, std::shared_ptr<const Base::IGeometricEntity>> m_entities;
    std::map<const Base::IGeometricEntity*, std::int32_t> m_indices;
};

/// The batch of case \p index.
[[nodiscard]] Base::CEntityMapSyncBatch MakeBatch(const CNamedArrays& cases, std::size_t index,
                                                  CEntities& entities);

void DeclareBatchAnswers(CNamedArrays& answers);

/// Asks \p operation once with \p batch, and appends what it answers or throws; \p getTotal gives
/// the total of modified packets afterwards.
void AppendBatchAnswer(const DataLayer::ISyncableEntityCollectionModifyOperation& operation,
                       const Base::CEntityMapSyncBatch& batch, const CEntities& entities,
                       const std::function<std::uint32_t()>& getTotal, CNamedArrays& answers);

}  // namespace Oracle
