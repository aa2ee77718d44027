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
    static Floats Gather(const float* first, Integers places)
    {
        return _mm512_mask_i32gather_ps(_mm512_setzero_ps(), c_all, bits(places), first,
                                        sizeof(float));
    }
    static std::uint32_t Bits(Integers lanes)
    {
        return _mm512_test_epi32_mask(bits(lanes), bits(lanes));
    }

private:
    static constexpr __mmask16 c_all = 0xFFFF;

    static __m512i bits(Integers values) { return reinterpret_cast<__m512i>(values); }
};

}  // namespace

constinit const SSampleRowsKernels c_sampleRowsAvx512 = MakeSampleRowsKernels<SAvx512>("avx512");

}  // namespace Application
