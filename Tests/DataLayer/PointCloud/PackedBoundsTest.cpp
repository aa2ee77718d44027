#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "DataLayer/PointCloud/Kernels/PackedBoundsKernels.h"
#include "Tests/Support/CLastBytes.h"

namespace DataLayer::PackedBounds
{

namespace
{

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// Ordinary numbers, and among them now and then one that is not.
float MakeCoordinate(std::mt19937& random, bool hasNaN)
{
    switch (random() % 64)
    {
        case 0:
            return c_infinity;
        case 1:
            return -c_infinity;
        case 2:
            return 0.0F;
        case 3:
            return -0.0F;
        case 4:
            return hasNaN ? c_nan : 1.0F;
        default:
            return std::ldexp(static_cast<float>(random() % 2001) - 1000.0F,
                              static_cast<int>(random() % 20));
    }
}

SBounds BoundPlainly(std::span<const float> coordinates)
{
    SBounds bounds{};
    for (std::size_t index = 0; index < 12; ++index)
    {
        bounds.minima[index] = c_infinity;
        bounds.maxima[index] = -c_infinity;
    }
    for (std::size_t index = 0; index < coordinates.size(); ++index)
    {
        const float value = coordinates[index];
        bounds.minima[index % 12] = std::fmin(bounds.minima[index % 12], value);
        bounds.maxima[index % 12] = std::fmax(bounds.maxima[index % 12], value);
        bounds.hasNaN = bounds.hasNaN || std::isnan(value);
    }
    return bounds;
}

/// Has every kernel bound \p coordinates, the last of which has no memory behind it.
void ExpectPlainBounds(std::span<const float> coordinates)
{
    const TestSupport::CLastBytes memory(coordinates.size_bytes());
    if (!coordinates.empty())
    {
        std::memcpy(memory.Get().data(), coordinates.data(), coordinates.size_bytes());
    }
    const std::uint64_t count = coordinates.size() / 3;
    for (const SKernel& kernel : GetKernels())
    {
        SCOPED_TRACE(std::string(kernel.name) + ", " + std::to_string(count) + " positions");
        SBounds found{};
        const std::uint64_t numBounded = kernel.bound(memory.Get().data(), count, found);
        ASSERT_LE(numBounded, count);
        ASSERT_LT(count - numBounded, 16U);
        const SBounds expected = BoundPlainly(coordinates.first(3 * numBounded));
        for (std::size_t index = 0; index < 12; ++index)
        {
            ASSERT_EQ(found.minima[index], expected.minima[index]) << index;
            ASSERT_EQ(found.maxima[index], expected.maxima[index]) << index;
        }
        ASSERT_EQ(found.hasNaN, expected.hasNaN);
    }
}

TEST(PackedBounds, EveryKernel_AgreesWithAPlainLoop)
{
    std::mt19937 random(1);
    for (std::size_t count = 0; count < 600; ++count)
    {
        const bool hasNaN = random() % 2 == 0;
        std::vector<float> coordinates(3 * count);
        for (float& coordinate : coordinates)
        {
            coordinate = MakeCoordinate(random, hasNaN);
        }
        ExpectPlainBounds(coordinates);
        if (HasFatalFailure())
        {
            return;
        }
    }
}

TEST(PackedBounds, EveryKernel_FindsASingleNaNAndASingleBoundAnywhere)
{
    for (const float special : {c_nan, -2.0F, 2.0F})
    {
        for (std::size_t index = 0; index < 3 * std::size_t{32}; ++index)
        {
            std::vector<float> coordinates(3 * std::size_t{32}, 1.0F);
            coordinates[index] = special;
            ExpectPlainBounds(coordinates);
            if (HasFatalFailure())
            {
                return;
            }
        }
    }
}

TEST(PackedBounds, EveryKernel_TakesAnyAddress)
{
    std::vector<std::byte> memory(1 + 32 * 3 * sizeof(float));
    const float low = -3.0F;
    std::memcpy(memory.data() + 1 + 17 * sizeof low, &low, sizeof low);
    for (const SKernel& kernel : GetKernels())
    {
        SBounds found{};
        EXPECT_EQ(kernel.bound(memory.data() + 1, 32, found), 32U) << kernel.name;
        EXPECT_EQ(found.minima[17 % 12], low) << kernel.name;
    }
}

TEST(PackedBounds, GetKernels_AreThoseThatTheProcessorRunsTheWidestFirst)
{
    std::vector<std::string> expected{"vector128"};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
    {
        expected.insert(expected.begin(), "avx2");
    }
    if (__builtin_cpu_supports("avx512f"))
    {
        expected.insert(expected.begin(), "avx512");
    }
#endif
    std::vector<std::string> names;
    for (const SKernel& kernel : GetKernels())
    {
        names.emplace_back(kernel.name);
    }
    EXPECT_EQ(names, expected);
}

}  // namespace

}  // namespace DataLayer::PackedBounds
