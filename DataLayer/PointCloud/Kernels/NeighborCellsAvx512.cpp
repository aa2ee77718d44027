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
    static constexpr bool c_readsBlocks = true;
    static constexpr __mmask16 c_every = 0xFFFF;
    static constexpr __mmask8 c_everyPair = 0xFF;

    static Floats Set(float value) { return _mm512_set1_ps(value); }
    static Floats Load(const float* values) { return _mm512_load_ps(values); }
    static Floats Add(Floats a, Floats b) { return _mm512_add_ps(a, b); }
    static Floats Subtract(Floats a, Floats b) { return _mm512_sub_ps(a, b); }
    static Floats Multiply(Floats a, Floats b) { return _mm512_mul_ps(a, b); }
    static Floats MultiplyAdd(Floats a, Floats b, Floats c) { return _mm512_fmadd_ps(a, b, c); }
    static Floats Divide(Floats a, Floats b) { return _mm512_div_ps(a, b); }
    static Floats Min(Floats a, Floats b) { return _mm512_maskz_min_ps(c_every, a, b); }
    static Floats Max(Floats a, Floats b) { return _mm512_maskz_max_ps(c_every, a, b); }
    static bool AreAtMost(Floats a, Floats b)
    {
        return _mm512_cmp_ps_mask(a, b, _CMP_LE_OQ) == c_every;
    }
    static Numbers BitsOf(Floats a) { return _mm512_castps_si512(a); }
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
    static Numbers LoadNumbers(const std::uint32_t* values) { return _mm512_loadu_si512(values); }
    static void StoreNumbers(Numbers a, std::uint32_t* values) { _mm512_store_si512(values, a); }
    static void Store(Numbers a, std::uint16_t* values)
    {
        const __m256i narrow = _mm512_maskz_cvtepi32_epi16(c_every, a);
        std::memcpy(values, &narrow, sizeof narrow);
    }

    /// Sixteen positions at a stride of a float at least. Reads nothing behind the last one.
    static void LoadPositions(const std::byte* first, std::size_t stride, Floats& x, Floats& y,
                              Floats& z)
    {
        const auto load = [&](std::size_t index) {
            const auto* const position = reinterpret_cast<const float*>(first + index * stride);
            if (index + 1 < c_width)
            {
                return _mm_loadu_ps(position);
            }
            const __m128 fromBefore = _mm_loadu_ps(position - 1);
            return _mm_shuffle_ps(fromBefore, fromBefore, _MM_SHUFFLE(0, 3, 2, 1));
        };
        const auto join = [](__m128 low, __m128 high) {
            return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
        };
        const auto loadEveryFourth = [&](std::size_t index) {
            const __m256 low = join(load(index), load(index + 4));
            const __m256 high = join(load(index + 8), load(index + 12));
            return _mm512_castpd_ps(
                _mm512_maskz_insertf64x4(c_everyPair, _mm512_castps_pd(_mm512_castps256_ps512(low)),
                                         _mm256_castps_pd(high), 1));
        };
        const Floats a = loadEveryFourth(0);
        const Floats b = loadEveryFourth(1);
        const Floats c = loadEveryFourth(2);
        const Floats d = loadEveryFourth(3);
        const Floats xyEven = _mm512_maskz_unpacklo_ps(c_every, a, c);
        const Floats xyOdd = _mm512_maskz_unpacklo_ps(c_every, b, d);
        const Floats zEven = _mm512_maskz_unpackhi_ps(c_every, a, c);
        const Floats zOdd = _mm512_maskz_unpackhi_ps(c_every, b, d);
        x = _mm512_maskz_unpacklo_ps(c_every, xyEven, xyOdd);
        y = _mm512_maskz_unpackhi_ps(c_every, xyEven, xyOdd);
        z = _mm512_maskz_unpacklo_ps(c_every, zEven, zOdd);
    }

    /// Appends the numbers of those of sixteen surfels that are in \p lanes, the first of which is
    /// number \p first. Writes sixteen numbers behind \p open whatever happens, and returns the end
    /// of those that count.
    static std::uint32_t* List(std::uint32_t lanes, std::uint32_t first, std::uint32_t* open)
    {
        const Numbers inRegister =
            _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        const Numbers listed = _mm512_maskz_compress_epi32(
            static_cast<__mmask16>(lanes), _mm512_add_epi32(inRegister, SetNumber(first)));
        std::memcpy(open, &listed, sizeof listed);
        return open + __builtin_popcount(lanes);
    }

    /// Reads the words of a batch, whole blocks at a time where surfels in a row share them: picks
    /// those of a register's surfels that lie in the block of one in the middle, of the last one or
    /// of the last one before these. Surfels in other blocks follow one by one. Takes a copy of
    /// \p lookup, which stays in registers whatever is stored.
    template <typename Batch>
    static void ReadWords(const SLookup lookup, Batch& batch)
    {
        std::uint32_t others[Batch::c_size];
        std::uint32_t* othersEnd = others;
        SBlock last{SetNumber(c_noRegion), SetNumber(0), SetNumber(0), SetNumber(0)};
        for (std::size_t index = 0; index < batch.count; index += c_width)
        {
            const Numbers regions = LoadNumbers(batch.regions + index);
            const Numbers blocks = LoadNumbers(batch.blocks + index);
            const Numbers places = LoadNumbers(batch.places + index);
            const SBlock middle = blockOf(lookup, batch, index + c_width / 2 - 1);
            const SBlock next = blockOf(lookup, batch, index + c_width - 1);
            const __mmask16 inMiddle = middle.Holds(regions, blocks);
            const __mmask16 inNext = next.Holds(regions, blocks);
            const Numbers words = _mm512_mask_mov_epi32(
                _mm512_mask_mov_epi32(last.WordsAt(places), inMiddle, middle.WordsAt(places)),
                inNext, next.WordsAt(places));
            StoreNumbers(words, batch.words + index);
            const __mmask16 found =
                _mm512_kor(last.Holds(regions, blocks), _mm512_kor(inMiddle, inNext));
            othersEnd = List(_mm512_knot(found), static_cast<std::uint32_t>(index), othersEnd);
            last = next;
        }
        for (const std::uint32_t* other = others; other != othersEnd; ++other)
        {
            batch.words[*other] = LatestWord(
                lookup, firstStateOfSurfel(lookup, batch, *other) + batch.places[*other]);
        }
    }

private:
    /// A block, its region and its place there in every lane, and the words of its states.
    struct SBlock
    {
        Numbers region;
        Numbers block;
        Numbers low;
        Numbers high;

        /// Which surfels lie in it.
        [[nodiscard]] __mmask16 Holds(Numbers regions, Numbers blocks) const
        {
            return _mm512_mask_cmpeq_epi32_mask(_mm512_cmpeq_epi32_mask(regions, region), blocks,
                                                block);
        }

        [[nodiscard]] Numbers WordsAt(Numbers places) const
        {
            return _mm512_permutex2var_epi32(low, places, high);
        }
    };

    /// Where the states begin of the block of surfel number \p index of a batch.
    template <typename Batch>
    static std::uint32_t firstStateOfSurfel(const SLookup& lookup, const Batch& batch,
                                            std::size_t index)
    {
        const SSlot& slot = FindSlot(lookup, batch.regions[index]);
        return lookup.blocks[slot.firstBlock + batch.blocks[index]];
    }

    /// The block of surfel number \p index of a batch.
    template <typename Batch>
    static SBlock blockOf(const SLookup& lookup, const Batch& batch, std::size_t index)
    {
        const std::uint32_t* const words = lookup.states + firstStateOfSurfel(lookup, batch, index);
        return {SetNumber(batch.regions[index]), SetNumber(batch.blocks[index]), latestWords(words),
                latestWords(words + c_width)};
    }

    /// Sixteen words as they are by now. Others may set bits there meanwhile by atomic operations;
    /// the processor loads each aligned word of a register whole, which is all that an atomic load
    /// would add. The thread sanitizer cannot know that.
    [[gnu::no_sanitize_thread]] static Numbers latestWords(const std::uint32_t* words)
    {
        return _mm512_loadu_si512(words);
    }
};

}  // namespace

std::size_t LookAvx512(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open)
{
    return TLook<SAvx512>(lookup, surfels).Run(states, open);
}

}  // namespace DataLayer::NeighborCells
