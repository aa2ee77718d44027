#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "Application/Fusion/CScanFuser.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/PointTransform.h"

namespace Application
{

/// A point in double precision.
struct SFusionPoint
{
    double x;
    double y;
    double z;

    friend bool operator==(const SFusionPoint&, const SFusionPoint&) = default;
};

[[nodiscard]] inline bool IsFinite(const SFusionPoint& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

/// The surfels of a scan as points of the common frame. Keeps the collection and the mask alive;
/// safe for concurrent readers.
class CScanPoints
{
public:
    /// \p leftOutFlags are those of surfels that IsLeftOut() is true for.
    /// @throw std::invalid_argument when the entity or its collection is missing, or the mask has
    /// neither one word per surfel nor none.
    /// @throw VekoException when the collection has no positions.
    CScanPoints(const CScanFuser::SScan& scan, std::uint16_t leftOutFlags);

    [[nodiscard]] std::uint64_t GetCount() const { return m_count; }

    [[nodiscard]] bool IsLeftOut(std::uint64_t index) const
    {
        return m_words != nullptr && (m_words[index].bits & m_leftOutFlags) != 0;
    }

    /// Where the surfel is in the common frame, finite or not.
    [[nodiscard]] SFusionPoint GetPoint(std::uint64_t index) const
    {
        LqVector3f position;
        std::memcpy(&position, m_firstPosition + index * m_positionStride, sizeof position);
        const auto moved =
            TransformHomogeneous<double>(m_trafo, position.x, position.y, position.z);
        return {moved.x / moved.w, moved.y / moved.w, moved.z / moved.w};
    }

private:
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
    std::shared_ptr<const Base::CSurfelCollectionMask> m_mask;
    LqMatrix4Rd m_trafo;
    std::uint64_t m_count;
    const std::byte* m_firstPosition;
    std::size_t m_positionStride;
    const Base::CSurfelBitMask* m_words;
    std::uint16_t m_leftOutFlags;
};

}  // namespace Application
