#include <immintrin.h>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/TCutSurfels.h"

namespace DataLayer
{

namespace
{

/// Eight surfels at once.
struct SAvx2
{
    using Floats = __m256;
    using Words = __m128i;
    using Bits = __m256i;
    static constexpr std::uint32_t c_width = 8;
    static constexpr std::uint32_t c_allLanes = 0xFF;
    static constexpr bool c_hasBands = false;

    static Floats Set(float value) { return _mm256_set1_ps(value); }
    static Floats Load(const float* values) { return _mm256_loadu_ps(values); }
    static Floats Add(Floats a, Floats b) { return _mm256_add_ps(a, b); }
    static Floats Multiply(Floats a, Floats b) { return _mm256_mul_ps(a, b); }
    static Floats Divide(Floats a, Floats b) { return _mm256_div_ps(a, b); }

    static void LoadPacked(const std::byte* first, Floats& x, Floats& y, Floats& z)
    {
        const Floats a = loadHalves(first, first + 48);
        const Floats b = loadHalves(first + 16, first + 64);
        const Floats c = loadHalves(first + 32, first + 80);
        const Floats xy = _mm256_shuffle_ps(b, c, _MM_SHUFFLE(2, 1, 3, 2));
        const Floats yz = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 2, 1));
        x = _mm256_shuffle_ps(a, xy, _MM_SHUFFLE(2, 0, 3, 0));
        y = _mm256_shuffle_ps(yz, xy, _MM_SHUFFLE(3, 1, 2, 0));
        z = _mm256_shuffle_ps(yz, c, _MM_SHUFFLE(3, 0, 3, 1));
    }
    static void LoadPadded(const std::byte* first, Floats& x, Floats& y, Floats& z)
    {
        LoadApart(first, 16, x, y, z);
    }
    static void LoadApart(const std::byte* first, std::size_t stride, Floats& x, Floats& y,
                          Floats& z)
    {
        const auto load = [&](std::size_t number) {
            return loadHalves(first + number * stride, first + (number + 4) * stride);
        };
        const Floats a = load(0);
        const Floats b = load(1);
        const Floats c = load(2);
        const Floats d = load(3);
        const __m256d xyOfAB = _mm256_castps_pd(_mm256_unpacklo_ps(a, b));
        const __m256d xyOfCD = _mm256_castps_pd(_mm256_unpacklo_ps(c, d));
        const __m256d zOfAB = _mm256_castps_pd(_mm256_unpackhi_ps(a, b));
        const __m256d zOfCD = _mm256_castps_pd(_mm256_unpackhi_ps(c, d));
        x = _mm256_castpd_ps(_mm256_unpacklo_pd(xyOfAB, xyOfCD));
        y = _mm256_castpd_ps(_mm256_unpackhi_pd(xyOfAB, xyOfCD));
        z = _mm256_castpd_ps(_mm256_unpacklo_pd(zOfAB, zOfCD));
    }

    static std::uint32_t Within(Floats value, Floats first, Floats end)
    {
        return bits(_mm256_and_ps(_mm256_cmp_ps(value, first, _CMP_GE_OQ),
                                  _mm256_cmp_ps(value, end, _CMP_LT_OQ)));
    }
    template <typename Axis>
    static Bits BitsOf(std::uint32_t /*lanes*/, const Axis& axis0, Floats pixel0, const Axis& axis1,
                       Floats pixel1)
    {
        return _mm256_add_epi32(bitOf(axis0, pixel0), bitOf(axis1, pixel1));
    }
    static std::uint32_t Painted(const std::uint32_t* words, Bits bit, std::uint32_t lanes)
    {
        const __m256i bitOfLane = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
        const __m256i isLane =
            _mm256_cmpeq_epi32(_mm256_and_si256(ints(lanes), bitOfLane), bitOfLane);
        const __m256i word = wordsAt(words, _mm256_and_si256(isLane, _mm256_srli_epi32(bit, 5)));
        // The pixel's bit becomes the lane's sign.
        return lanes & bits(_mm256_castsi256_ps(
                           _mm256_sllv_epi32(word, _mm256_andnot_si256(bit, ints(31)))));
    }

    static Words NoWords() { return _mm_setzero_si128(); }
    static Words LoadWords(const Base::CSurfelBitMask* words)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(words));
    }
    static void StoreWords(Base::CSurfelBitMask* words, Words value)
    {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(words), value);
    }
    static void StreamWords(Base::CSurfelBitMask* words, Words value)
    {
        _mm_stream_si128(reinterpret_cast<__m128i*>(words), value);
    }
    static void FinishStream() { _mm_sfence(); }
    static Words Or(Words a, Words b) { return _mm_or_si128(a, b); }
    static Words Xor(Words a, Words b) { return _mm_xor_si128(a, b); }
    static bool HasAny(Words words) { return _mm_testz_si128(words, words) == 0; }
    static Words Flag(Words words, std::uint32_t lanes)
    {
        const __m128i bitOfLane = _mm_setr_epi16(1, 2, 4, 8, 16, 32, 64, 128);
        const __m128i isLane = _mm_cmpeq_epi16(
            _mm_and_si128(_mm_set1_epi16(static_cast<short>(lanes)), bitOfLane), bitOfLane);
        return Or(words,
                  _mm_and_si128(isLane, _mm_set1_epi16(Base::CSurfelBitMask::SurfelFlagCut)));
    }
    static Words FlagPadded(Words words, std::uint32_t lanes) { return Flag(words, lanes); }

private:
    /// Where a register of words holds the first lane's.
    static constexpr int c_middle = c_width / 2;

    static Floats loadHalves(const std::byte* low, const std::byte* high)
    {
        return _mm256_insertf128_ps(
            _mm256_castps128_ps256(_mm_loadu_ps(reinterpret_cast<const float*>(low))),
            _mm_loadu_ps(reinterpret_cast<const float*>(high)), 1);
    }
    /// In an order in space, one register holds all of them: to gather them takes several times as
    /// long.
    static __m256i wordsAt(const std::uint32_t* words, __m256i index)
    {
        static_assert(c_wordsBeside >= c_middle);
        const int first = _mm256_cvtsi256_si32(index);
        const __m256i place = _mm256_sub_epi32(index, _mm256_set1_epi32(first - c_middle));
        const __m256i isInRegister =
            _mm256_cmpeq_epi32(_mm256_min_epu32(place, ints(c_width - 1)), place);
        if (bits(_mm256_castsi256_ps(isInRegister)) == c_allLanes)
        {
            return _mm256_permutevar8x32_epi32(
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words + first - c_middle)),
                place);
        }
        return _mm256_i32gather_epi32(reinterpret_cast<const int*>(words), index, sizeof(int));
    }
    template <typename Axis>
    static __m256i bitOf(const Axis& axis, Floats pixel)
    {
        return _mm256_mullo_epi32(
            _mm256_sub_epi32(_mm256_cvttps_epi32(pixel), ints(axis.firstPixel)),
            ints(axis.bitsPerPixel));
    }
    static std::uint32_t bits(Floats lanes)
    {
        return static_cast<std::uint32_t>(_mm256_movemask_ps(lanes));
    }
    static __m256i ints(std::uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }
};

}  // namespace

bool CutSurfelsAvx2(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    return TCutSurfels<SAvx2>(task).Run(begin, end);
}

}  // namespace DataLayer
