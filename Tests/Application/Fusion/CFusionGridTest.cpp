#include "Application/Fusion/CFusionGrid.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace
{

using Application::CBucketing;
using Application::CFusionGrid;
using Application::SCell;

constexpr double c_infinity = std::numeric_limits<double>::infinity();

/// The cell and offset of a coordinate on the first axis.
struct SOnAxis
{
    std::int32_t cell;
    std::uint32_t offset;
    bool operator==(const SOnAxis&) const = default;
};

SOnAxis LocateOnAxis(double x, double origin, double cellSize)
{
    CFusionGrid::SPlace place{};
    EXPECT_TRUE(CFusionGrid({origin, 0.0, 0.0}, cellSize).Locate({x, 0.0, 0.0}, place));
    return {place.cell.x, place.offset[0]};
}

bool CanLocate(double x, double y, double z)
{
    CFusionGrid::SPlace place{};
    return CFusionGrid({}, 1.0).Locate({x, y, z}, place);
}

TEST(CFusionGridTest, Locate_CellsAreClosedBelowAndOpenAbove)
{
    EXPECT_EQ(LocateOnAxis(0.0, 0.0, 1.0), (SOnAxis{0, 0}));
    EXPECT_EQ(LocateOnAxis(0.5, 0.0, 1.0), (SOnAxis{0, 32768}));
    EXPECT_EQ(LocateOnAxis(std::nextafter(1.0, 0.0), 0.0, 1.0), (SOnAxis{0, 65535}));
    EXPECT_EQ(LocateOnAxis(1.0, 0.0, 1.0), (SOnAxis{1, 0}));
}

TEST(CFusionGridTest, Locate_GoesOnBelowTheOrigin)
{
    EXPECT_EQ(LocateOnAxis(-0.25, 0.0, 1.0), (SOnAxis{-1, 49152}));
    EXPECT_EQ(LocateOnAxis(-1.0, 0.0, 1.0), (SOnAxis{-1, 0}));
    EXPECT_EQ(LocateOnAxis(-1.25, 0.0, 1.0), (SOnAxis{-2, 49152}));
}

TEST(CFusionGridTest, Locate_OffsetStaysInItsCellWhereItsDifferenceRoundsUp)
{
    EXPECT_EQ(LocateOnAxis(-1e-20, 0.0, 1.0), (SOnAxis{-1, 65535}));
}

TEST(CFusionGridTest, Locate_CountsFromTheOriginInCells)
{
    EXPECT_EQ(LocateOnAxis(5e6 + 1.25, 5e6, 0.5), (SOnAxis{2, 32768}));
}

TEST(CFusionGridTest, Locate_EndsWhereCellNumbersDo)
{
    EXPECT_TRUE(CanLocate(2147483646.0, -2147483646.0, 0.0));
    EXPECT_FALSE(CanLocate(2147483647.0, 0.0, 0.0));
    EXPECT_FALSE(CanLocate(0.0, -2147483647.0, 0.0));
    EXPECT_FALSE(CanLocate(0.0, 0.0, 1e30));
}

TEST(CFusionGridTest, Locate_RefusesWhatIsNotFiniteOnAnyAxis)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(CanLocate(nan, 0.0, 0.0));
    EXPECT_FALSE(CanLocate(0.0, nan, 0.0));
    EXPECT_FALSE(CanLocate(0.0, 0.0, nan));
    EXPECT_FALSE(CanLocate(c_infinity, 0.0, 0.0));
    EXPECT_FALSE(CanLocate(0.0, -c_infinity, 0.0));
}

TEST(CFusionGridTest, VoxelOfPart_RoundsDownBelowZero)
{
    EXPECT_EQ(Application::VoxelOfPart({3, -1, -2}), (SCell{1, -1, -1}));
}

TEST(CFusionGridTest, HashCell_TellsNeighborsApart)
{
    std::set<std::uint64_t> hashes;
    for (std::int32_t x = -8; x < 8; ++x)
    {
        for (std::int32_t y = -8; y < 8; ++y)
        {
            for (std::int32_t z = -8; z < 8; ++z)
            {
                hashes.insert(Application::HashCell({x, y, z}));
            }
        }
    }
    EXPECT_EQ(hashes.size(), 4096U);
}

TEST(CFusionGridTest, AreInOneBrick_HoldsWithinEightVoxelsOnEachAxis)
{
    EXPECT_TRUE(CBucketing::AreInOneBrick({0, 8, -8}, {7, 15, -1}));
    EXPECT_FALSE(CBucketing::AreInOneBrick({7, 0, 0}, {8, 0, 0}));
    EXPECT_FALSE(CBucketing::AreInOneBrick({0, -1, 0}, {0, 0, 0}));
    EXPECT_FALSE(CBucketing::AreInOneBrick({0, 0, 15}, {0, 0, 16}));
}

TEST(CFusionGridTest, GetBucket_IsOneForABrickAndBelowTheCount)
{
    const CBucketing bucketing(16);
    std::set<std::uint32_t> buckets;
    for (std::int32_t brick = -100; brick < 100; ++brick)
    {
        const std::uint32_t bucket = bucketing.GetBucket({8 * brick, 0, 0});
        EXPECT_EQ(bucketing.GetBucket({8 * brick + 7, 7, 7}), bucket);
        buckets.insert(bucket);
    }
    EXPECT_EQ(buckets.size(), 16U);
    EXPECT_EQ(*buckets.rbegin(), 15U);
}

}  // namespace
