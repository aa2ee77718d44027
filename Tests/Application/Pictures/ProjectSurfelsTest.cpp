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
using Application::SProjectSurfelsKernels;
using Application::SSeenSurfels;
using Application::SSurfelPositions;
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

/// Positions, so many bytes apart, in a piece of memory that ends behind what may be read.
struct SPositions
{
    /// With the four bytes behind it.
    using Place = std::array<float, 4>;

    explicit SPositions(std::uint32_t count, std::size_t bytesApart = 3 * sizeof(float))
        : numPlaces((count + SSurfelPositions::c_multiple - 1) / SSurfelPositions::c_multiple *
                    SSurfelPositions::c_multiple),
          bytes(numPlaces == 0 ? 0 : bytesApart * (numPlaces - 1) + sizeof(Place)),
          step(bytesApart),
          task{bytes.data(), step, count}
    {}
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

    std::size_t numPlaces;
    std::vector<std::byte> bytes;
    std::size_t step;
    SSurfelPositions task;
};

/// One position after the other, as the interface says it.
std::vector<SSeen> ProjectPlainly(const SSurfelProjection& projection, const SPositions& positions)
{
    std::vector<SSeen> seen;
    const auto width = static_cast<float>(projection.width);
    const auto height = static_cast<float>(projection.height);
    for (std::uint32_t index = 0; index < positions.task.count; ++index)
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

std::vector<SSeen> Project(const SProjectSurfelsKernels& kernels,
                           const SSurfelProjection& projection, const SPositions& positions)
{
    SSeenSurfels seen;
    kernels.project(projection, positions.task, seen);
    std::vector<SSeen> all;
    for (std::uint32_t index = 0; index < seen.count; ++index)
    {
        all.push_back({seen.indices[index], seen.samples[index],
                       std::bit_cast<std::uint32_t>(seen.depths[index])});
    }
    return all;
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
    for (std::size_t index = 0; index < positions->numPlaces; ++index)
    {
        positions->Set(index, {coordinate(), coordinate(), coordinate(), coordinate()});
    }
    return positions;
}

TEST(ProjectSurfels, Project_IsThePlainProjectionForEveryCount)
{
    for (const SProjectSurfelsKernels& kernel : GetProjectSurfelsKernels())
    {
        for (const bool isPerspective : {false, true})
        {
            const SSurfelProjection projection = MakeProjection(isPerspective);
            for (std::uint32_t count = 0; count <= SSeenSurfels::c_size; ++count)
            {
                const auto positions = MakePositions(count, count, 4 + count % 17);
                const std::vector<SSeen> expected = ProjectPlainly(projection, *positions);
                ASSERT_EQ(Project(kernel, projection, *positions), expected)
                    << kernel.name << " " << count;
            }
        }
    }
}

TEST(ProjectSurfels, Project_AllSeenFillTheBatch)
{
    for (const SProjectSurfelsKernels& kernel : GetProjectSurfelsKernels())
    {
        const auto positions = std::make_unique<SPositions>(SSeenSurfels::c_size);
        for (std::size_t index = 0; index < SSeenSurfels::c_size; ++index)
        {
            positions->Set(index, {0.0F, 0.0F, 0.5F});
        }
        const std::vector<SSeen> seen = Project(kernel, MakeProjection(true), *positions);
        ASSERT_EQ(seen.size(), SSeenSurfels::c_size) << kernel.name;
        EXPECT_EQ(seen.back().index, SSeenSurfels::c_size - 1);
    }
}

TEST(ProjectSurfels, Project_DepthIsNeverTheNegativeZero)
{
    SSurfelProjection projection = MakeProjection(false);
    projection.clip[2][3] = -0.0F;
    projection.clip[3][2] = 0.0F;
    for (const SProjectSurfelsKernels& kernel : GetProjectSurfelsKernels())
    {
        const auto positions = std::make_unique<SPositions>(1);
        positions->Set(0, {-0.5F, -0.5F, -0.0F});
        const std::vector<SSeen> seen = Project(kernel, projection, *positions);
        ASSERT_EQ(seen.size(), 1U) << kernel.name;
        EXPECT_EQ(seen.front().depthBits, 0U) << kernel.name;
    }
}

TEST(ProjectSurfels, Draw_KeepsTheNearestAroundWholeGroups)
{
    const auto check = [](const SProjectSurfelsKernels& kernel, bool isPerspective,
                          std::uint32_t count, std::size_t bytesApart) {
        const SSurfelProjection projection = MakeProjection(isPerspective);
        const auto positions = MakePositions(count, count, bytesApart);
        std::vector<std::uint32_t> expected(std::size_t{projection.stride} * projection.height,
                                            ~0U);
        // Something that has been drawn before.
        expected[projection.stride + 1] = 0;
        expected[projection.stride + 2] =
            std::bit_cast<std::uint32_t>(std::numeric_limits<float>::infinity());
        std::vector<float> samples(expected.size());
        std::memcpy(samples.data(), expected.data(), expected.size() * sizeof expected[0]);
        for (const SSeen& seen : ProjectPlainly(projection, *positions))
        {
            expected[seen.sample] = std::min(expected[seen.sample], seen.depthBits);
        }
        kernel.draw(projection, positions->task, samples.data());
        EXPECT_EQ(std::memcmp(samples.data(), expected.data(), samples.size() * sizeof samples[0]),
                  0)
            << kernel.name << ' ' << count << ' ' << bytesApart;
    };
    for (const SProjectSurfelsKernels& kernel : GetProjectSurfelsKernels())
    {
        for (const std::uint32_t count :
             {0U, 1U, 2U, 15U, 16U, 17U, 31U, 32U, 33U, 47U, 48U, 49U, 64U, 65U, 255U, 4000U})
        {
            for (const std::size_t bytesApart : {4U, 12U, 13U, 16U})
            {
                check(kernel, false, count, bytesApart);
                check(kernel, true, count, bytesApart);
            }
        }
    }
}

TEST(ProjectSurfels, GetKernels_AreThoseThatTheProcessorRunsTheReferenceLast)
{
    std::vector<std::string_view> names;
    for (const SProjectSurfelsKernels& kernel : GetProjectSurfelsKernels())
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
