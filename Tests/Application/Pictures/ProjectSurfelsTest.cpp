#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "Application/Pictures/Kernels/ProjectSurfelsKernels.h"

namespace
{

using Application::GetProjectSurfelsKernels;
using Application::SProjectSurfelsKernel;
using Application::SSurfelBatch;
using Application::SSurfelProjection;

/// Positions are clip coordinates but for w, which is z + 2; z / w is then within 0 and 1 for z
/// from 0 on.
SSurfelProjection MakeProjection(bool isPerspective)
{
    SSurfelProjection projection;
    projection.clip[0][0] = 1.0F;
    projection.clip[1][1] = 1.0F;
    projection.clip[2][2] = 1.0F;
    projection.clip[3][2] = 1.0F;
    projection.clip[3][3] = 2.0F;
    projection.width = 37;
    projection.height = 23;
    projection.stride = 53;
    projection.isPerspective = isPerspective;
    return projection;
}

struct SSeen
{
    std::uint32_t index;
    std::uint32_t sample;
    std::uint32_t depthBits;

    bool operator==(const SSeen&) const = default;
};

/// A batch and its positions, so many bytes apart, in a piece of memory that ends behind them.
struct SPositions
{
    /// With the four bytes behind it.
    using Place = std::array<float, 4>;

    explicit SPositions(std::uint32_t count, std::size_t bytesApart = 3 * sizeof(float))
        : bytes(bytesApart * (SSurfelBatch::c_size - 1) + sizeof(Place)), step(bytesApart)
    {
        batch.count = count;
        batch.positions = bytes.data();
        batch.positionStride = step;
    }
    SPositions(const SPositions&) = delete;
    SPositions& operator=(const SPositions&) = delete;

    [[nodiscard]] Place Get(std::size_t index) const
    {
        Place place;
        std::memcpy(place.data(), &bytes[index * step], sizeof place);
        return place;
    }
    void Set(std::size_t index, const Place& place)
    {
        std::memcpy(&bytes[index * step], place.data(), sizeof place);
    }

    std::vector<std::byte> bytes;
    std::size_t step;
    SSurfelBatch batch;
};

/// One position after the other, as the interface says it.
std::vector<SSeen> ProjectPlainly(const SSurfelProjection& projection, const SPositions& positions)
{
    std::vector<SSeen> seen;
    const auto width = static_cast<float>(projection.width);
    const auto height = static_cast<float>(projection.height);
    for (std::uint32_t index = 0; index < positions.batch.count; ++index)
    {
        const SPositions::Place at = positions.Get(index);
        const auto clip = [&](const float(&c)[4]) {
            return ((at[0] * c[0] + at[1] * c[1]) + at[2] * c[2]) + c[3];
        };
        const float w = clip(projection.clip[3]);
        const float perW = 1.0F / w;
        const float z = clip(projection.clip[2]) * perW;
        const float x = (clip(projection.clip[0]) * perW + 1.0F) * (0.5F * width);
        const float y = (1.0F - clip(projection.clip[1]) * perW) * (0.5F * height);
        if (w > 0.0F && z >= 0.0F && z <= 1.0F && x >= 0.0F && x < width && y >= 0.0F && y < height)
        {
            seen.push_back(
                {index,
                 static_cast<std::uint32_t>(y) * projection.stride + static_cast<std::uint32_t>(x),
                 std::bit_cast<std::uint32_t>((projection.isPerspective ? w : z) + 0.0F)});
        }
    }
    return seen;
}

std::vector<SSeen> GetSeen(const SSurfelBatch& batch)
{
    std::vector<SSeen> seen;
    for (std::uint32_t index = 0; index < batch.numSeen; ++index)
    {
        seen.push_back({batch.indices[index], batch.samples[index],
                        std::bit_cast<std::uint32_t>(batch.depths[index])});
    }
    return seen;
}

/// Coordinates on, just inside and just outside every border, and such that are no numbers.
std::unique_ptr<SPositions> MakePositions(std::uint32_t count, std::uint32_t seed, std::size_t step)
{
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    const std::array<float, 12> special = {
        0.0F,        -0.0F,      2.0F,       -2.0F,
        -2.0000002F, 1.9999999F, c_infinity, -c_infinity,
        1e38F,       1e-40F,     -1e-40F,    std::numeric_limits<float>::quiet_NaN()};
    std::mt19937 random(seed);
    const auto coordinate = [&] {
        return random() % 4 == 0 ? special[random() % special.size()]
                                 : static_cast<float>(random() % 5001) / 1000.0F - 2.5F;
    };
    auto positions = std::make_unique<SPositions>(count, step);
    for (std::size_t index = 0; index < SSurfelBatch::c_size; ++index)
    {
        positions->Set(index, {coordinate(), coordinate(), coordinate(), coordinate()});
    }
    return positions;
}

TEST(ProjectSurfels, Project_IsThePlainProjectionForEveryCount)
{
    for (const SProjectSurfelsKernel& kernel : GetProjectSurfelsKernels())
    {
        for (const bool isPerspective : {false, true})
        {
            const SSurfelProjection projection = MakeProjection(isPerspective);
            for (std::uint32_t count = 0; count <= SSurfelBatch::c_size; ++count)
            {
                const auto positions = MakePositions(count, count, 4 + count % 17);
                const std::vector<SSeen> expected = ProjectPlainly(projection, *positions);
                kernel.project(projection, positions->batch);
                ASSERT_EQ(GetSeen(positions->batch), expected) << kernel.name << " " << count;
            }
        }
    }
}

TEST(ProjectSurfels, Project_AllSeenFillTheBatch)
{
    for (const SProjectSurfelsKernel& kernel : GetProjectSurfelsKernels())
    {
        const auto positions = std::make_unique<SPositions>(SSurfelBatch::c_size);
        for (std::size_t index = 0; index < SSurfelBatch::c_size; ++index)
        {
            positions->Set(index, {0.0F, 0.0F, 0.5F});
        }
        SSurfelBatch& batch = positions->batch;
        kernel.project(MakeProjection(true), batch);
        EXPECT_EQ(batch.numSeen, SSurfelBatch::c_size) << kernel.name;
        EXPECT_EQ(batch.indices[SSurfelBatch::c_size - 1], SSurfelBatch::c_size - 1);
    }
}

TEST(ProjectSurfels, Project_DepthIsNeverTheNegativeZero)
{
    SSurfelProjection projection = MakeProjection(false);
    projection.clip[2][3] = -0.0F;
    projection.clip[3][2] = 0.0F;
    for (const SProjectSurfelsKernel& kernel : GetProjectSurfelsKernels())
    {
        const auto positions = std::make_unique<SPositions>(1);
        positions->Set(0, {-0.5F, -0.5F, -0.0F});
        SSurfelBatch& batch = positions->batch;
        kernel.project(projection, batch);
        ASSERT_EQ(batch.numSeen, 1U) << kernel.name;
        EXPECT_EQ(std::bit_cast<std::uint32_t>(batch.depths[0]), 0U) << kernel.name;
    }
}

TEST(ProjectSurfels, GetKernels_AreThoseThatTheProcessorRunsTheReferenceLast)
{
    std::vector<std::string_view> names;
    for (const SProjectSurfelsKernel& kernel : GetProjectSurfelsKernels())
    {
        names.push_back(kernel.name);
    }
    std::vector<std::string_view> expected;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f") != 0)
    {
        expected.emplace_back("avx512");
    }
#endif
    expected.emplace_back("vector128");
    EXPECT_EQ(names, expected);
}

}  // namespace
