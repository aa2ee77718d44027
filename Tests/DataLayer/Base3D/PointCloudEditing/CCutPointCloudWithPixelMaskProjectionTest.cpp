// Where a surfel lands in the mask, seen through what is cut.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskComputeTest.h"

namespace DataLayer
{

namespace
{

using Cutter = CCutPointCloudWithPixelMask;

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// Whether a fully painted view with these transforms, of which only the first is not the identity,
/// cuts a surfel at \p position.
bool IsCut(const LqMatrix4Rf& view, std::uint32_t width, std::uint32_t height,
           const std::vector<std::uint8_t>& mask, const LqVector3f& position)
{
    const Cutter cutter(Base::MakeRegionSelection(
        view, TestSupport::MakeIdentity(), TestSupport::MakeIdentity(), mask, width, height));
    const auto collection = MakeCollection({position});
    return ComputeOne(cutter, collection).first;
}

TEST(CCutPointCloudWithPixelMaskProjection, MiddleOfTheViewIsPixel320Times240)
{
    const auto cutsMiddle = [](TestSupport::SPixel pixel) {
        const Cutter cutter(MakeDeviceSelection(640, 480, {pixel}));
        return ComputeOne(cutter, MakeCollectionInView({{0, 0, 0.5F}})).first;
    };
    EXPECT_TRUE(cutsMiddle({320, 240}));
    EXPECT_FALSE(cutsMiddle({319, 240}));
    EXPECT_FALSE(cutsMiddle({320, 239}));
}

TEST(CCutPointCloudWithPixelMaskProjection, FirstRowAndColumnNeverCut)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 3));
    const auto words =
        ComputeOne(cutter, MakeCollection({PixelCenter(0, 1, 4, 3), PixelCenter(1, 0, 4, 3),
                                           PixelCenter(0, 0, 4, 3), PixelCenter(1, 1, 4, 3)}))
            .second;
    EXPECT_EQ(words, (Words{{0}, {0}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, LastRowAndColumnCut)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 3));
    const auto words =
        ComputeOne(cutter, MakeCollection({PixelCenter(3, 1, 4, 3), PixelCenter(1, 2, 4, 3),
                                           PixelCenter(3, 2, 4, 3)}))
            .second;
    EXPECT_EQ(words, (Words{{8}, {8}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, RowAndColumnAtTheSizeAreOutside)
{
    // Both are painted where their index would wrap into the next row.
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto words =
        ComputeOne(cutter, MakeCollectionInView(
                               {{1, 0, 0.5F}, {0, -1, 0.5F}, {0.99F, 0, 0.5F}, {0, -0.99F, 0.5F}}))
            .second;
    EXPECT_EQ(words, (Words{{0}, {0}, {8}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, JustBelowTheTopIsRowZeroAndOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(640, 480));
    const auto isCutAt = [&](float y) {
        return ComputeOne(cutter, MakeCollectionInView({{0, y, 0.5F}})).first;
    };
    EXPECT_FALSE(isCutAt(std::nextafter(1.0F, 0.0F)));
    // A row is 2 / 480 high: to the end of row 0, and from where row 1 begins.
    EXPECT_FALSE(isCutAt(1.0F - 1.999F / 480.0F));
    EXPECT_TRUE(isCutAt(1.0F - 2.001F / 480.0F));
}

TEST(CCutPointCloudWithPixelMaskProjection, BottomIsRowHeightAndOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(640, 480));
    EXPECT_FALSE(ComputeOne(cutter, MakeCollectionInView({{0, -1, 0.5F}})).first);
    EXPECT_TRUE(ComputeOne(cutter, MakeCollectionInView({{0, -0.9999F, 0.5F}})).first);
}

TEST(CCutPointCloudWithPixelMaskProjection, UpToOnePixelOutsideTruncatesToZeroAndIsOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto words =
        ComputeOne(cutter, MakeCollectionInView({{-1.25F, 0, 0.5F}, {0, 1.25F, 0.5F}})).second;
    EXPECT_EQ(words, Words(2));
}

TEST(CCutPointCloudWithPixelMaskProjection, SinglePixelMaskCutsNothing)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(1, 1));
    const auto words =
        ComputeOne(cutter, MakeCollectionInView({{0, 0, 0.5F}, {-1, 1, 0.5F}, {1, -1, 0.5F}}))
            .second;
    EXPECT_EQ(words, Words(3));
}

TEST(CCutPointCloudWithPixelMaskProjection, OnlyTheMaskValueOneCuts)
{
    std::vector<std::uint8_t> mask{1, 1, 1, 1, 1, 1,  //
                                   1, 1, 0, 2, 3, 255};
    const Cutter cutter(MakeDeviceSelection(mask, 6, 2));
    std::vector<LqVector3f> positions;
    for (std::uint32_t column = 1; column < 6; ++column)
    {
        positions.push_back(PixelCenter(column, 1, 6, 2));
    }
    EXPECT_EQ(ComputeOne(cutter, MakeCollectionInView(positions)).second,
              (Words{{8}, {0}, {0}, {0}, {0}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, PointBehindTheEyeIsDividedLikeAnyOther)
{
    LqMatrix4Rd behind = TestSupport::MakeScale(-1, -1, -1);
    behind(3, 3) = -1.0;
    const Cutter cutter(MakeDeviceSelection(4, 4, {{2, 1}, {3, 3}}));
    const auto collection = MakeCollection({PixelCenter(2, 1, 4, 4), PixelCenter(3, 2, 4, 4)});
    EXPECT_EQ(ComputeOne(cutter, collection, {}, behind).second, (Words{{8}, {0}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, DivisionByZeroIsOutside)
{
    LqMatrix4Rd flat = c_matIdentityD;
    flat(2, 3) = 1.0;
    flat(3, 3) = -0.5;
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    // w is z - 0.5: 0 over 0, and a number over 0.
    const auto collection =
        MakeCollectionInView({{0, 0, 0.5F}, {0.25F, -0.25F, 0.5F}, {0.25F, -0.25F, 1.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection, {}, flat).second, (Words{{0}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, PositionsThatAreNotFiniteAreOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollectionInView({{c_nan, 0, 0.5F},
                                                  {0, c_nan, 0.5F},
                                                  {0, 0, c_nan},
                                                  {c_infinity, 0, 0.5F},
                                                  {-c_infinity, 0, 0.5F},
                                                  {0, c_infinity, 0.5F},
                                                  {0, -c_infinity, 0.5F},
                                                  {0, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection).second,
              (Words{{0}, {0}, {0}, {0}, {0}, {0}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskProjection, PixelsBeyond32BitsAreOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const float max = std::numeric_limits<float>::max();
    const auto collection = MakeCollectionInView({{0x1p31F, 0, 0.5F},
                                                  {-0x1p31F, 0, 0.5F},
                                                  {0x1p32F, 0x1p32F, 0.5F},
                                                  {0, -0x1p33F, 0.5F},
                                                  {max, -max, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection).second, Words(5));
}

TEST(CCutPointCloudWithPixelMaskProjection, ViewThatIsNotFiniteCutsNothing)
{
    for (const double value : {static_cast<double>(c_nan), static_cast<double>(c_infinity)})
    {
        LqMatrix4Rd view = c_matIdentityD;
        view(0, 0) = value;
        EXPECT_FALSE(
            IsCut(LqMatrix4Rf(view), 4, 4, std::vector<std::uint8_t>(16, 1), {0, 0, 0.5F}));
    }
}

TEST(CCutPointCloudWithPixelMaskProjection, SingularViewCutsNothing)
{
    EXPECT_FALSE(IsCut(LqMatrix4Rf(), 4, 4, std::vector<std::uint8_t>(16, 1), {0, 0, 0.5F}));
}

TEST(CCutPointCloudWithPixelMaskProjection, TrafoThatIsNotValidCutsNothing)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_EQ(ComputeOne(cutter, MakeCollection({{0, 0, 0.5F}}), {}, c_matInvalidD),
              (std::pair<bool, Words>{false, Words(1)}));
}

TEST(CCutPointCloudWithPixelMaskProjection, EntityTransformActsBeforeTheView)
{
    // Moved by 1 and then halved: 0.5, column 3. The other way round it would leave the view.
    const Cutter cutter(Base::MakeRegionSelection(
        LqMatrix4Rf(TestSupport::MakeScale(0.5, 1, 1)), TestSupport::MakeIdentity(),
        TestSupport::MakeIdentity(), TestSupport::MakeMask(4, 4, {{3, 2}}), 4, 4));
    EXPECT_TRUE(ComputeOne(cutter, MakeCollection({{0, 0, 0.5F}}), {},
                           TestSupport::MakeTranslation(1, 0, 0))
                    .first);
}

TEST(CCutPointCloudWithPixelMaskProjection, SameCollectionWithTwoTrafosIsClassifiedTwice)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0.5F, 0, 0.5F}});
    const auto results =
        Compute(cutter, {{collection, {}, c_matIdentityD},
                         {collection, {}, TestSupport::MakeTranslation(0.5, 0, 0)}});
    EXPECT_EQ(results, (Cutter::Results{{true, {{8}, {8}}}, {true, {{8}, {0}}}}));
}

// Arithmetic, to the bit. Each of these points lies on another pixel when it is computed otherwise.

TEST(CCutPointCloudWithPixelMaskProjection, PointTransformAddsTheTranslationLast)
{
    // (1e8 - 1e8) + 0.25; starting with the translation loses it.
    LqMatrix4Rd view = c_matIdentityD;
    view(0, 0) = 1e8;
    view(1, 0) = -1e8;
    view(1, 1) = 0.0;
    view(3, 0) = 0.25;
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 4, {{400, 2}});
    EXPECT_TRUE(IsCut(LqMatrix4Rf(view), 640, 4, mask, {1, 1, 0.5F}));
}

TEST(CCutPointCloudWithPixelMaskProjection, PointTransformAddsXAndYBeforeZ)
{
    // (1e8 - 1e8) + 0.25 z; adding y and z first loses z.
    LqMatrix4Rd view = c_matIdentityD;
    view(0, 0) = 1e8;
    view(1, 0) = -1e8;
    view(1, 1) = 0.0;
    view(2, 0) = 0.25;
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 4, {{400, 2}});
    EXPECT_TRUE(IsCut(LqMatrix4Rf(view), 640, 4, mask, {1, 1, 1}));
}

TEST(CCutPointCloudWithPixelMaskProjection, PointTransformRoundsEveryProduct)
{
    // a x a rounds to 1 + 2^-11 and cancels; kept exactly, 2^-24 would remain and, divided by the
    // same, give device 1.
    const float a = 1.0F + 0x1p-12F;
    LqMatrix4Rd view = c_matIdentityD;
    view(0, 0) = static_cast<double>(a);
    view(1, 0) = 1.0;
    view(1, 1) = 0.0;
    view(2, 2) = 0.0;
    view(3, 3) = 0x1p-24;
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 4, {{320, 2}});
    EXPECT_TRUE(IsCut(LqMatrix4Rf(view), 640, 4, mask, {a, -(1.0F + 0x1p-11F), 0}));
}

/// A view whose w is z, so that device x is x / z.
LqMatrix4Rf MakeDividingView()
{
    LqMatrix4Rd view = c_matIdentityD;
    view(2, 2) = 0.0;
    view(2, 3) = 1.0;
    view(3, 2) = 0.5;
    view(3, 3) = 0.0;
    return LqMatrix4Rf(view);
}

TEST(CCutPointCloudWithPixelMaskProjection, DivisionIsNoMultiplicationByTheReciprocal)
{
    // Column 553 exactly; by the reciprocal 552.99994.
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 480, {{553, 240}});
    EXPECT_TRUE(IsCut(MakeDividingView(), 640, 480, mask, {0x1.5e54fp+2F, 0, 0x1.e12474p+2F}));
}

TEST(CCutPointCloudWithPixelMaskProjection, ProjectionIsRoundedToFloatAtEveryStep)
{
    // Column 448 exactly; in double precision 447.999992.
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 480, {{448, 240}});
    EXPECT_TRUE(IsCut(MakeDividingView(), 640, 480, mask, {0x1.23e74ap+1F, 0, 0x1.6ce11ep+2F}));
}

}  // namespace

}  // namespace DataLayer
