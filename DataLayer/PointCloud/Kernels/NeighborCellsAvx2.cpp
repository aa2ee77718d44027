#include <immintrin.h>

#include "DataLayer/PointCloud/Kernels/NeighborCellsLook.h"

namespace DataLayer::NeighborCells
{

namespace
{

/// Eight surfels at a time.
struct SAvx2
{
    using Floats = __m256;
    using Numbers = __m256i;
    static constexpr std::size_t c_width = 8;
    static constexpr bool c_readsBlocks = false;

    static Floats Set(float value) { return _mm256_set1_ps(value); }
    static Floats Load(const float* values) { return _mm256_load_ps(values); }
    static Floats Add(Floats a, Floats b) { return _mm256_add_ps(a, b); }
    static Floats Subtract(Floats a, Floats b) { return _mm256_sub_ps(a, b); }
    static Floats Multiply(Floats a, Floats b) { return _mm256_mul_ps(a, b); }
    static Floats MultiplyAdd(Floats a, Floats b, Floats c) { return _mm256_fmadd_ps(a, b, c); }
    static Floats Divide(Floats a, Floats b) { return _mm256_div_ps(a, b); }
    static Floats Min(Floats a, Floats b) { return _mm256_min_ps(a, b); }
    static Floats Max(Floats a, Floats b) { return _mm256_max_ps(a, b); }
    static bool AreAtMost(Floats a, Floats b)
    {
        return _mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_LE_OQ)) == (1 << c_width) - 1;
    }
    static Numbers BitsOf(Floats a) { return _mm256_castps_si256(a); }
    static Numbers Truncate(Floats a) { return _mm256_cvttps_epi32(a); }

    static Numbers SetNumber(std::uint32_t value)
    {
        return _mm256_set1_epi32(static_cast<std::int32_t>(value));
    }
    static Numbers Add(Numbers a, Numbers b) { return _mm256_add_epi32(a, b); }
    static Numbers And(Numbers a, Numbers b) { return _mm256_and_si256(a, b); }
    static Numbers Or(Numbers a, Numbers b) { return _mm256_or_si256(a, b); }
    static Numbers Select(Numbers bits, Numbers a, Numbers b)
    {
        return Or(And(bits, a), _mm256_andnot_si256(bits, b));
    }
    template <int Bits>
    static Numbers ShiftLeft(Numbers a)
    {
        return _mm256_slli_epi32(a, Bits);
    }
    template <int Bits>
    static Numbers ShiftRight(Numbers a)
    {
        return _mm256_srli_epi32(a, Bits);
    }
    static Numbers ShiftRightEach(Numbers a, Numbers bits) { return _mm256_srlv_epi32(a, bits); }
    static std::uint32_t Equal(Numbers a, Numbers b)
    {
        return static_cast<std::uint32_t>(
            _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
    }
    static Numbers Replace(Numbers others, std::uint32_t lanes, Numbers values)
    {
        return _mm256_blendv_epi8(others, values, maskOf(lanes));
    }
    static Numbers LoadNumbers(const std::uint32_t* values)
    {
        Numbers numbers;
        std::memcpy(&numbers, values, sizeof numbers);
        return numbers;
    }
    static void StoreNumbers(Numbers a, std::uint32_t* values)
    {
        std::memcpy(values, &a, sizeof a);
    }
    static void Store(Numbers a, std::uint16_t* values)
    {
        const __m128i narrow =
            _mm_packus_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
        std::memcpy(values, &narrow, sizeof narrow);
    }

    /// Eight positions at a stride of a float at least. Reads nothing behind the last one.
    static void LoadPositions(const std::byte* first, std::size_t stride, Floats& x, Floats& y,
                              Floats& z)
    {
        const auto half = [&](std::size_t index) {
            const auto* const position = reinterpret_cast<const float*>(first + index * stride);
            if (index + 1 < c_width)
            {
                return _mm_loadu_ps(position);
            }
            const __m128 fromBefore = _mm_loadu_ps(position - 1);
            return _mm_shuffle_ps(fromBefore, fromBefore, _MM_SHUFFLE(0, 3, 2, 1));
        };
        const auto load = [&](std::size_t index) {
            return _mm256_set_m128(half(index + 4), half(index));
        };
        const Floats xyEven = _mm256_unpacklo_ps(load(0), load(2));
        const Floats xyOdd = _mm256_unpacklo_ps(load(1), load(3));
        const Floats zEven = _mm256_unpackhi_ps(load(0), load(2));
        const Floats zOdd = _mm256_unpackhi_ps(load(1), load(3));
        x = _mm256_unpacklo_ps(xyEven, xyOdd);
        y = _mm256_unpackhi_ps(xyEven, xyOdd);
        z = _mm256_unpacklo_ps(zEven, zOdd);
    }

private:
    static Numbers maskOf(std::uint32_t lanes)
    {
        const Numbers bitOfLane = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
        return _mm256_cmpeq_epi32(_mm256_and_si256(SetNumber(lanes), bitOfLane), bitOfLane);
    }
};

}  // namespace

std::size_t LookAvx2(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                     std::uint32_t* open)
{
    return TLook<SAvx2>(lookup, surfels).Run(states, open);
}

}  // namespace DataLayer::NeighborCells
