// The fuser's components, and what the small-component operation makes of them, against a plain
// search through all voxels, on scenes drawn at random.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include "Tests/Application/Fusion/FusionScenes.h"

namespace
{

using namespace TestSupport;
using Application::CScanFuser;
using Voxel = std::array<std::int64_t, 3>;

/// Clusters of all sizes and distances, some points far away.
Positions DrawScene(std::mt19937& random)
{
    std::uniform_real_distribution<float> place(-12.0F, 12.0F);
    std::normal_distribution<float> spread(0.0F, 0.8F);
    Positions points;
    const std::size_t numClusters = 2 + random() % 30;
    for (std::size_t cluster = 0; cluster < numClusters; ++cluster)
    {
        const float away = random() % 16 == 0 ? 1000.0F : 1.0F;
        const LqVector3f center{place(random) * away, place(random), place(random)};
        const std::size_t numPoints = 1 + random() % 60;
        for (std::size_t point = 0; point < numPoints; ++point)
        {
            points.push_back(
                {center.x + spread(random), center.y + spread(random), center.z + spread(random)});
        }
    }
    return points;
}

std::vector<Voxel> FindVoxels(const Positions& points, const CScanFuser::SReport& report)
{
    std::vector<Voxel> voxels;
    for (const LqVector3f& point : points)
    {
        const auto locate = [&](float coordinate, std::size_t axis) {
            return static_cast<std::int64_t>(
                std::floor((coordinate - report.origin[axis]) / report.voxelSize));
        };
        voxels.push_back({locate(point.x, 0), locate(point.y, 1), locate(point.z, 2)});
    }
    return voxels;
}

bool Touch(const Voxel& a, const Voxel& b)
{
    return std::abs(a[0] - b[0]) <= 1 && std::abs(a[1] - b[1]) <= 1 && std::abs(a[2] - b[2]) <= 1;
}

/// By point, how many points its component has.
std::vector<std::uint64_t> CountComponentPoints(const std::vector<Voxel>& voxels)
{
    std::vector<std::uint64_t> counts(voxels.size(), 0);
    for (std::size_t start = 0; start < voxels.size(); ++start)
    {
        if (counts[start] != 0)
        {
            continue;
        }
        std::vector<std::size_t> component{start};
        counts[start] = 1;
        for (std::size_t next = 0; next < component.size(); ++next)
        {
            for (std::size_t other = 0; other < voxels.size(); ++other)
            {
                if (counts[other] == 0 && Touch(voxels[component[next]], voxels[other]))
                {
                    counts[other] = 1;
                    component.push_back(other);
                }
            }
        }
        for (const std::size_t point : component)
        {
            counts[point] = component.size();
        }
    }
    return counts;
}

/// Enough points that are no numbers for the voxels to be spread over several buckets.
constexpr std::size_t c_numNoPoints = 100000;

class RandomScenes : public testing::TestWithParam<unsigned>
{};

TEST_P(RandomScenes, ExactlyThePointsOfSmallComponentsAreFlagged)
{
    std::mt19937 random(GetParam());
    const Positions points = DrawScene(random);
    CScanFuser::SParameters parameters;
    // A power of two, so that the plain search divides exactly as the fuser multiplies.
    parameters.voxelSize = 1.0;
    parameters.minimumPoints = 25;
    parameters.minimumFraction = 0.0;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector scans{MakeScan(Join({points, Positions(c_numNoPoints, {nan, nan, nan})}))};
    const CScanFuser::SFusion fusion = CScanFuser(parameters).Fuse(scans);

    const auto counts = CountComponentPoints(FindVoxels(points, fusion.report));
    const std::uint64_t largest = *std::max_element(counts.begin(), counts.end());
    std::vector<bool> expected;
    std::uint64_t numSmall = 0;
    double numComponents = 0.0;
    for (const std::uint64_t count : counts)
    {
        expected.push_back(count < 25 && count < largest);
        numSmall += expected.back() ? 1 : 0;
        numComponents += 1.0 / static_cast<double>(count);
    }
    EXPECT_EQ(fusion.report.numLargestComponentPoints, largest);
    EXPECT_EQ(fusion.report.numSmallComponentPoints, numSmall);
    EXPECT_NEAR(static_cast<double>(fusion.report.numComponents), numComponents, 1e-6);
    expected.resize(points.size() + c_numNoPoints, true);
    EXPECT_TRUE(FlagSmallComponents(scans, fusion)[0] == expected);
}

INSTANTIATE_TEST_SUITE_P(CScanFuserComponentsTest, RandomScenes, testing::Range(1U, 41U));

}  // namespace
