#include <immintrin.h>

#include "Application/Pictures/Kernels/TSampleRows.h"

namespace Application
{

namespace
{

/// Eight samples at once.
struct SAvx2
{
    static constexpr std::uint32_t c_width = 8;
    using Floats = float __attribute__((vector_size(32)));
    using Integers = std::int32_t __attribute__((vector_size(32)));

    static Floats Lanes() { return _mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7); }
    static Floats SquareRoot(Floats values) { return _mm256_sqrt_ps(values); }
    static Floats Larger(Floats a, Floats b) { return _mm256_max_ps(a, b); }
    static Floats Smaller(Floats a, Floats b) { return _mm256_min_ps(a, b); }
    static Floats Gather(const float* first, const std::int32_t* places)
    {
        return _mm256_setr_ps(first[places[0]], first[places[1]], first[places[2]],
                              first[places[3]], first[places[4]], first[places[5]],
                              first[places[6]], first[places[7]]);
    }
    static void GatherWords(const std::uint64_t* first, const std::int32_t* places, Floats& highs,
                            Integers& lows)
    {
        GatherWordsOneByOne(first, places, highs, lows);
    }
    static Integers LoadBytes(const std::uint8_t* first)
    {
        return LoadBytesOneByOne<Integers>(first);
    }
    static void StoreBytes(Integers values, std::uint8_t* first)
    {
        StoreBytesOneByOne(values, first);
    }
    static std::uint32_t Bits(Integers lanes)
    {
        return static_cast<std::uint32_t>(_mm256_movemask_ps(reinterpret_cast<__m256>(lanes)));
    }
    static void KeepSmaller(std::uint64_t* samples, Floats highs, Integers lows,
                            std::uint32_t lanes)
    {
        KeepSmallerOneByOne(samples, 0, highs, lows, lanes);
    }
};

}  // namespace

constinit const SSampleRowsKernels c_sampleRowsAvx2 = MakeSampleRowsKernels<SAvx2>("avx2");

}  // namespace Application
