#include <immintrin.h>

#include "DataLayer/PointCloud/Kernels/NearestNeighborSearch.h"

namespace DataLayer::NearestNeighbor
{

namespace
{

/// Eight floats in a register.
struct SAvx2
{
    using Register = __m256;
    static constexpr std::size_t c_width = 8;

    static Register Set(float value) { return _mm256_set1_ps(value); }
    static Register Load(const float* values) { return _mm256_load_ps(values); }
    static Register Add(Register a, Register b) { return _mm256_add_ps(a, b); }
    static Register Subtract(Register a, Register b) { return _mm256_sub_ps(a, b); }
    static Register Multiply(Register a, Register b) { return _mm256_mul_ps(a, b); }
    static Register Max(Register a, Register b) { return _mm256_max_ps(a, b); }
    static Register Min(Register a, Register b) { return _mm256_min_ps(a, b); }
    static std::uint32_t NotGreater(Register a, Register b)
    {
        return bits(_mm256_cmp_ps(a, b, _CMP_LE_OQ));
    }
    static std::uint32_t Equal(Register a, Register b)
    {
        return bits(_mm256_cmp_ps(a, b, _CMP_EQ_OQ));
    }
    static Register KeepOrInfinity(Register value, std::uint32_t lanes)
    {
        const __m256i bitOfLane = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
        const __m256i chosen =
            _mm256_and_si256(_mm256_set1_epi32(static_cast<int>(lanes)), bitOfLane);
        const __m256i keep = _mm256_cmpeq_epi32(chosen, bitOfLane);
        return _mm256_blendv_ps(Set(__builtin_inff()), value, _mm256_castsi256_ps(keep));
    }
    static Register LeastLane(Register value)
    {
        value = Min(value, _mm256_permute2f128_ps(value, value, 1));
        value = Min(value, _mm256_permute_ps(value, _MM_SHUFFLE(1, 0, 3, 2)));
        return Min(value, _mm256_permute_ps(value, _MM_SHUFFLE(2, 3, 0, 1)));
    }
    static float First(Register value) { return _mm256_cvtss_f32(value); }

private:
    static std::uint32_t bits(Register mask)
    {
        return static_cast<std::uint32_t>(_mm256_movemask_ps(mask));
    }
};

}  // namespace

SNeighbor FindAvx2(const STree& tree, const float* query, SNeighbor limit)
{
    return TSearch<SAvx2>(tree, query, limit).Run();
}

}  // namespace DataLayer::NearestNeighbor
