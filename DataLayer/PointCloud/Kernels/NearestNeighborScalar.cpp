#include "DataLayer/PointCloud/Kernels/NearestNeighborSearch.h"

namespace DataLayer::NearestNeighbor
{

namespace
{

/// One float at a time: the reference, and what processors without a kernel of their own run.
struct SScalar
{
    using Register = float;
    static constexpr std::size_t c_width = 1;

    static Register Set(float value) { return value; }
    static Register Load(const float* values) { return *values; }
    static Register Add(Register a, Register b) { return a + b; }
    static Register Subtract(Register a, Register b) { return a - b; }
    static Register Multiply(Register a, Register b) { return a * b; }
    static Register Max(Register a, Register b) { return a > b ? a : b; }
    static Register Min(Register a, Register b) { return a < b ? a : b; }
    static std::uint32_t NotGreater(Register a, Register b) { return a <= b ? 1U : 0U; }
    static std::uint32_t Equal(Register a, Register b) { return a == b ? 1U : 0U; }
    static Register KeepOrInfinity(Register value, std::uint32_t lanes)
    {
        return (lanes & 1U) != 0 ? value : __builtin_inff();
    }
    static Register LeastLane(Register value) { return value; }
    static float First(Register value) { return value; }
};

}  // namespace

SNeighbor FindScalar(const STree& tree, const float* query, SNeighbor limit)
{
    return TSearch<SScalar>(tree, query, limit).Run();
}

}  // namespace DataLayer::NearestNeighbor
