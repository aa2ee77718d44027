#include "DataLayer/PointCloud/Kernels/TPackedBounds.h"

namespace DataLayer::PackedBounds
{

std::uint64_t BoundVector128(const std::byte* first, std::uint64_t count, SBounds& bounds)
{
    using Four = float __attribute__((vector_size(16)));
    return Bound<Four>(first, count, bounds);
}

}  // namespace DataLayer::PackedBounds
