#pragma once

#include <array>
#include <cmath>
#include <cstdint>

#include "Application/Fusion/CScanPoints.h"

namespace Application
{

/// The integer coordinates of a cubic cell.
struct SCell
{
    std::int32_t x;
    std::int32_t y;
    std::int32_t z;

    friend bool operator==(const SCell&, const SCell&) = default;
};

/// A hash of all bits of the cell, its own bits well mixed.
[[nodiscard]] inline std::uint64_t HashCell(const SCell& cell)
{
    const std::uint64_t xy = static_cast<std::uint64_t>(static_cast<std::uint32_t>(cell.x)) |
                             static_cast<std::uint64_t>(static_cast<std::uint32_t>(cell.y)) << 32;
    // Odd constants with evenly spread bits.
    std::uint64_t mixed = xy * 0x9E3779B97F4A7C15U;
    mixed ^= (mixed >> 32) ^ (static_cast<std::uint32_t>(cell.z) * 0xC2B2AE3D27D4EB4FU);
    mixed *= 0xBF58476D1CE4E5B9U;
    return mixed ^ (mixed >> 32);
}

/// A grid of cubic cells, given by one corner of them and their side.
class CFusionGrid
{
public:
    /// An offset of a whole cell.
    static constexpr std::uint32_t c_offsetsPerCell = 65536;

    /// A cell and a place in it: offsets from its lower corner, below c_offsetsPerCell. Whole
    /// numbers, so that sums of them are the same in any order.
    struct SPlace
    {
        SCell cell;
        std::array<std::uint32_t, 3> offset;
    };

    CFusionGrid(const std::array<double, 3>& origin, double cellSize)
        : m_origin(origin), m_cellsPerUnit(1.0 / cellSize)
    {}

    /// Finds the cell of \p point. False when its coordinates are no numbers, or beyond those that
    /// cells have.
    [[nodiscard]] bool Locate(const SFusionPoint& point, SPlace& place) const
    {
        return locate(point.x - m_origin[0], place.cell.x, place.offset[0]) &&
               locate(point.y - m_origin[1], place.cell.y, place.offset[1]) &&
               locate(point.z - m_origin[2], place.cell.z, place.offset[2]);
    }

private:
    bool locate(double fromOrigin, std::int32_t& cell, std::uint32_t& offset) const
    {
        // Leaves room for the neighbours of a cell.
        constexpr double c_maximum = 2147483646.0;
        const double inCells = fromOrigin * m_cellsPerUnit;
        if (!(std::fabs(inCells) <= c_maximum))
        {
            return false;
        }
        const auto truncated = static_cast<std::int32_t>(inCells);
        cell = truncated - (inCells < truncated ? 1 : 0);
        const auto exact = static_cast<std::uint32_t>((inCells - cell) * c_offsetsPerCell);
        // The subtraction may round up to the next cell's corner.
        offset = exact < c_offsetsPerCell ? exact : c_offsetsPerCell - 1;
        return true;
    }

    std::array<double, 3> m_origin;
    double m_cellsPerUnit;
};

/// The voxel that a part of it lies in: parts are cells of half a voxel's side.
[[nodiscard]] inline SCell VoxelOfPart(const SCell& part)
{
    return {part.x >> 1, part.y >> 1, part.z >> 1};
}

/// Distributes voxels to buckets that can be worked on side by side. Voxels of one brick, a cube of
/// 8 x 8 x 8, share a bucket, so that most neighbours of a voxel are in its own.
class CBucketing
{
public:
    /// \p numBuckets must be a power of two.
    explicit CBucketing(std::uint32_t numBuckets) : m_mask(numBuckets - 1) {}

    [[nodiscard]] std::uint32_t GetBucketCount() const { return m_mask + 1; }

    [[nodiscard]] std::uint32_t GetBucket(const SCell& voxel) const
    {
        const SCell brick{voxel.x >> c_brickShift, voxel.y >> c_brickShift,
                          voxel.z >> c_brickShift};
        return static_cast<std::uint32_t>(HashCell(brick)) & m_mask;
    }

    [[nodiscard]] static bool AreInOneBrick(const SCell& a, const SCell& b)
    {
        return (((a.x ^ b.x) | (a.y ^ b.y) | (a.z ^ b.z)) >> c_brickShift) == 0;
    }

private:
    static constexpr int c_brickShift = 3;
    std::uint32_t m_mask;
};

}  // namespace Application
