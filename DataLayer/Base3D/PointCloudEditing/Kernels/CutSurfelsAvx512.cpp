#include <immintrin.h>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/TCutSurfels.h"

namespace DataLayer
{

namespace
{

/// Sixteen surfels at once.
struct SAvx512
{
    using Floats = __m512;
    using Words = __m256i;
    using Bits = __m512i;
    static constexpr std::uint32_t c_width = 16;
    static constexpr std::uint32_t c_allLanes = 0xFFFF;
    static constexpr bool c_hasBands = true;

    static Floats Set(float value) { return _mm512_set1_ps(value); }
    static Floats Load(const float* values) { return _mm512_loadu_ps(values); }
    static Floats Add(Floats a, Floats b) { return _mm512_add_ps(a, b); }
    static Floats Multiply(Floats a, Floats b) { return _mm512_mul_ps(a, b); }
    static Floats Divide(Floats a, Floats b) { return _mm512_div_ps(a, b); }

    static void LoadPacked(const std::byte* first, Floats& x, Floats& y, Floats& z)
    {
        const Floats a = _mm512_loadu_ps(first);
        const Floats b = _mm512_loadu_ps(first + 64);
        const Floats c = _mm512_loadu_ps(first + 128);
        x = pick(a, b, c,
                 _mm512_setr_epi32(0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, c_any, c_any, c_any,
                                   c_any, c_any),
                 _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 17, 20, 23, 26, 29));
        y = pick(a, b, c,
                 _mm512_setr_epi32(1, 4, 7, 10, 13, 16, 19, 22, 25, 28, 31, c_any, c_any, c_any,
                                   c_any, c_any),
                 _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 18, 21, 24, 27, 30));
        z = pick(a, b, c,
                 _mm512_setr_epi32(2, 5, 8, 11, 14, 17, 20, 23, 26, 29, c_any, c_any, c_any, c_any,
                                   c_any, c_any),
                 _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 19, 22, 25, 28, 31));
    }
    /// Leaves lane 4 b + r to surfel 4 r + b, see FlagPadded(): restoring the order costs more here
    /// than there.
    static void LoadPadded(const std::byte* first, Floats& x, Floats& y, Floats& z)
    {
        const Floats a = _mm512_loadu_ps(first);
        const Floats b = _mm512_loadu_ps(first + 64);
        const Floats c = _mm512_loadu_ps(first + 128);
        const Floats d = _mm512_loadu_ps(first + 192);
        transpose(a, b, c, d, x, y, z);
    }
    static void LoadApart(const std::byte* first, std::size_t stride, Floats& x, Floats& y,
                          Floats& z)
    {
        const auto load = [&](std::size_t number) {
            return _mm_loadu_ps(reinterpret_cast<const float*>(first + number * stride));
        };
        const auto loadEveryFourth = [&](std::size_t number) {
            const __m256 low = join(load(number), load(number + 4));
            const __m256 high = join(load(number + 8), load(number + 12));
            return _mm512_castpd_ps(
                _mm512_maskz_insertf64x4(c_allPairs, _mm512_castps_pd(_mm512_castps256_ps512(low)),
                                         _mm256_castps_pd(high), 1));
        };
        transpose(loadEveryFourth(0), loadEveryFourth(1), loadEveryFourth(2), loadEveryFourth(3), x,
                  y, z);
    }

    static std::uint32_t Within(Floats value, Floats first, Floats end)
    {
        return _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(value, first, _CMP_GE_OQ), value, end,
                                       _CMP_LT_OQ);
    }
    template <typename Axis>
    static Bits BitsOf(std::uint32_t /*lanes*/, const Axis& axis0, Floats pixel0, const Axis& axis1,
                       Floats pixel1)
    {
        return _mm512_add_epi32(bitOf(axis0, pixel0), bitOf(axis1, pixel1));
    }
    static std::uint32_t Painted(const std::uint32_t* words, Bits bits, std::uint32_t lanes)
    {
        const __mmask16 isLane = mask(lanes);
        const __m512i word = wordsAt(words, _mm512_maskz_srli_epi32(isLane, bits, 5));
        return _mm512_test_epi32_mask(
            word, _mm512_maskz_sllv_epi32(isLane, ints(1), _mm512_and_si512(bits, ints(31))));
    }
    /// Those of the lanes that lie on painted pixels for sure; \p open become those that may.
    static std::uint32_t JudgeByBands(const SPaintedBands& bands, std::uint32_t lanes, Floats x,
                                      Floats y, std::uint32_t& open)
    {
        const __m512i band = _mm512_maskz_cvttps_epi32(
            c_all, _mm512_fmadd_ps(y, Set(bands.bandsPerDevice), Set(bands.bandOfZero)));
        const auto ofBand = [&](const float* values) {
            return _mm512_maskz_permutexvar_ps(c_all, band, Load(values));
        };
        const Floats left = _mm512_fmadd_ps(ofBand(bands.left.slopes), y, x);
        const Floats right = _mm512_fmsub_ps(ofBand(bands.right.slopes), y, x);
        // Two chains of comparisons, so that neither waits for the other.
        const __mmask16 inside = mask(lanes);
        const std::uint32_t painted = _mm512_mask_cmp_ps_mask(
            _mm512_mask_cmp_ps_mask(inside, left, ofBand(bands.left.inner), _CMP_GT_OQ), right,
            ofBand(bands.right.inner), _CMP_GT_OQ);
        const std::uint32_t possible = _mm512_mask_cmp_ps_mask(
            _mm512_mask_cmp_ps_mask(inside, left, ofBand(bands.left.outer), _CMP_GE_OQ), right,
            ofBand(bands.right.outer), _CMP_GE_OQ);
        open = possible & ~painted;
        return painted;
    }

    static Words NoWords() { return _mm256_setzero_si256(); }
    static Words LoadWords(const Base::CSurfelBitMask* words)
    {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words));
    }
    static void StoreWords(Base::CSurfelBitMask* words, Words value)
    {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(words), value);
    }
    static void StreamWords(Base::CSurfelBitMask* words, Words value)
    {
        _mm256_stream_si256(reinterpret_cast<__m256i*>(words), value);
    }
    static void FinishStream() { _mm_sfence(); }
    static Words Or(Words a, Words b) { return _mm256_or_si256(a, b); }
    static Words Xor(Words a, Words b) { return _mm256_xor_si256(a, b); }
    static bool HasAny(Words words) { return _mm256_testz_si256(words, words) == 0; }
    static Words Flag(Words words, std::uint32_t lanes)
    {
        return Or(words, _mm512_maskz_cvtepi32_epi16(mask(lanes),
                                                     ints(Base::CSurfelBitMask::SurfelFlagCut)));
    }
    static Words FlagPadded(Words words, std::uint32_t lanes)
    {
        const __m512i lane =
            _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        const __m512i flags =
            _mm512_maskz_set1_epi32(mask(lanes), Base::CSurfelBitMask::SurfelFlagCut);
        return Or(words, _mm512_maskz_cvtepi32_epi16(
                             c_all, _mm512_maskz_permutexvar_epi32(c_all, lane, flags)));
    }

private:
    // The forms without a mask start from a register that the compiler's header leaves undefined,
    // and one compiler warns of that; these become the same instructions.
    static constexpr __mmask16 c_all = c_allLanes;
    static constexpr __mmask8 c_allPairs = 0xFF;
    /// A lane of the first step that the second one replaces.
    static constexpr int c_any = 0;
    /// Where a register of words holds the first lane's.
    static constexpr int c_middle = c_width / 2;

    static __m256 join(__m128 low, __m128 high)
    {
        return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
    }
    /// The first three columns of the 4 x 4 matrix in each quarter.
    static void transpose(Floats a, Floats b, Floats c, Floats d, Floats& x, Floats& y, Floats& z)
    {
        const __m512d xyOfAB = _mm512_castps_pd(_mm512_maskz_unpacklo_ps(c_all, a, b));
        const __m512d xyOfCD = _mm512_castps_pd(_mm512_maskz_unpacklo_ps(c_all, c, d));
        const __m512d zOfAB = _mm512_castps_pd(_mm512_maskz_unpackhi_ps(c_all, a, b));
        const __m512d zOfCD = _mm512_castps_pd(_mm512_maskz_unpackhi_ps(c_all, c, d));
        x = _mm512_castpd_ps(_mm512_maskz_unpacklo_pd(c_allPairs, xyOfAB, xyOfCD));
        y = _mm512_castpd_ps(_mm512_maskz_unpackhi_pd(c_allPairs, xyOfAB, xyOfCD));
        z = _mm512_castpd_ps(_mm512_maskz_unpacklo_pd(c_allPairs, zOfAB, zOfCD));
    }
    static Floats pick(Floats a, Floats b, Floats c, __m512i fromAB, __m512i fromABAndC)
    {
        return _mm512_permutex2var_ps(_mm512_permutex2var_ps(a, fromAB, b), fromABAndC, c);
    }
    /// In an order in space, one register holds all of them: to gather them takes several times as
    /// long.
    static __m512i wordsAt(const std::uint32_t* words, __m512i index)
    {
        static_assert(c_wordsBeside >= c_middle);
        const int first = _mm512_cvtsi512_si32(index);
        const __m512i place = _mm512_sub_epi32(index, _mm512_set1_epi32(first - c_middle));
        if (_mm512_mask_cmplt_epu32_mask(c_all, place, ints(c_width)) == c_all)
        {
            return _mm512_maskz_permutexvar_epi32(c_all, place,
                                                  _mm512_loadu_si512(words + first - c_middle));
        }
        return _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), c_all, index, words,
                                           sizeof(int));
    }
    template <typename Axis>
    static __m512i bitOf(const Axis& axis, Floats pixel)
    {
        return _mm512_mullo_epi32(
            _mm512_sub_epi32(_mm512_maskz_cvttps_epi32(c_all, pixel), ints(axis.firstPixel)),
            ints(axis.bitsPerPixel));
    }
    static __mmask16 mask(std::uint32_t lanes) { return static_cast<__mmask16>(lanes); }
    static __m512i ints(std::uint32_t value) { return _mm512_set1_epi32(static_cast<int>(value)); }
};

}  // namespace

bool CutSurfelsAvx512(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    return TCutSurfels<SAvx512>(task).Run(begin, end);
}

}  // namespace DataLayer
