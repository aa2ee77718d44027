#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelBounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>

#include "Base/Math/PointTransform.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

constexpr float c_largest = std::numeric_limits<float>::max();

Geometry::CBox3D MakeBox(const LqVector3f& min, const LqVector3f& max)
{
    Geometry::CBox3D box;
    box.min = min;
    box.max = max;
    return box;
}

/// A task with a mask of its own.
struct SProjection
{
    SProjection(const LqMatrix4Rf& matrix, float width, float height)
    {
        for (std::size_t row = 0; row < 4; ++row)
        {
            task.clipX[row] = matrix(row, 0);
            task.clipY[row] = matrix(row, 1);
            task.clipW[row] = matrix(row, 3);
        }
        mask.width = width;
        mask.height = height;
        task.mask = &mask;
    }
    SProjection(const SProjection&) = delete;
    SProjection& operator=(const SProjection&) = delete;

    SCutMask mask;
    SCutSurfelsTask task;
};

std::optional<SPixelBounds> Bound(const LqMatrix4Rf& matrix, float width, float height,
                                  const Geometry::CBox3D& box)
{
    return BoundPixels(SProjection(matrix, width, height).task, box);
}

struct SPixelPoint
{
    float column;
    float row;
};

SPixelPoint Project(const LqMatrix4Rf& matrix, float width, float height,
                    const LqVector3f& position)
{
    const LqVector3f device = TransformPoint(matrix, position);
    return {DeviceToPixelX(device.x, width), DeviceToPixelY(device.y, height)};
}

bool IsWithin(const SPixelBounds& bounds, const SPixelPoint& point)
{
    return bounds.minColumn <= point.column && point.column <= bounds.maxColumn &&
           bounds.minRow <= point.row && point.row <= bounds.maxRow;
}

class CRandom
{
public:
    explicit CRandom(std::uint32_t seed) : m_random(seed) {}

    std::uint32_t Below(std::uint32_t bound)
    {
        return static_cast<std::uint32_t>(m_random()) % bound;
    }

    float Between(float min, float max)
    {
        const double part = static_cast<double>(m_random()) / 4294967295.0;
        return static_cast<float>(min + part * (static_cast<double>(max) - min));
    }

    /// Any float, of any magnitude; rarely not finite.
    float Any() { return std::bit_cast<float>(static_cast<std::uint32_t>(m_random())); }

    /// An ordinary number, a round one, or a wild one.
    float Coordinate()
    {
        switch (Below(8))
        {
            case 0:
                return std::isfinite(m_wild = Any()) ? m_wild : 0.0F;
            case 1:
                return static_cast<float>(Below(5)) - 2.0F;
            default:
                return Between(-2.0F, 2.0F);
        }
    }

    /// A float of [min, max], often one of the ends or beside one.
    float Inside(float min, float max)
    {
        switch (Below(6))
        {
            case 0:
                return min;
            case 1:
                return max;
            case 2:
                return std::min(std::nextafter(min, c_largest), max);
            case 3:
                return std::max(std::nextafter(max, -c_largest), min);
            default:
                return std::min(std::max(Between(min, max), min), max);
        }
    }

private:
    std::mt19937 m_random;
    float m_wild = 0.0F;
};

LqMatrix4Rf MakeRandomMatrix(CRandom& random)
{
    LqMatrix4Rd matrix = TestSupport::MakeRotationY(0.6, 0.8) *
                         TestSupport::MakeTranslation(random.Between(-1, 1), random.Between(-1, 1),
                                                      random.Between(-6, 2)) *
                         TestSupport::MakePerspective(1.5, 1.3, 0.1, 10.0);
    if (random.Below(3) == 0)
    {
        matrix = TestSupport::MakeScale(0.5, 0.25, 0.1);
    }
    LqMatrix4Rf result(matrix);
    if (random.Below(3) == 0)
    {
        result.data()[random.Below(16)] = random.Any();
    }
    return result;
}

Geometry::CBox3D MakeRandomBox(CRandom& random)
{
    const float size = random.Below(2) == 0 ? 0.01F : 1.0F;
    Geometry::CBox3D box;
    for (unsigned corner = 0; corner < 2; ++corner)
    {
        if (corner == 0 || random.Below(3) == 0)
        {
            const float x = random.Coordinate();
            const float y = random.Coordinate();
            box.Extend(x, y, random.Coordinate());
        }
        else
        {
            const float x = box.min.x + random.Between(0, size);
            const float y = box.min.y + random.Between(0, size);
            box.Extend(x, y, box.min.z + random.Between(0, size));
        }
    }
    return box;
}

TEST(PixelBounds, BoundPixels_HoldEveryPositionInTheBoxToTheBit)
{
    CRandom random(1);
    unsigned numBounded = 0;
    constexpr unsigned c_numBoxes = 60000;
    for (unsigned round = 0; round < c_numBoxes; ++round)
    {
        const LqMatrix4Rf matrix = MakeRandomMatrix(random);
        const Geometry::CBox3D box = MakeRandomBox(random);
        const float width = static_cast<float>(1 + random.Below(3000));
        const float height = static_cast<float>(1 + random.Below(3000));
        const auto bounds = Bound(matrix, width, height, box);
        if (!bounds)
        {
            continue;
        }
        ++numBounded;
        for (unsigned sample = 0; sample < 20; ++sample)
        {
            const float x = random.Inside(box.min.x, box.max.x);
            const float y = random.Inside(box.min.y, box.max.y);
            const float z = random.Inside(box.min.z, box.max.z);
            ASSERT_TRUE(IsWithin(*bounds, Project(matrix, width, height, {x, y, z}))) << round;
        }
    }
    EXPECT_GT(numBounded, c_numBoxes / 3);
}

TEST(PixelBounds, BoundPixels_OfASinglePositionAreItsPixelCoordinates)
{
    CRandom random(2);
    for (unsigned round = 0; round < 2000; ++round)
    {
        const LqMatrix4Rf matrix = MakeRandomMatrix(random);
        const float x = random.Coordinate();
        const float y = random.Coordinate();
        const LqVector3f position{x, y, random.Coordinate()};
        const auto bounds = Bound(matrix, 640, 480, MakeBox(position, position));
        if (bounds)
        {
            const SPixelPoint point = Project(matrix, 640, 480, position);
            EXPECT_EQ(bounds->minColumn, point.column);
            EXPECT_EQ(bounds->maxColumn, point.column);
            EXPECT_EQ(bounds->minRow, point.row);
            EXPECT_EQ(bounds->maxRow, point.row);
        }
    }
}

TEST(PixelBounds, BoundPixels_OfABoxThatFacesTheViewAreTight)
{
    const auto bounds = Bound(TestSupport::MakeIdentity(), 100, 50,
                              MakeBox({-0.5F, 0.0F, 0.0F}, {0.5F, 1.0F, 1.0F}));
    ASSERT_TRUE(bounds);
    EXPECT_EQ(bounds->minColumn, 25.0F);
    EXPECT_EQ(bounds->maxColumn, 75.0F);
    EXPECT_EQ(bounds->minRow, 0.0F);
    EXPECT_EQ(bounds->maxRow, 25.0F);
}

TEST(PixelBounds, BoundPixels_OfABoxBehindTheEyeAreThoseOfItsDividedCoordinates)
{
    LqMatrix4Rf matrix = TestSupport::MakeIdentity();
    matrix(3, 3) = -1.0F;
    const auto bounds = Bound(matrix, 100, 50, MakeBox({-0.5F, 0.0F, 0.0F}, {0.25F, 1.0F, 1.0F}));
    ASSERT_TRUE(bounds);
    EXPECT_EQ(bounds->minColumn, 37.5F);
    EXPECT_EQ(bounds->maxColumn, 75.0F);
    EXPECT_EQ(bounds->minRow, 25.0F);
    EXPECT_EQ(bounds->maxRow, 50.0F);
}

TEST(PixelBounds, BoundPixels_BoxThatReachesToWhereWIsZeroHasNone)
{
    // w is z.
    LqMatrix4Rf matrix = TestSupport::MakeIdentity();
    matrix(2, 3) = 1.0F;
    matrix(3, 3) = 0.0F;
    const float least = std::numeric_limits<float>::denorm_min();
    EXPECT_FALSE(Bound(matrix, 100, 50, MakeBox({0, 0, -1}, {0, 0, 1})));
    EXPECT_FALSE(Bound(matrix, 100, 50, MakeBox({0, 0, 0}, {0, 0, 1})));
    EXPECT_FALSE(Bound(matrix, 100, 50, MakeBox({0, 0, -0.0F}, {0, 0, 1})));
    EXPECT_FALSE(Bound(matrix, 100, 50, MakeBox({0, 0, -1}, {0, 0, 0})));
    EXPECT_TRUE(Bound(matrix, 100, 50, MakeBox({0, 0, least}, {0, 0, 1})));
    EXPECT_TRUE(Bound(matrix, 100, 50, MakeBox({0, 0, -1}, {0, 0, -least})));
}

TEST(PixelBounds, BoundPixels_WhatIsNotFiniteHasNone)
{
    const float values[] = {std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()};
    const Geometry::CBox3D box = MakeBox({-0.5F, 0.0F, -1.0F}, {0.5F, 1.0F, 1.0F});
    for (const float value : values)
    {
        for (const std::size_t index : {0U, 1U, 3U, 4U, 5U, 7U, 8U, 9U, 11U, 12U, 13U, 15U})
        {
            LqMatrix4Rf matrix = TestSupport::MakeIdentity();
            matrix.data()[index] = value;
            EXPECT_FALSE(Bound(matrix, 100, 50, box)) << index << ", " << value;
            EXPECT_FALSE(Bound(matrix, 100, 50, MakeBox({}, {}))) << index << ", " << value;
        }
    }
    // z's own column takes no part.
    LqMatrix4Rf matrix = TestSupport::MakeIdentity();
    matrix(2, 2) = values[0];
    EXPECT_TRUE(Bound(matrix, 100, 50, box));
    // Sums that overflow on the way, at one end only.
    matrix = TestSupport::MakeIdentity();
    matrix(0, 0) = matrix(1, 0) = c_largest;
    EXPECT_FALSE(Bound(matrix, 100, 50, MakeBox({0, 0, 0}, {1, 1, 0})));
    EXPECT_TRUE(Bound(matrix, 100, 50, MakeBox({0, 0, 0}, {1, 0, 0})));
}

TEST(PixelBounds, BoundPixels_EmptyBoxHasNone)
{
    EXPECT_FALSE(Bound(TestSupport::MakeIdentity(), 100, 50, Geometry::CBox3D()));
}

}  // namespace

}  // namespace DataLayer
