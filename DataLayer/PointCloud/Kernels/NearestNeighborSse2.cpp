#include <emmintrin.h>

#include "DataLayer/PointCloud/Kernels/NearestNeighborSearch.h"

namespace DataLayer::NearestNeighbor
{

namespace
{

/// Four floats in a register; every x86-64 processor has them.
struct SSse2
{
    using Register = __m128;
    static constexpr std::size_t c_width = 4;

    static Register Set(float value) { return _mm_set1_ps(value); }
    static Register Load(const float* values) { return _mm_load_ps(values); }
    static Register Add(Register a, Register b) { return _mm_add_ps(a, b); }
    static Register Subtract(Register a, Register b) { return _mm_sub_ps(a, b); }
    static Register Multiply(Register a, Register b) { return _mm_mul_ps(a, b); }
    static Register Max(Register a, Register b) { return _mm_max_ps(a, b); }
    static Register Min(Register a, Register b) { return _mm_min_ps(a, b); }
    static std::uint32_t NotGreater(Register a, Register b) { return bits(_mm_cmple_ps(a, b)); }
    static std::uint32_t Equal(Register a, Register b) { return bits(_mm_cmpeq_ps(a, b)); }
    static Register KeepOrInfinity(Register value, std::uint32_t lanes)
    {
        const __m128i bitOfLane = _mm_setr_epi32(1, 2, 4, 8);
        const __m128i chosen = _mm_and_si128(_mm_set1_epi32(static_cast<int>(lanes)), bitOfLane);
        const __m128 keep = _mm_castsi128_ps(_mm_cmpeq_epi32(chosen, bitOfLane));
        return _mm_or_ps(_mm_and_ps(keep, value), _mm_andnot_ps(keep, Set(__builtin_inff())));
    }
    static Register LeastLane(Register value)
    {
        value = Min(value, _mm_shuffle_ps(value, value, _MM_SHUFFLE(1, 0, 3, 2)));
        return Min(value, _mm_shuffle_ps(value, value, _MM_SHUFFLE(2, 3, 0, 1)));
    }
    static float First(Register value) { return _mm_cvtss_f32(value); }

private:
    static std::uint32_t bits(Register mask)
    {
        return static_cast<std::uint32_t>(_mm_movemask_ps(mask));
    }
};

}  // namespace

SNeighbor FindSse2(const STree& tree, const float* query, SNeighbor limit)
{
    return TSearch<SSse2>(tree, query, limit).Run();
}

}  // namespace DataLayer::NearestNeighbor
