#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <random>

#include "DataLayer/PointCloud/CSurfelCollectionPositionNormal.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CSurfelPositionNormal;
using TestSupport::MakeScale;
using TestSupport::MakeTranslation;

CSurfelPositionNormal Move(const CSurfelPositionNormal& surfel, const LqMatrix4Rd& trafo)
{
    DataLayer::CSurfelCollectionPositionNormal collection;
    collection.AddSurfelNoReset(CSurfelPositionNormal(surfel));
    const auto clone = collection.Clone(trafo);
    return {clone->GetPositions().At(0), clone->GetNormals().At(0)};
}

void ExpectNear(const LqVector3f& actual, const LqVector3f& expected)
{
    EXPECT_NEAR(actual.x, expected.x, 1e-6F);
    EXPECT_NEAR(actual.y, expected.y, 1e-6F);
    EXPECT_NEAR(actual.z, expected.z, 1e-6F);
}

TEST(CSurfelTransform, Position_IsRoundedOnceFromDouble)
{
    // In float, 16777216 + 1 is lost before 16777216 is taken away again.
    const auto moved =
        Move({{16777216.0F, 0.0F, 0.0F}, {}}, MakeTranslation(1.0 - 16777216.0, 0.0, 0.0));
    EXPECT_EQ(moved.position.x, 1.0F);
    // The double 0.1 and the float 0.1 differ; the sum is rounded from the double.
    EXPECT_EQ(Move({{0.1F, 0.0F, 0.0F}, {}}, MakeScale(0.1, 1.0, 1.0)).position.x,
              static_cast<float>(static_cast<double>(0.1F) * 0.1));
}

TEST(CSurfelTransform, Position_IsDividedByW)
{
    LqMatrix4Rd trafo = c_matIdentityD;
    trafo(2, 3) = 1.0;
    trafo(3, 3) = 0.0;
    EXPECT_EQ(Move({{2.0F, 6.0F, 4.0F}, {}}, trafo).position, (LqVector3f{0.5F, 1.5F, 1.0F}));
}

TEST(CSurfelTransform, Position_OfZeroWIsNotFinite)
{
    LqMatrix4Rd trafo = c_matIdentityD;
    trafo(2, 3) = 1.0;
    trafo(3, 3) = 0.0;
    const auto moved = Move({{2.0F, 6.0F, 0.0F}, {0.0F, 0.0F, 1.0F}}, trafo);
    EXPECT_FALSE(std::isfinite(moved.position.x));
    EXPECT_EQ(moved.normal, LqVector3f());
}

TEST(CSurfelTransform, Normal_TranslationKeepsItAsItIs)
{
    const LqVector3f normal{0.1F, 3.0F, -0.25F};
    EXPECT_EQ(Move({{}, normal}, MakeTranslation(5.0, 1e9, -3.0)).normal, normal);
}

TEST(CSurfelTransform, Normal_TranslationThatIsNotFiniteMakesItAUnitVector)
{
    for (const double distance : {HUGE_VAL, -HUGE_VAL, std::nan("")})
    {
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            LqMatrix4Rd trafo = c_matIdentityD;
            trafo(3, axis) = distance;
            EXPECT_EQ(Move({{}, {0.0F, 4.0F, 0.0F}}, trafo).normal, (LqVector3f{0.0F, 1.0F, 0.0F}))
                << axis << ' ' << distance;
        }
    }
}

TEST(CSurfelTransform, Normal_UniformScaleKeepsItsDirectionAndUnitLength)
{
    ExpectNear(Move({{}, {0.6F, 0.0F, 0.8F}}, MakeScale(7.0, 7.0, 7.0)).normal, {0.6F, 0.0F, 0.8F});
    ExpectNear(Move({{}, {0.0F, 0.0F, 50.0F}}, MakeScale(1e-9, 1e-9, 1e-9)).normal,
               {0.0F, 0.0F, 1.0F});
}

TEST(CSurfelTransform, Normal_UnevenScaleUsesTheInverse)
{
    // Stretching x by 2 makes the slope flatter: (1, 0, 1) becomes (1/2, 0, 1).
    const float length = std::sqrt(1.25F);
    ExpectNear(Move({{}, {1.0F, 0.0F, 1.0F}}, MakeScale(2.0, 1.0, 1.0)).normal,
               {0.5F / length, 0.0F, 1.0F / length});
}

TEST(CSurfelTransform, Normal_MirrorTurnsItWithItsSurface)
{
    ExpectNear(Move({{}, {1.0F, 0.0F, 0.0F}}, MakeScale(-1.0, 1.0, 1.0)).normal,
               {-1.0F, 0.0F, 0.0F});
    ExpectNear(Move({{}, {0.0F, 0.0F, 1.0F}}, MakeScale(-1.0, 1.0, 1.0)).normal,
               {0.0F, 0.0F, 1.0F});
}

TEST(CSurfelTransform, Normal_NegativeWIsAMirrorOfAllAxes)
{
    LqMatrix4Rd trafo = c_matIdentityD;
    trafo(3, 3) = -1.0;
    const auto moved = Move({{1.0F, 2.0F, 3.0F}, {0.0F, 0.0F, 1.0F}}, trafo);
    EXPECT_EQ(moved.position, (LqVector3f{-1.0F, -2.0F, -3.0F}));
    ExpectNear(moved.normal, {0.0F, 0.0F, -1.0F});
}

TEST(CSurfelTransform, Normal_PositiveWIsNoMirrorHoweverSmall)
{
    LqMatrix4Rd trafo = c_matIdentityD;
    trafo(3, 3) = 0.5;
    const auto moved = Move({{1.0F, 2.0F, 3.0F}, {0.0F, 0.0F, 1.0F}}, trafo);
    EXPECT_EQ(moved.position, (LqVector3f{2.0F, 4.0F, 6.0F}));
    ExpectNear(moved.normal, {0.0F, 0.0F, 1.0F});
}

TEST(CSurfelTransform, Normal_WThatGrowsAlongOneAxisTurnsItThere)
{
    // The planes through a position are moved by the inverse, which adds to that component of the
    // normal what grows times the product of position and normal.
    const LqVector3f position{1.0F, 2.0F, 3.0F};
    const std::array<float, 3> normal{0.48F, 0.64F, 0.6F};
    const float along = 0.48F + 2.0F * 0.64F + 3.0F * 0.6F;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        LqMatrix4Rd trafo = c_matIdentityD;
        trafo(axis, 3) = 0.5;
        std::array<float, 3> turned = normal;
        turned[axis] += 0.5F * along;
        const float length = std::hypot(turned[0], turned[1], turned[2]);
        SCOPED_TRACE(axis);
        ExpectNear(Move({position, {normal[0], normal[1], normal[2]}}, trafo).normal,
                   {turned[0] / length, turned[1] / length, turned[2] / length});
    }
}

TEST(CSurfelTransform, Normal_StaysPerpendicularUnderAnyTransform)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> element(-1.0, 1.0);
    for (int repetition = 0; repetition < 200; ++repetition)
    {
        LqMatrix4Rd trafo;
        for (std::size_t index = 0; index < 16; ++index)
        {
            trafo.data()[index] = element(random);
        }
        // Every other one affine, the others projective with w far from 0.
        const double w = repetition % 2 == 0 ? 0.0 : 0.2;
        for (std::size_t row = 0; row < 3; ++row)
        {
            trafo(row, 3) *= w;
        }
        trafo(3, 3) = 2.0;
        const LqVector3f position{0.25F, -0.5F, 0.125F};
        const LqVector3f normal{0.6F, 0.0F, 0.8F};
        const double step = 1.0 / 1024.0;
        const auto along = [&](double u, double v) {
            const LqVector3f point{static_cast<float>(position.x + step * u * 0.8),
                                   static_cast<float>(position.y + step * v),
                                   static_cast<float>(position.z - step * u * 0.6)};
            return Move({point, normal}, trafo);
        };
        const auto moved = Move({position, normal}, trafo);
        EXPECT_NEAR(std::hypot(moved.normal.x, moved.normal.y, moved.normal.z), 1.0F, 1e-6F);
        for (const auto& neighbour : {along(1.0, 0.0), along(0.0, 1.0)})
        {
            const float dx = neighbour.position.x - moved.position.x;
            const float dy = neighbour.position.y - moved.position.y;
            const float dz = neighbour.position.z - moved.position.z;
            const float length = std::hypot(dx, dy, dz);
            EXPECT_NEAR((dx * moved.normal.x + dy * moved.normal.y + dz * moved.normal.z) / length,
                        0.0F, 2e-3F);
        }
    }
}

TEST(CSurfelTransform, Normal_PointsToTheSameSideUnderAPerspective)
{
    // A point in front of the surface stays in front of it.
    const LqMatrix4Rd trafo = TestSupport::MakePerspective(1.0, 1.0, 1.0, 10.0);
    const LqVector3f position{0.5F, 0.25F, -4.0F};
    const LqVector3f normal{0.6F, 0.0F, 0.8F};
    const auto moved = Move({position, normal}, trafo);
    const auto front =
        Move({{position.x + 0.06F, position.y, position.z + 0.08F}, normal}, trafo).position;
    EXPECT_GT((front.x - moved.position.x) * moved.normal.x +
                  (front.y - moved.position.y) * moved.normal.y +
                  (front.z - moved.position.z) * moved.normal.z,
              0.0F);
}

TEST(CSurfelTransform, Normal_SingularTransformLeavesNone)
{
    EXPECT_EQ(Move({{}, {0.6F, 0.0F, 0.8F}}, MakeScale(1.0, 1.0, 0.0)).normal, LqVector3f());
    EXPECT_EQ(Move({{}, {0.6F, 0.0F, 0.8F}}, LqMatrix4Rd()).normal, LqVector3f());
    EXPECT_EQ(Move({{}, {0.6F, 0.0F, 0.8F}}, c_matInvalidD).normal, LqVector3f());
    // Evenly spaced rows depend on each other, but rounding leaves a tiny determinant.
    LqMatrix4Rd trafo = c_matIdentityD;
    for (std::size_t row = 0; row < 3; ++row)
    {
        for (std::size_t column = 0; column < 3; ++column)
        {
            trafo(row, column) = 0.1 * static_cast<double>(3 * row + column + 1);
        }
    }
    EXPECT_EQ(Move({{}, {0.6F, 0.0F, 0.8F}}, trafo).normal, LqVector3f());
    // And so it does where one column is much longer than the others.
    for (std::size_t column = 0; column < 3; ++column)
    {
        LqMatrix4Rd uneven = trafo;
        for (std::size_t row = 0; row < 3; ++row)
        {
            uneven(row, column) *= 0x1p20;
        }
        EXPECT_EQ(Move({{}, {0.6F, 0.0F, 0.8F}}, uneven).normal, LqVector3f()) << column;
    }
}

TEST(CSurfelTransform, Normal_WhereWIsZeroOrNotFiniteThereIsNone)
{
    for (const double w : {0.0, -0.0, HUGE_VAL, -HUGE_VAL, std::nan("")})
    {
        LqMatrix4Rd trafo = c_matIdentityD;
        trafo(3, 3) = w;
        EXPECT_EQ(Move({{}, {0.6F, 0.0F, 0.8F}}, trafo).normal, LqVector3f()) << w;
    }
}

TEST(CSurfelTransform, Normal_ThatIsInfiniteIsLost)
{
    // No coefficient is 0, so that no product is anything but infinite.
    LqMatrix4Rd trafo = c_matIdentityD;
    for (std::size_t index = 0; index < 9; ++index)
    {
        trafo(index / 3, index % 3) = index % 4 == 0 ? 2.0 : 1.0;
    }
    EXPECT_EQ(Move({{}, {c_infinity, 0.0F, 0.0F}}, trafo).normal, LqVector3f());
}

TEST(CSurfelTransform, Normal_OfTinyAndHugeScalesIsKept)
{
    for (const double scale : {1e-150, 1e-30, 1e30, 1e150})
    {
        ExpectNear(Move({{}, {0.6F, 0.0F, 0.8F}}, MakeScale(scale, scale, scale)).normal,
                   {0.6F, 0.0F, 0.8F});
    }
}

TEST(CSurfelTransform, Normal_SurfelWithoutOneStaysWithout)
{
    EXPECT_EQ(Move({{}, {}}, TestSupport::MakeRotationY(0.6, 0.8)).normal, LqVector3f());
    EXPECT_EQ(Move({{}, {c_nan, 0.0F, 0.0F}}, TestSupport::MakeRotationY(0.6, 0.8)).normal,
              LqVector3f());
}

TEST(CSurfelTransform, Normal_OfAPositionThatIsNotFiniteIsStillTurned)
{
    const auto moved =
        Move({{c_nan, 0.0F, 0.0F}, {0.0F, 0.0F, 1.0F}}, TestSupport::MakeRotationY(0.0, 1.0));
    EXPECT_EQ(moved.normal, (LqVector3f{1.0F, 0.0F, 0.0F}));
    // Whichever elements of an affine transform are not 0.
    for (std::size_t row = 0; row < 3; ++row)
    {
        LqMatrix4Rd shear = c_matIdentityD;
        shear(row, (row + 1) % 3) = 0.5;
        shear(row, (row + 2) % 3) = 0.25;
        const LqVector3f normal{0.6F, 0.0F, 0.8F};
        EXPECT_EQ(Move({{c_nan, c_nan, c_nan}, normal}, shear).normal,
                  Move({{}, normal}, shear).normal)
            << row;
    }
}

}  // namespace

}  // namespace DataLayerTest
