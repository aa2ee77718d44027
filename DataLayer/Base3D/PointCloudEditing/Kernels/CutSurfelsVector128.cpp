#include "DataLayer/Base3D/PointCloudEditing/Kernels/TCutSurfels.h"

namespace DataLayer
{

namespace
{

/// Four surfels at once in the compiler's own vectors: every processor of this library has them.
struct SVector128
{
    using Floats = float __attribute__((vector_size(16)));
    using Words = std::uint64_t;
    using Bits = std::uint32_t __attribute__((vector_size(16)));
    static constexpr std::uint32_t c_width = 4;
    static constexpr std::uint32_t c_allLanes = 0xF;
    static constexpr bool c_hasBands = false;

    static Floats Set(float value) { return Floats{value, value, value, value}; }
    static Floats Load(const void* values)
    {
        Floats result;
        std::memcpy(&result, values, sizeof result);
        return result;
    }
    static Floats Add(Floats a, Floats b) { return a + b; }
    static Floats Multiply(Floats a, Floats b) { return a * b; }
    static Floats Divide(Floats a, Floats b) { return a / b; }

    static void LoadPacked(const std::byte* first, Floats& x, Floats& y, Floats& z)
    {
        const Floats a = Load(first);
        const Floats b = Load(first + 16);
        const Floats c = Load(first + 32);
        const Floats xy = __builtin_shufflevector(b, c, 2, 3, 5, 6);
        const Floats yz = __builtin_shufflevector(a, b, 1, 2, 4, 5);
        x = __builtin_shufflevector(a, xy, 0, 3, 4, 6);
        y = __builtin_shufflevector(yz, xy, 0, 2, 5, 7);
        z = __builtin_shufflevector(yz, c, 1, 3, 4, 7);
    }
    static void LoadPadded(const std::byte* first, Floats& x, Floats& y, Floats& z)
    {
        LoadApart(first, 16, x, y, z);
    }
    static void LoadApart(const std::byte* first, std::size_t stride, Floats& x, Floats& y,
                          Floats& z)
    {
        const Floats a = Load(first);
        const Floats b = Load(first + stride);
        const Floats c = Load(first + 2 * stride);
        const Floats d = Load(first + 3 * stride);
        const Floats xyOfAB = __builtin_shufflevector(a, b, 0, 4, 1, 5);
        const Floats xyOfCD = __builtin_shufflevector(c, d, 0, 4, 1, 5);
        const Floats zOfAB = __builtin_shufflevector(a, b, 2, 6, c_any, c_any);
        const Floats zOfCD = __builtin_shufflevector(c, d, 2, 6, c_any, c_any);
        x = __builtin_shufflevector(xyOfAB, xyOfCD, 0, 1, 4, 5);
        y = __builtin_shufflevector(xyOfAB, xyOfCD, 2, 3, 6, 7);
        z = __builtin_shufflevector(zOfAB, zOfCD, 0, 1, 4, 5);
    }

    static std::uint32_t Within(Floats value, Floats first, Floats end)
    {
        const Ints isWithin = (value >= first) & (value < end);
        const Ints bits = isWithin & Ints{1, 2, 4, 8};
        return static_cast<std::uint32_t>((bits[0] | bits[1]) | (bits[2] | bits[3]));
    }
    template <typename Axis>
    static Bits BitsOf(std::uint32_t lanes, const Axis& axis0, Floats pixel0, const Axis& axis1,
                       Floats pixel1)
    {
        Bits bits{};
        for (std::uint32_t rest = lanes; rest != 0; rest &= rest - 1U)
        {
            const int lane = __builtin_ctz(rest);
            bits[lane] = bitOf(axis0, pixel0[lane]) + bitOf(axis1, pixel1[lane]);
        }
        return bits;
    }
    static std::uint32_t Painted(const std::uint32_t* words, Bits bits, std::uint32_t lanes)
    {
        std::uint32_t painted = 0;
        for (std::uint32_t rest = lanes; rest != 0; rest &= rest - 1U)
        {
            const int lane = __builtin_ctz(rest);
            painted |= (words[bits[lane] / 32] >> bits[lane] % 32 & 1U) << lane;
        }
        return painted;
    }

    static Words NoWords() { return 0; }
    static Words LoadWords(const Base::CSurfelBitMask* words)
    {
        Words value;
        std::memcpy(&value, words, sizeof value);
        return value;
    }
    static void StoreWords(Base::CSurfelBitMask* words, Words value)
    {
        std::memcpy(static_cast<void*>(words), &value, sizeof value);
    }
    // Nothing is gained by writing eight bytes past the cache.
    static void StreamWords(Base::CSurfelBitMask* words, Words value) { StoreWords(words, value); }
    static void FinishStream() {}
    static Words Or(Words a, Words b) { return a | b; }
    static Words Xor(Words a, Words b) { return a ^ b; }
    static bool HasAny(Words words) { return words != 0; }
    static Words Flag(Words words, std::uint32_t lanes)
    {
        const Words bits = lanes;
        const Words cut = Base::CSurfelBitMask::SurfelFlagCut;
        return words |
               ((bits & 1U) | (bits & 2U) << 15U | (bits & 4U) << 30U | (bits & 8U) << 45U) * cut;
    }
    static Words FlagPadded(Words words, std::uint32_t lanes) { return Flag(words, lanes); }

private:
    template <typename Axis>
    static std::uint32_t bitOf(const Axis& axis, float pixel)
    {
        return (static_cast<std::uint32_t>(pixel) - axis.firstPixel) * axis.bitsPerPixel;
    }

    using Ints = std::int32_t __attribute__((vector_size(16)));
    /// A lane that the next step does not take: whichever costs least.
    static constexpr int c_any = -1;
};

}  // namespace

bool CutSurfelsVector128(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    return TCutSurfels<SVector128>(task).Run(begin, end);
}

}  // namespace DataLayer
