#pragma once

#include <cstdint>

namespace Application
{

/// Random numbers that are the same on every machine: the SplitMix64 generator (Steele, Lea and
/// Flood, "Fast splittable pseudorandom number generators", 2014).
///
/// Every key starts a sequence of its own, so that rays draw their noise independently of the order
/// in which they are cast. One thread at a time.
class CDemoRandom
{
public:
    CDemoRandom(std::uint64_t seed, std::uint64_t key) : m_state(mix(seed + c_step) ^ mix(key)) {}

    /// Even between 0 and 1, without 1.
    [[nodiscard]] double Uniform()
    {
        m_state += c_step;
        return static_cast<double>(mix(m_state) >> 11U) * 0x1p-53;
    }

    /// Even between \p min and \p max.
    [[nodiscard]] double Between(double min, double max) { return min + (max - min) * Uniform(); }

    /// Close to a normal distribution with mean 0 and deviation 1, within -3.5 and 3.5: the sum of
    /// four even numbers, which needs no function that machines round differently.
    [[nodiscard]] double Normal()
    {
        constexpr double c_perDeviation = 1.7320508075688772;
        const double first = Uniform() + Uniform();
        const double second = Uniform() + Uniform();
        return (first + second - 2.0) * c_perDeviation;
    }

private:
    static constexpr std::uint64_t c_step = 0x9E3779B97F4A7C15U;

    static std::uint64_t mix(std::uint64_t value)
    {
        value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
        value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
        return value ^ (value >> 31U);
    }

    std::uint64_t m_state;
};

}  // namespace Application
