#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Application/Pictures/Kernels/SampleRows.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace Application
{
namespace
{

/// As LoadBytes() of a record of registers; see TDots.
template <typename Integers>
[[nodiscard]] Integers LoadBytesOneByOne(const std::uint8_t* first)
{
    Integers values{};
    for (std::size_t lane = 0; lane < sizeof values / sizeof(std::int32_t); ++lane)
    {
        values[lane] = first[lane];
    }
    return values;
}

/// As GatherWords().
template <typename Floats, typename Integers>
void GatherWordsOneByOne(const std::uint64_t* first, const std::int32_t* places, Floats& highs,
                         Integers& lows)
{
    std::uint32_t upper[sizeof highs / sizeof(float)] = {};
    for (std::size_t lane = 0; lane < sizeof upper / sizeof upper[0]; ++lane)
    {
        const std::uint64_t word = first[places[lane]];
        upper[lane] = static_cast<std::uint32_t>(word >> 32U);
        lows[lane] = static_cast<std::int32_t>(word);
    }
    std::memcpy(&highs, upper, sizeof highs);
}

/// As StoreBytes().
template <typename Integers>
void StoreBytesOneByOne(Integers values, std::uint8_t* first)
{
    for (std::size_t lane = 0; lane < sizeof values / sizeof(std::int32_t); ++lane)
    {
        first[lane] = static_cast<std::uint8_t>(values[lane]);
    }
}

/// A row of samples, with what is around them, and how vectors of such values are loaded.
///
/// \tparam Vector see TDots.
template <typename Vector>
class TSampleRow
{
public:
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static_assert(c_width <= SSampleRows::c_margin);

    TSampleRow(const SSampleDepths& depths, std::uint32_t row)
        : m_depths(depths), m_first(depths.first + depths.stride * static_cast<std::ptrdiff_t>(row))
    {}

    /// The depth of a sample, and those to the right of it.
    [[nodiscard]] const float* At(std::uint32_t column) const { return m_first + column; }

    [[nodiscard]] Floats Sizes(Floats depths) const
    {
        return m_depths.isPerspective ? m_depths.sampleSize * depths
                                      : Floats() + m_depths.sampleSize;
    }

    /// By how much the depths of samples of one surface may differ from these, per distance.
    [[nodiscard]] Floats Tolerances(Floats depths) const { return c_maxSlope * Sizes(depths); }

    [[nodiscard]] static Floats Magnitude(Floats values)
    {
        return reinterpret_cast<Floats>(reinterpret_cast<Integers>(values) & 0x7FFFFFFF);
    }

    [[nodiscard]] static Floats Load(const float* first)
    {
        Floats values;
        std::memcpy(&values, first, sizeof values);
        return values;
    }
    [[nodiscard]] static Integers Load(const std::int32_t* first)
    {
        Integers values;
        std::memcpy(&values, first, sizeof values);
        return values;
    }
    template <typename Values, typename Value>
    static void Store(Values values, Value* first)
    {
        static_assert(sizeof values == c_width * sizeof(Value));
        std::memcpy(first, &values, sizeof values);
    }

    /// Whether so few lanes are left at a distance that it takes less time to go on with each of
    /// them by itself, several of its offsets at once, than with all of them at each offset.
    [[nodiscard]] static bool AreFew(std::uint32_t lanes, float distance)
    {
        constexpr float c_enough = 8.0F;
        const float most = (distance < c_enough ? distance : c_enough) * c_width / 32.0F;
        return static_cast<float>(__builtin_popcount(lanes)) <= most;
    }

private:
    /// The steepest surface, as the tangent of its angle to the picture, that is seen as one.
    static constexpr float c_maxSlope = 4.0F;

    const SSampleDepths& m_depths;
    const float* m_first;
};

}  // namespace
}  // namespace Application
