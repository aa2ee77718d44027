#pragma once

#include <algorithm>
#include <cstdint>

#include "Base/Interfaces/ISurfelCollection.h"
#include "DataLayer/PointCloud/CSurfelTransform.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"
#include "DataLayer/PointCloud/TSurfelTraits.h"

namespace DataLayer
{

/// Reads the surfels of any collection as moved records of type \p Surfel.
///
/// Built on the calling thread, where it asks the collection for everything virtual; reading asks
/// no more and is safe for concurrent use. The source must live and stay unchanged meanwhile.
template <typename Surfel>
class TSurfelReader
{
public:
    /// \p records are the collection's own records when it has such, else null: they are copied as
    /// they are as far as the transform allows.
    /// @throw VekoException when the collection has no positions.
    TSurfelReader(const Base::ISurfelCollection& collection, const Surfel* records,
                  const LqMatrix4Rd& matrix)
        : m_transform(matrix),
          m_records(records),
          m_count(collection.GetCount()),
          m_positions(collection.GetReadAccessor<Base::CSCElementDefinitionPosition>())
    {
        if constexpr (TSurfelTraits<Surfel>::c_hasNormal)
        {
            m_hasNormals = collection.HasNormals();
            if (m_hasNormals)
            {
                m_normals = collection.GetReadAccessor<Base::CSCElementDefinitionNormal>();
            }
        }
    }

    [[nodiscard]] std::uint64_t GetCount() const { return m_count; }

    /// The moved surfel at \p index, which must be less than the count.
    [[nodiscard]] Surfel Read(std::uint64_t index) const
    {
        if (m_records != nullptr && m_transform.KeepsNormals())
        {
            Surfel surfel = m_records[index];
            surfel.position = m_transform.MovePoint(surfel.position);
            return surfel;
        }
        Surfel surfel;
        const LqVector3f position = m_positions.At(index);
        surfel.position = m_transform.MovePoint(position);
        if constexpr (TSurfelTraits<Surfel>::c_hasNormal)
        {
            if (m_hasNormals)
            {
                TSurfelTraits<Surfel>::SetNormal(
                    surfel, m_transform.MoveNormal(position, m_normals.At(index)));
            }
        }
        return surfel;
    }

    /// Writes all moved surfels to \p target, in parallel.
    void ReadAll(Surfel* target) const
    {
        ForEachSurfelBlock(m_count, [&](std::uint64_t begin, std::uint64_t end) {
            if (m_records != nullptr && m_transform.IsIdentity())
            {
                std::copy(m_records + begin, m_records + end, target + begin);
                return;
            }
            for (std::uint64_t index = begin; index < end; ++index)
            {
                target[index] = Read(index);
            }
        });
    }

private:
    CSurfelTransform m_transform;
    const Surfel* m_records;
    std::uint64_t m_count;
    CPositionAccess m_positions;
    CNormalAccess m_normals;
    bool m_hasNormals = false;
};

}  // namespace DataLayer
