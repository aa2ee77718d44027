#include "Fuzz/Support/CEntityMap.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "Application/Projects/CScanEntity.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

Base::CEntityID MakeID(std::uint8_t number)
{
    // Both ends count.
    std::array<std::uint8_t, 16> bytes{};
    bytes.front() = static_cast<std::uint8_t>(number / 2);
    bytes.back() = number;
    return Base::CEntityID(bytes);
}

CEntityMap::EntityPointer MakeEntity(std::uint8_t number, const std::vector<LqVector3f>& points,
                                     bool isSkeleton)
{
    const auto owner = std::make_shared<const std::vector<LqVector3f>>(points);
    return std::make_shared<const Application::CScanEntity>(
        MakeID(number),
        std::make_shared<const DataLayer::CSurfelCollectionView>(owner, owner->size(),
                                                                 owner->data(), sizeof(LqVector3f)),
        isSkeleton);
}

}  // namespace

void CEntityMap::Insert(const std::vector<LqVector3f>& points, const LqMatrix4Rd& trafo,
                        MaskPointer mask, std::uint8_t traits)
{
    constexpr std::uint8_t c_most = 250;
    if (m_numMade == c_most)
    {
        return;
    }
    ++m_numMade;
    SEntry entry;
    entry.key = MakeID(m_numMade);
    entry.isSkeleton = traits % 4 == 0;
    entry.entity = MakeEntity(m_numMade, points, entry.isSkeleton);
    entry.points = points;
    entry.trafo = trafo;
    entry.mask = std::move(mask);
    entry.optimizationLevel = traits - 128;
    entry.flag = traits % 3 == 0;
    m_entries.push_back(std::move(entry));
}

void CEntityMap::Remove(const SEntry* entry)
{
    m_entries.erase(m_entries.begin() + (entry - m_entries.data()));
}

CEntityMap::EntityPointer CEntityMap::MakeOtherEntity()
{
    constexpr std::uint8_t c_number = 255;
    return MakeEntity(c_number, {}, false);
}

CEntityMap::SEntry* CEntityMap::Find(std::size_t index)
{
    return index < m_entries.size() ? &m_entries[index] : nullptr;
}

Base::CEntityMapSyncBatch CEntityMap::MakeBatch() const
{
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (const SEntry& entry : m_entries)
    {
        Base::CEntityMapSyncEntry& made = entries.emplace_back();
        made.key = entry.key;
        if (entry.hasValue)
        {
            made.value = Base::CEntityMapValue{
                entry.optimizationLevel, entry.mask, entry.trafo, entry.entity, entry.flag, 1};
        }
    }
    return Base::CEntityMapSyncBatch(std::move(entries));
}

void CEntityMap::Apply(const Base::CEntityMapModifyBatch& answer)
{
    for (const Base::CEntityMapModifyMessage& message : answer.messages)
    {
        const auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                                        [&](const SEntry& at) { return at.key == message.key; });
        Require(entry != m_entries.end(), "an operation answers for entries that there are");
        const Base::CEntityMapPartialValue& state = message.GetNewState();
        if (state.mask.HasValue())
        {
            entry->mask = state.mask.GetValue();
        }
        if (state.flag.HasValue())
        {
            entry->flag = state.flag.GetValue();
        }
    }
}

std::vector<std::vector<Base::CSurfelBitMask>> CEntityMap::CopyWords() const
{
    std::vector<std::vector<Base::CSurfelBitMask>> words;
    for (const SEntry& entry : m_entries)
    {
        words.push_back(entry.mask == nullptr ? std::vector<Base::CSurfelBitMask>()
                                              : entry.mask->GetBitMasks());
    }
    return words;
}

bool CEntityMap::HasPoints() const
{
    return std::all_of(m_entries.begin(), m_entries.end(), [](const SEntry& entry) {
        if (entry.entity == nullptr)
        {
            return true;
        }
        const auto points = entry.entity->GetSurfelCollection(true)->GetAllPositions();
        return points.size() == entry.points.size() &&
               (points.empty() || std::memcmp(points.data(), entry.points.data(),
                                              points.size() * sizeof points[0]) == 0);
    });
}

}  // namespace Fuzzing
