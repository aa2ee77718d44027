#include <immintrin.h>

#include "DataLayer/PointCloud/Kernels/NeighborCellsLook.h"

namespace DataLayer::NeighborCells
{

namespace
{

/// Sixteen surfels at a time. The masked forms are the same instructions as those without a mask,
/// which start from a register that the compiler's header leaves undefined.
struct SAvx512
{
    using Floats = __m512;
    using Numbers = __m512i;
    static constexpr std::size_t c_width = 16;
    static constexpr __mmask16 c_every = 0xFFFF;

    static Floats Set(float value) { return _mm512_set1_ps(value); }
    static Floats Load(const float* values) { return _mm512_load_ps(values); }
    static Floats Add(Floats a, Floats b) { return _mm512_add_ps(a, b); }
    static Floats Subtract(Floats a, Floats b) { return _mm512_sub_ps(a, b); }
    static Floats Multiply(Floats a, Floats b) { return _mm512_mul_ps(a, b); }
    static Floats Divide(Floats a, Floats b) { return _mm512_div_ps(a, b); }
    static Floats Min(Floats a, Floats b) { return _mm512_maskz_min_ps(c_every, a, b); }
    static Floats Max(Floats a, Floats b) { return _mm512_maskz_max_ps(c_every, a, b); }
    static Numbers Truncate(Floats a) { return _mm512_maskz_cvttps_epi32(c_every, a); }

    static Numbers SetNumber(std::uint32_t value)
    {
        return _mm512_set1_epi32(static_cast<std::int32_t>(value));
    }
    static Numbers Add(Numbers a, Numbers b) { return _mm512_add_epi32(a, b); }
    static Numbers And(Numbers a, Numbers b) { return _mm512_and_si512(a, b); }
    static Numbers Or(Numbers a, Numbers b) { return _mm512_or_si512(a, b); }
    static Numbers Select(Numbers bits, Numbers a, Numbers b)
    {
        constexpr int c_aWhereBits = 0xCA;
        return _mm512_ternarylogic_epi32(bits, a, b, c_aWhereBits);
    }
    template <unsigned Bits>
    static Numbers ShiftLeft(Numbers a)
    {
        return _mm512_maskz_slli_epi32(c_every, a, Bits);
    }
    template <unsigned Bits>
    static Numbers ShiftRight(Numbers a)
    {
        return _mm512_maskz_srli_epi32(c_every, a, Bits);
    }
    static Numbers ShiftRightEach(Numbers a, Numbers bits)
    {
        return _mm512_maskz_srlv_epi32(c_every, a, bits);
    }
    static std::uint32_t Equal(Numbers a, Numbers b) { return _mm512_cmpeq_epi32_mask(a, b); }
    static Numbers Replace(Numbers others, std::uint32_t lanes, Numbers values)
    {
        return _mm512_mask_mov_epi32(others, static_cast<__mmask16>(lanes), values);
    }
    static Numbers LoadNumbers(const std::uint32_t* values) { return _mm512_loadu_si512(values); }
    static void StoreNumbers(Numbers a, std::uint32_t* values) { _mm512_store_si512(values, a); }
    static void Store(Numbers a, std::uint16_t* values)
    {
        const __m256i narrow = _mm512_maskz_cvtepi32_epi16(c_every, a);
        std::memcpy(values, &narrow, sizeof narrow);
    }

    /// The first three words of sixteen records of four.
    static void LoadRecords(const std::byte* records, Floats& x, Floats& y, Floats& z)
    {
        const auto quarter = [records](std::size_t number) {
            return _mm512_loadu_ps(records + number * sizeof(Floats));
        };
        const Numbers pairs =
            _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 1, 5, 9, 13, 17, 21, 25, 29);
        const Numbers thirds =
            _mm512_setr_epi32(2, 6, 10, 14, 18, 22, 26, 30, 2, 6, 10, 14, 18, 22, 26, 30);
        const Floats xyLow = _mm512_permutex2var_ps(quarter(0), pairs, quarter(1));
        const Floats xyHigh = _mm512_permutex2var_ps(quarter(2), pairs, quarter(3));
        const Floats zLow = _mm512_permutex2var_ps(quarter(0), thirds, quarter(1));
        const Floats zHigh = _mm512_permutex2var_ps(quarter(2), thirds, quarter(3));
        x = _mm512_maskz_shuffle_f32x4(c_every, xyLow, xyHigh, _MM_SHUFFLE(1, 0, 1, 0));
        y = _mm512_maskz_shuffle_f32x4(c_every, xyLow, xyHigh, _MM_SHUFFLE(3, 2, 3, 2));
        z = _mm512_maskz_shuffle_f32x4(c_every, zLow, zHigh, _MM_SHUFFLE(1, 0, 1, 0));
    }
};

}  // namespace

std::size_t LookAvx512(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open)
{
    return TLook<SAvx512>(lookup, surfels).Run(states, open);
}

}  // namespace DataLayer::NeighborCells
