#include <immintrin.h>

#include "DataLayer/PointCloud/Kernels/NearestNeighborSearch.h"

namespace DataLayer::NearestNeighbor
{

namespace
{

/// Sixteen floats in a register: a whole node or leaf at once.
struct SAvx512
{
    using Register = __m512;
    static constexpr std::size_t c_width = 16;

    static Register Set(float value) { return _mm512_set1_ps(value); }
    static Register Load(const float* values) { return _mm512_load_ps(values); }
    static Register Add(Register a, Register b) { return _mm512_add_ps(a, b); }
    static Register Subtract(Register a, Register b) { return _mm512_sub_ps(a, b); }
    static Register Multiply(Register a, Register b) { return _mm512_mul_ps(a, b); }
    static Register Max(Register a, Register b) { return _mm512_maskz_max_ps(c_all, a, b); }
    static Register Min(Register a, Register b) { return _mm512_maskz_min_ps(c_all, a, b); }
    static std::uint32_t NotGreater(Register a, Register b)
    {
        return _mm512_cmp_ps_mask(a, b, _CMP_LE_OQ);
    }
    static std::uint32_t Equal(Register a, Register b)
    {
        return _mm512_cmp_ps_mask(a, b, _CMP_EQ_OQ);
    }
    static Register KeepOrInfinity(Register value, std::uint32_t lanes)
    {
        return _mm512_mask_mov_ps(Set(__builtin_inff()), static_cast<__mmask16>(lanes), value);
    }
    static Register LeastLane(Register value)
    {
        value =
            Min(value, _mm512_maskz_shuffle_f32x4(c_all, value, value, _MM_SHUFFLE(1, 0, 3, 2)));
        value =
            Min(value, _mm512_maskz_shuffle_f32x4(c_all, value, value, _MM_SHUFFLE(2, 3, 0, 1)));
        value = Min(value, _mm512_maskz_permute_ps(c_all, value, _MM_SHUFFLE(1, 0, 3, 2)));
        return Min(value, _mm512_maskz_permute_ps(c_all, value, _MM_SHUFFLE(2, 3, 0, 1)));
    }
    static float First(Register value) { return _mm512_cvtss_f32(value); }

private:
    /// The forms without a mask start from a register that the compiler's header leaves undefined,
    /// and one compiler warns of that; these become the same instructions.
    static constexpr __mmask16 c_all = 0xFFFF;
};

}  // namespace

SNeighbor FindAvx512(const STree& tree, const float* query, SNeighbor limit)
{
    return TSearch<SAvx512>(tree, query, limit).Run();
}

}  // namespace DataLayer::NearestNeighbor
