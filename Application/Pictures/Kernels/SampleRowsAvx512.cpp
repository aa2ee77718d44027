#include <immintrin.h>

#include "Application/Pictures/Kernels/TSampleRows.h"

namespace Application
{

namespace
{

/// Sixteen samples at once.
struct SAvx512
{
    static constexpr std::uint32_t c_width = 16;
    using Floats = float __attribute__((vector_size(64)));
    using Integers = std::int32_t __attribute__((vector_size(64)));

    static Floats Lanes()
    {
        return _mm512_setr_ps(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    }
    static Floats SquareRoot(Floats values) { return _mm512_maskz_sqrt_ps(c_all, values); }
    static Floats Larger(Floats a, Floats b) { return _mm512_maskz_max_ps(c_all, a, b); }
    static Floats Smaller(Floats a, Floats b) { return _mm512_maskz_min_ps(c_all, a, b); }
    static Floats Gather(const float* first, const std::int32_t* places)
    {
        // Many processors take longer for their own gather.
        return _mm512_setr_ps(
            first[places[0]], first[places[1]], first[places[2]], first[places[3]],
            first[places[4]], first[places[5]], first[places[6]], first[places[7]],
            first[places[8]], first[places[9]], first[places[10]], first[places[11]],
            first[places[12]], first[places[13]], first[places[14]], first[places[15]]);
    }
    static void GatherWords(const std::uint64_t* first, const std::int32_t* places, Floats& highs,
                            Integers& lows)
    {
        const auto eight = [&](const std::int32_t* of) {
            return _mm512_setr_epi64(word(first, of[0]), word(first, of[1]), word(first, of[2]),
                                     word(first, of[3]), word(first, of[4]), word(first, of[5]),
                                     word(first, of[6]), word(first, of[7]));
        };
        const __m512i left = eight(places);
        const __m512i right = eight(places + 8);
        const __m512i low =
            _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
        const __m512i high =
            _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
        lows = reinterpret_cast<Integers>(_mm512_permutex2var_epi32(left, low, right));
        highs = reinterpret_cast<Floats>(_mm512_permutex2var_epi32(left, high, right));
    }
    static Integers LoadBytes(const std::uint8_t* first)
    {
        const auto* const bytes = reinterpret_cast<const __m128i*>(first);
        return reinterpret_cast<Integers>(
            _mm512_maskz_cvtepu8_epi32(c_all, _mm_loadu_si128(bytes)));
    }
    static void StoreBytes(Integers values, std::uint8_t* first)
    {
        _mm512_mask_cvtepi32_storeu_epi8(first, c_all, bits(values));
    }
    static std::uint32_t Bits(Integers lanes)
    {
        return _mm512_test_epi32_mask(bits(lanes), bits(lanes));
    }
    static void KeepSmaller(std::uint64_t* samples, Floats highs, Integers lows,
                            std::uint32_t lanes)
    {
        const __m512i firstHalf =
            _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
        const __m512i secondHalf =
            _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
        const __m512i upper = _mm512_castps_si512(highs);
        keepSmaller(samples, _mm512_permutex2var_epi32(bits(lows), firstHalf, upper),
                    static_cast<__mmask8>(lanes));
        keepSmaller(samples + 8, _mm512_permutex2var_epi32(bits(lows), secondHalf, upper),
                    static_cast<__mmask8>(lanes >> 8U));
    }

private:
    static constexpr __mmask16 c_all = 0xFFFF;

    static long long word(const std::uint64_t* first, std::int32_t place)
    {
        return static_cast<long long>(first[place]);
    }
    static __m512i bits(Integers values) { return reinterpret_cast<__m512i>(values); }

    static void keepSmaller(std::uint64_t* samples, __m512i words, __mmask8 lanes)
    {
        const __m512i found = _mm512_loadu_si512(samples);
        _mm512_storeu_si512(samples, _mm512_mask_min_epu64(found, lanes, found, words));
    }
};

}  // namespace

constinit const SSampleRowsKernels c_sampleRowsAvx512 = MakeSampleRowsKernels<SAvx512>("avx512");

}  // namespace Application
