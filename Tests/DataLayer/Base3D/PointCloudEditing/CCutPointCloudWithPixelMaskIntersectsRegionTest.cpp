#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/RandomCuts.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using TestSupport::CMockSurfelCollection;
using TestSupport::MakeDeviceSelection;
using TestSupport::MakeFullyPaintedDeviceSelection;
using Cutter = CCutPointCloudWithPixelMask;

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// The answer for a collection with the given box, after checking that Compute() goes on to its
/// surfels exactly when the answer is true.
bool Intersects(const Cutter& cutter, const LqVector3f& min, const LqVector3f& max,
                const LqMatrix4Rd& trafo = c_matIdentityD)
{
    const auto collection =
        std::make_shared<CMockSurfelCollection>(std::vector<LqVector3f>{{0, 0, 0.5F}});
    collection->SetBoundingBox(min, max);
    const bool intersects = cutter.IntersectsRegion(trafo, *collection);
    EXPECT_EQ(collection->numGetElementAccessCalls, 0U);
    Cutter::Results results;
    cutter.Compute({{collection, {}, trafo}}, results);
    EXPECT_EQ(collection->numGetElementAccessCalls, intersects ? 1U : 0U);
    return intersects;
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, NothingPaintedRejectsEveryCollection)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {}));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {-c_infinity, -c_infinity, -c_infinity},
                            {c_infinity, c_infinity, c_infinity}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, MaskWithoutPixelsRejectsEveryCollection)
{
    const Cutter cutter(std::make_shared<Base::SRegionSelectionInfo>());
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, 1, 1}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, BesideTheViewIsRejected)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_FALSE(Intersects(cutter, {-5, -1, 0}, {-1.5F, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {1.5F, -1, 0}, {5, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {-1, 1.5F, 0}, {1, 5, 1}));
    EXPECT_FALSE(Intersects(cutter, {-1, -5, 0}, {1, -1.5F, 1}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, InsideTheRegionIsAccepted)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_TRUE(Intersects(cutter, {-0.1F, -0.1F, 0.4F}, {0.1F, 0.1F, 0.6F}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, AroundTheRegionIsAccepted)
{
    const Cutter cutter(MakeDeviceSelection(8, 8, {{4, 4}}));
    EXPECT_TRUE(Intersects(cutter, {-2, -2, -1}, {2, 2, 2}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, BetweenPaintedPixelsIsAccepted)
{
    // Only the bounds count, not the pixels in them.
    const Cutter cutter(MakeDeviceSelection(8, 8, {{1, 1}, {7, 7}}));
    EXPECT_TRUE(Intersects(cutter, {0, -0.1F, 0.5F}, {0.1F, 0, 0.5F}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, TouchingInXIsAccepted)
{
    // Column 3 of 8 is device -0.25, column 5 is 0.25.
    const Cutter cutter(MakeDeviceSelection(8, 8, {{3, 3}, {5, 5}}));
    EXPECT_TRUE(Intersects(cutter, {0.25F, -1, 0}, {1, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {0.2500001F, -1, 0}, {1, 1, 1}));
    EXPECT_TRUE(Intersects(cutter, {-1, -1, 0}, {-0.25F, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {-0.2500001F, 1, 1}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, TouchingInYIsAccepted)
{
    // Row 3 of 8 is device 0.25, row 5 is -0.25.
    const Cutter cutter(MakeDeviceSelection(8, 8, {{3, 3}, {5, 5}}));
    EXPECT_TRUE(Intersects(cutter, {-1, 0.25F, 0}, {1, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {-1, 0.2500001F, 0}, {1, 1, 1}));
    EXPECT_TRUE(Intersects(cutter, {-1, -1, 0}, {1, -0.25F, 1}));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, -0.2500001F, 1}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, DepthMustOverlapZeroToOne)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_TRUE(Intersects(cutter, {-1, -1, 1}, {1, 1, 2}));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 1.0000001F}, {1, 1, 2}));
    EXPECT_TRUE(Intersects(cutter, {-1, -1, -1}, {1, 1, 0}));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, -1}, {1, 1, -1e-30F}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, BeyondTheLastIntegerCornerIsRejected)
{
    // Wholly inside the area of the only painted pixel, columns 5 to 6 and rows 5 to 6 of 8.
    const Cutter cutter(MakeDeviceSelection(8, 8, {{5, 5}}));
    EXPECT_FALSE(Intersects(cutter, {0.3F, -0.4F, 0.5F}, {0.4F, -0.3F, 0.5F}));
    EXPECT_TRUE(Intersects(cutter, {0.25F, -0.4F, 0.5F}, {0.4F, -0.25F, 0.5F}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, TransformPlacesTheBox)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const LqMatrix4Rd moved = TestSupport::MakeTranslation(-3, 0, 0);
    EXPECT_TRUE(Intersects(cutter, {2.5F, 0, 0.5F}, {3, 0.5F, 0.5F}, moved));
    EXPECT_FALSE(Intersects(cutter, {-0.5F, 0, 0.5F}, {0.5F, 0.5F, 0.5F}, moved));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, AllEightCornersCount)
{
    // Turned by 45 degrees the diagonal becomes one side: only the other two corners of the face
    // reach into the painted column.
    LqMatrix4Rd turned = c_matIdentityD;
    turned(0, 0) = 1.0;
    turned(1, 0) = -1.0;
    turned(0, 1) = 1.0;
    turned(1, 1) = 1.0;
    const Cutter cutter(MakeDeviceSelection(8, 8, {{7, 1}, {7, 7}}));
    EXPECT_TRUE(Intersects(cutter, {-0.4F, -0.4F, 0.5F}, {0.4F, 0.4F, 0.5F}, turned));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, BoxThroughTheEyePlaneUsesItsDividedCorners)
{
    // w = z: the corners at z = -1 and z = 1 divide to x of -3 to -2 and 2 to 3, whose box covers
    // the view, although nothing between them is in it.
    LqMatrix4Rd view = c_matIdentityD;
    view(2, 2) = 0.0;
    view(2, 3) = 1.0;
    view(3, 3) = 0.0;
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_TRUE(Intersects(cutter, {2, -0.5F, -1}, {3, 0.5F, 1}, view));
    EXPECT_FALSE(Intersects(cutter, {2, -0.5F, 0.5F}, {3, 0.5F, 1}, view));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, EmptyBoxIsRejected)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const CMockSurfelCollection empty;
    EXPECT_FALSE(cutter.IntersectsRegion(c_matIdentityD, empty));
    EXPECT_FALSE(Intersects(cutter, {1, 1, 1}, {-1, -1, 0}));
    EXPECT_FALSE(Intersects(cutter, {0.5F, -1, 0}, {-0.5F, 1, 1}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, BoxWithoutANumberIsRejected)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_FALSE(Intersects(cutter, {c_nan, -1, 0}, {1, 1, 1}));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, c_nan, 1}));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, ProjectedAxisWithoutANumberIsRejected)
{
    // Depth is 0 over 0 at every corner.
    LqMatrix4Rd view;
    view(0, 0) = 1.0;
    view(1, 1) = 1.0;
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, 1, 1}, view));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, 1, 1}, c_matInvalidD));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, CornersAtInfinityCoverTheView)
{
    // w = z is 0 at four corners, where x, y and the depth become infinite.
    LqMatrix4Rd view = c_matIdentityD;
    view(2, 2) = 0.0;
    view(2, 3) = 1.0;
    view(3, 2) = 0.25;
    view(3, 3) = 0.0;
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_TRUE(Intersects(cutter, {-1, -1, 0}, {1, 1, 1}, view));
    EXPECT_FALSE(Intersects(cutter, {-1, -1, 0}, {1, 1, 0.125F}, view));
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, PositionsAreNeverAskedFor)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    CMockSurfelCollection collection({{0, 0, 0.5F}});
    collection.SetPositionAccess(nullptr);
    EXPECT_TRUE(cutter.IntersectsRegion(c_matIdentityD, collection));
    EXPECT_EQ(collection.numGetElementAccessCalls, 0U);
    EXPECT_EQ(collection.numGetCountCalls, 0U);
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, SupportIsReleased)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    CMockSurfelCollection collection({{0, 0, 0.5F}});
    EXPECT_TRUE(cutter.IntersectsRegion(c_matIdentityD, collection));
    EXPECT_EQ(collection.GetSupport().use_count(), 1);
}

TEST(CCutPointCloudWithPixelMaskIntersectsRegion, AcceptsExactlyWhatComputeGoesOnToRead)
{
    unsigned numAccepted = 0;
    constexpr unsigned c_numCollections = 600;
    for (unsigned seed = 0; seed < c_numCollections; ++seed)
    {
        CRandomCuts random(seed);
        const auto selection = random.MakeSelection();
        const SRandomInput input = random.MakeInput(*selection);
        const Cutter cutter(selection);
        const bool isAccepted = cutter.IntersectsRegion(input.trafo, *input.collection);
        Cutter::Results results;
        cutter.Compute({{input.collection, input.bitMasks, input.trafo}}, results);
        ASSERT_EQ(input.collection->numGetElementAccessCalls, isAccepted ? 1U : 0U) << seed;
        numAccepted += isAccepted ? 1 : 0;
    }
    EXPECT_GT(numAccepted, c_numCollections / 10);
    EXPECT_LT(numAccepted, c_numCollections * 9 / 10);
}

}  // namespace

}  // namespace DataLayer
