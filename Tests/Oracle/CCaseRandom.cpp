#include "Tests/Oracle/CCaseRandom.h"

#include <bit>
#include <cmath>
#include <limits>

namespace Oracle
{
namespace
{

using Float = std::numeric_limits<float>;
using Double = std::numeric_limits<double>;

constexpr std::uint32_t c_directedInterval = 3;

[[nodiscard]] std::uint64_t Mix(std::uint64_t value)
{
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

/// Whether a value errs by what it is and not only by where it stands: NaN, infinities, -0.0, what
/// is subnormal as a float or vanishes, the largest floats, doubles that overflow one, and the
/// limits of 32-bit integers with one step on each side. Plain zeros are left out, since there are
/// such in every case.
[[nodiscard]] bool IsExtreme(double value)
{
    const double size = std::abs(value);
    const auto isAt = [size](float limit) {
        return size >= static_cast<double>(std::nextafter(limit, 0.0F)) &&
               size <= static_cast<double>(std::nextafter(limit, Float::max()));
    };
    const bool isTiny = size < static_cast<double>(Float::min());
    const bool isPlainZero = size == 0.0 && !std::signbit(value);
    return std::isnan(value) || (isTiny && !isPlainZero) || isAt(0x1p31F) || isAt(0x1p32F) ||
           size >= static_cast<double>(std::nextafter(Float::max(), 0.0F));
}

}  // namespace

CCaseRandom::CCaseRandom(std::uint64_t seed, std::uint64_t kind, std::uint64_t index)
    : m_state(Mix(Mix(Mix(seed) + kind) + index)), m_isDirected(index % c_directedInterval == 0)
{}

std::uint64_t CCaseRandom::Bits()
{
    m_state += 0x9E3779B97F4A7C15U;
    return Mix(m_state);
}

std::uint32_t CCaseRandom::Below(std::uint32_t count)
{
    return static_cast<std::uint32_t>(((Bits() >> 32U) * count) >> 32U);
}

float CCaseRandom::Between(float low, float high)
{
    const double fraction = OneIn(3) ? static_cast<double>(Bits() >> 11U) * 0x1p-53
                                     : static_cast<double>(Below(65)) / 64.0;
    return static_cast<float>(static_cast<double>(low) +
                              fraction * (static_cast<double>(high) - static_cast<double>(low)));
}

float CCaseRandom::DirectedFloat()
{
    const float value = chooseDirectedFloat();
    remember(static_cast<double>(value));
    return value;
}

double CCaseRandom::DirectedDouble()
{
    const double value = chooseDirectedDouble();
    remember(value);
    remember(static_cast<double>(static_cast<float>(value)));
    return value;
}

std::uint64_t CCaseRandom::BitsOf(double value)
{
    return std::bit_cast<std::uint64_t>(std::isnan(value) ? Double::quiet_NaN() : value);
}

void CCaseRandom::remember(double value)
{
    if (IsExtreme(value))
    {
        m_directedBits.insert(BitsOf(value));
    }
}

float CCaseRandom::chooseDirectedFloat()
{
    const float sign = OneIn(2) ? -1.0F : 1.0F;
    switch (Below(13))
    {
        case 0:
            return std::bit_cast<float>(
                OneOf({0x7FC00000U, 0xFFC00000U, 0x7F800001U, 0x7FFFFFFFU, 0xFFC12345U}));
        case 1:
            return sign * Float::infinity();
        case 2:
        case 3:
            return sign * 0.0F;
        case 4:
            return sign * std::bit_cast<float>(Below(0x00800000U));
        case 5:
            return sign * OneOf({Float::denorm_min(), Float::min(), 0x1.fffffcp-127F});
        case 6:
            return sign * OneOf({Float::max(), std::nextafter(Float::max(), 0.0F), 0x1p127F,
                                 0x1p64F, 0x1p63F, 1.8446743e19F});
        case 7:
            return Nudged(sign * OneOf({0x1p31F, 0x1p32F, 0x1p24F, 0x1p30F, 0x1p16F}));
        case 8:
            return Nudged(sign * 1.0F);
        case 9:
            return Nudged(sign * static_cast<float>(Below(4097)));
        case 10:
            return sign * static_cast<float>(Below(9)) / 8.0F;
        case 11:
            return Nudged(sign * OneOf({0.5F, 2.0F, 2.25F, 127.5F, 84.666664F, 5.0625F}));
        default:
            return std::bit_cast<float>(static_cast<std::uint32_t>(Bits()));
    }
}

double CCaseRandom::chooseDirectedDouble()
{
    const double sign = OneIn(2) ? -1.0 : 1.0;
    switch (Below(6))
    {
        case 0: {
            // Where rounding to float overflows: half a step above the largest float.
            const double limit = 0x1.ffffffp127;
            return sign * OneOf({limit, std::nextafter(limit, 0.0), std::nextafter(limit, 1e300),
                                 1e39, Double::max(), Double::infinity()});
        }
        case 1: {
            // Half way between two floats.
            const float low = Between(-4.0F, 4.0F);
            const float high = std::nextafter(low, 8.0F);
            const double middle = (static_cast<double>(low) + static_cast<double>(high)) / 2.0;
            return OneOf({middle, std::nextafter(middle, -9.0), std::nextafter(middle, 9.0)});
        }
        case 2:
            // Around and below half of the smallest float.
            return sign * OneOf({0x1p-150, std::nextafter(0x1p-150, 1.0), 0x1p-151, 0x1p-149,
                                 Double::min(), Double::denorm_min()});
        case 3:
            return std::bit_cast<double>(Bits());
        default:
            return static_cast<double>(chooseDirectedFloat());
    }
}

float CCaseRandom::Nudged(float value)
{
    const float target = OneIn(2) ? Float::infinity() : -Float::infinity();
    for (std::uint32_t step = Below(3); step > 0; --step)
    {
        value = std::nextafter(value, target);
    }
    return value;
}

float CCaseRandom::Coordinate(float low, float high)
{
    return m_isDirected && OneIn(8) ? DirectedFloat() : Between(low, high);
}

LqVector3f CCaseRandom::Point(float low, float high)
{
    const float x = Coordinate(low, high);
    const float y = Coordinate(low, high);
    return {x, y, Coordinate(low, high)};
}

LqVector3f CCaseRandom::WithDirected(LqVector3f point)
{
    while (m_isDirected && m_directedBits.empty())
    {
        float* const component = OneOf({&point.x, &point.y, &point.z});
        *component = DirectedFloat();
    }
    return point;
}

LqMatrix4Rd CCaseRandom::Transform()
{
    LqMatrix4Rd matrix = c_matIdentityD;
    const std::uint32_t style = Below(8);
    if (style >= 3 && style <= 6)
    {
        // A rotation about one axis, scaled and moved.
        const std::size_t first = Below(3);
        const std::size_t second = (first + 1 + Below(2)) % 3;
        const double scale = std::ldexp(1.0, static_cast<int>(Below(5)) - 2);
        const double cosine = static_cast<double>(Between(-1.0F, 1.0F));
        const double sine = std::sqrt(1.0 - cosine * cosine);
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            matrix(axis, axis) = scale;
            matrix(3, axis) = static_cast<double>(Between(-1.0F, 1.0F));
        }
        matrix(first, first) = matrix(second, second) = scale * cosine;
        matrix(first, second) = scale * sine;
        matrix(second, first) = -scale * sine;
        if (style == 6)
        {
            // A perspective: w grows, or falls below zero, along z.
            matrix(2, 3) = OneOf({1.0, -1.0, 0.5, 0.25});
            matrix(3, 3) = OneOf({1.0, 0.0, 2.0, -1.0, 3.0});
        }
    }
    else if (style == 7)
    {
        for (std::size_t index = 0; index < 16; ++index)
        {
            matrix.data()[index] = static_cast<double>(Between(-2.0F, 2.0F));
        }
    }
    else if (style == 2)
    {
        for (std::size_t axis = 0; axis < 4; ++axis)
        {
            const double sign = OneIn(4) ? -1.0 : 1.0;
            matrix(axis, axis) = std::ldexp(sign, static_cast<int>(Below(4)) - 2);
        }
    }
    if (m_isDirected && OneIn(4))
    {
        for (std::uint32_t changes = 1 + Below(3); changes > 0; --changes)
        {
            matrix.data()[Below(16)] = DirectedDouble();
        }
    }
    return matrix;
}

}  // namespace Oracle
