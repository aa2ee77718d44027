#include "DataLayer/PointCloud/CLinearNeighborSearch.h"

#include <cmath>

namespace DataLayer
{

namespace
{

bool IsFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

}  // namespace

CLinearNeighborSearch::CLinearNeighborSearch(const SPositionArray& positions)
    : m_positions(positions)
{}

CLinearNeighborSearch::~CLinearNeighborSearch() = default;

std::int32_t CLinearNeighborSearch::FindNearestNeighbor(const LqVector3f& point, float bound,
                                                        const void* /*reserved*/) const
{
    // A negative or undefined bound is no distance: nothing lies within it.
    if (!IsFinite(point) || !(bound >= 0.0F))
    {
        return -1;
    }
    float nearestSquare = bound * bound;
    std::int32_t nearest = -1;
    for (std::uint64_t index = 0; index < m_positions.count; ++index)
    {
        const LqVector3f position = m_positions[index];
        const float dx = position.x - point.x;
        const float dy = position.y - point.y;
        const float dz = position.z - point.z;
        const float square = (dx * dx + dy * dy) + dz * dz;
        const bool isNearer = nearest < 0 ? square <= nearestSquare : square < nearestSquare;
        // Only now, since it seldom comes to this: an infinite square may be a position's that is
        // not finite.
        if (isNearer && IsFinite(position))
        {
            nearestSquare = square;
            nearest = static_cast<std::int32_t>(index);
        }
    }
    return nearest;
}

}  // namespace DataLayer
