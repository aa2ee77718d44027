#include "DataLayer/PointCloud/Kernels/TPackedBounds.h"

namespace DataLayer::PackedBounds
{

std::uint64_t BoundAvx2(const std::byte* first, std::uint64_t count, SBounds& bounds)
{
    using Eight = float __attribute__((vector_size(32)));
    return Bound<Eight>(first, count, bounds);
}

}  // namespace DataLayer::PackedBounds
