// In which cubes surfels are looked for: near ones where their sums of steps tell, all others where
// they are asked for.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Tests/DataLayer/PointCloud/CCellGrid.h"
#include "Tests/DataLayer/PointCloud/CNearestNeighborSplitTest.h"

namespace DataLayerTest
{
namespace
{

using DataLayer::NeighborCells::SPlacement;

class CNearestNeighborSplitPlacementTest : public CNearestNeighborSplitTest
{};

INSTANTIATE_TEST_SUITE_P(Kernels, CNearestNeighborSplitPlacementTest,
                         testing::ValuesIn(KernelNames()),
                         [](const auto& kernel) { return kernel.param; });

/// The middle of the cell that the sums of steps tell.
LqVector3f MiddleOfCell(const CCellGrid& grid, const SPlacement& placement,
                        const LqVector3f& surfel)
{
    float middle[3];
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const float* const steps = placement.steps[axis];
        const float sum =
            std::fma(surfel.x, steps[0],
                     std::fma(surfel.y, steps[1], std::fma(surfel.z, steps[2], steps[3])));
        std::uint32_t bits;
        std::memcpy(&bits, &sum, sizeof bits);
        middle[axis] = grid.Middle(axis, (bits & 0x7FFFFFU) >> 6U);
    }
    return {middle[0], middle[1], middle[2]};
}

bool IsNear(const SPlacement& placement, const LqVector3f& surfel)
{
    return std::fma(surfel.x, surfel.x, std::fma(surfel.y, surfel.y, surfel.z * surfel.z)) <=
           placement.nearness;
}

/// Whether a surfel, all that may share a register with it and those that may be the first of its
/// batch are near: otherwise a kernel may place it as it places far ones.
bool AreAllNear(const SPlacement& placement, const Points& surfels, std::size_t index)
{
    constexpr std::size_t c_mostPerRegister = 16;
    for (std::size_t lane = 0; lane < c_mostPerRegister; ++lane)
    {
        const std::size_t beside = index / c_mostPerRegister * c_mostPerRegister + lane;
        if (beside < surfels.size() && !IsNear(placement, surfels[beside]))
        {
            return false;
        }
    }
    return IsNear(placement, surfels[index / 256 * 256]) &&
           IsNear(placement, surfels[index / 512 * 512]);
}

TEST_P(CNearestNeighborSplitPlacementTest, Look_NearAndFar_InTheirCubes)
{
    const bool placesNearBySteps = GetParam() != "scalar";
    LqMatrix4Rf trafo(c_matIdentityD);
    trafo(0, 0) = 0.8F;
    trafo(0, 1) = 0.6F;
    trafo(1, 0) = -0.6F;
    trafo(1, 1) = 0.8F;
    trafo(3, 0) = 3.3F;
    // All of them near but for a few, and about half of them.
    for (const float place : {0.0F, 18700.0F})
    {
        SCOPED_TRACE(place);
        // A wavy surface: the cubes around it are covered, out of reach or open.
        Points points;
        for (int index = 0; index < 2500; ++index)
        {
            const auto x = static_cast<float>(index % 50 - 25);
            const auto y = static_cast<float>(index / 50 - 25);
            points.push_back({place + x, y, 3 * std::sin(x / 5) * std::cos(y / 7)});
        }
        const CCellGrid grid({place, 0, 0});
        const Points all = grid.WithMiddle(points);
        const CDeferredNeighborSearch search(PositionsOf(all));
        const auto last = static_cast<std::int32_t>(all.size());
        const auto split = CNearestNeighborSplit::Make(search, last, c_bound, GetParam());
        const auto reference = CNearestNeighborSplit::Make(search, last, c_bound, "scalar");
        ASSERT_NE(split, nullptr);
        const SPlacement placement = split->MakePlacement(trafo);
        ASSERT_GT(placement.nearness, 0);
        Points surfels = MakeRandom(5000, 25, 51);
        for (LqVector3f& surfel : surfels)
        {
            const float x = place + surfel.x - trafo(3, 0);
            surfel = {0.8F * x + 0.6F * surfel.y, -0.6F * x + 0.8F * surfel.y, surfel.z / 5};
        }
        surfels[100].y = c_nan;
        surfels[200].z = c_infinity;
        surfels[300].x = -3e38F;
        const SLooked exact = LookAt(*reference, PositionsOf(surfels), trafo);
        const SLooked looked = LookAt(*split, PositionsOf(surfels), trafo);
        EXPECT_EQ(looked.open, OpenOf(looked.states));
        std::size_t numElsewhere = 0;
        for (std::size_t index = 0; index < surfels.size(); ++index)
        {
            if (placesNearBySteps && AreAllNear(placement, surfels, index))
            {
                const Points middle{MiddleOfCell(grid, placement, surfels[index])};
                const std::uint16_t expected = LookAt(*reference, PositionsOf(middle)).states[0];
                numElsewhere += expected == exact.states[index] ? 0 : 1;
                ASSERT_EQ(looked.states[index], expected) << index;
            }
            else if (!placesNearBySteps || !IsNear(placement, surfels[index]))
            {
                ASSERT_EQ(looked.states[index], exact.states[index]) << index;
            }
        }
        EXPECT_EQ(numElsewhere > 0, placesNearBySteps);
    }
}

}  // namespace
}  // namespace DataLayerTest
