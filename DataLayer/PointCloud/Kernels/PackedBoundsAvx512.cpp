#include "DataLayer/PointCloud/Kernels/TPackedBounds.h"

namespace DataLayer::PackedBounds
{

std::uint64_t BoundAvx512(const std::byte* first, std::uint64_t count, SBounds& bounds)
{
    using Sixteen = float __attribute__((vector_size(64)));
    return Bound<Sixteen>(first, count, bounds);
}

}  // namespace DataLayer::PackedBounds
