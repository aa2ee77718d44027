#include "Application/Pictures/Kernels/TSampleRows.h"

namespace Application
{

namespace
{

/// Four samples at once, on any processor.
struct SVector128
{
    static constexpr std::uint32_t c_width = 4;
    using Floats = float __attribute__((vector_size(16)));
    using Integers = std::int32_t __attribute__((vector_size(16)));

    static Floats Lanes() { return Floats{0, 1, 2, 3}; }
    static Floats SquareRoot(Floats values)
    {
        return Floats{__builtin_sqrtf(values[0]), __builtin_sqrtf(values[1]),
                      __builtin_sqrtf(values[2]), __builtin_sqrtf(values[3])};
    }
    static Floats Larger(Floats a, Floats b) { return a > b ? a : b; }
    static Floats Smaller(Floats a, Floats b) { return a < b ? a : b; }
    static Floats Gather(const float* first, const std::int32_t* places)
    {
        return Floats{first[places[0]], first[places[1]], first[places[2]], first[places[3]]};
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
        std::uint64_t halves[2];
        std::memcpy(halves, &lanes, sizeof halves);
        // Of each lane, the lowest bit.
        const std::uint64_t pairs =
            (halves[0] & 0x0000000200000001U) | (halves[1] & 0x0000000800000004U);
        return static_cast<std::uint32_t>(pairs | pairs >> 32U);
    }
    static void KeepSmaller(std::uint64_t* samples, Floats highs, Integers lows,
                            std::uint32_t lanes)
    {
        KeepSmallerOneByOne(samples, 0, highs, lows, lanes);
    }
};

}  // namespace

constinit const SSampleRowsKernels c_sampleRowsVector128 =
    MakeSampleRowsKernels<SVector128>("vector128");

}  // namespace Application
