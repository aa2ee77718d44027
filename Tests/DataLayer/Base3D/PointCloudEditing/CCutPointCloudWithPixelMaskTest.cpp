#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskTestPeer.h"
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
using Peer = CCutPointCloudWithPixelMaskTestPeer;

Geometry::CBox3D MakeBox(const LqVector3f& min, const LqVector3f& max)
{
    Geometry::CBox3D box;
    box.min = min;
    box.max = max;
    return box;
}

Geometry::CBox3D EmptyPixelBounds()
{
    Geometry::CBox3D box;
    box.min.z = 0.0F;
    box.max.z = 1.0F;
    return box;
}

LqMatrix4Rf FloatMatrix(const LqMatrix4Rd& matrix)
{
    return LqMatrix4Rf(matrix);
}

TEST(CCutPointCloudWithPixelMask, Construct_SinglePaintedPixelBoundsItsIntegerCorner)
{
    const Cutter cutter(MakeDeviceSelection(1, 1, {{0, 0}}));
    EXPECT_EQ(Peer::GetPixelBounds(cutter), MakeBox({0, 0, 0}, {0, 0, 1}));
}

TEST(CCutPointCloudWithPixelMask, Construct_BoundsReachFromFirstToLastPaintedPixelOnly)
{
    const Cutter cutter(MakeDeviceSelection(10, 8, {{4, 2}, {7, 3}, {2, 6}}));
    EXPECT_EQ(Peer::GetPixelBounds(cutter), MakeBox({2, 2, 0}, {7, 6, 1}));
}

TEST(CCutPointCloudWithPixelMask, Construct_BoundsIncludeRowAndColumnZero)
{
    const Cutter cutter(MakeDeviceSelection(4, 3, {{0, 2}, {3, 0}}));
    EXPECT_EQ(Peer::GetPixelBounds(cutter), MakeBox({0, 0, 0}, {3, 2, 1}));
}

TEST(CCutPointCloudWithPixelMask, Construct_NothingPaintedLeavesXAndYEmptyAndDepth0To1)
{
    const Cutter cutter(MakeDeviceSelection(6, 5, {}));
    EXPECT_EQ(Peer::GetPixelBounds(cutter), EmptyPixelBounds());
}

TEST(CCutPointCloudWithPixelMask, Construct_OnlyTheValueOneIsPainted)
{
    std::vector<std::uint8_t> mask{0, 2, 255, 3, 1, 128};
    const Cutter cutter(MakeDeviceSelection(mask, 3, 2));
    EXPECT_EQ(Peer::GetPixelBounds(cutter), MakeBox({1, 1, 0}, {1, 1, 1}));
}

TEST(CCutPointCloudWithPixelMask, Construct_MaskOfWidthZeroIsNotScanned)
{
    auto selection = std::make_shared<Base::SRegionSelectionInfo>();
    selection->maskHeight = 5;
    const Cutter cutter(selection);
    EXPECT_EQ(Peer::GetPixelBounds(cutter), EmptyPixelBounds());
}

TEST(CCutPointCloudWithPixelMask, Construct_MaskOfHeightZeroIsNotScanned)
{
    auto selection = std::make_shared<Base::SRegionSelectionInfo>();
    selection->maskWidth = 5;
    const Cutter cutter(selection);
    EXPECT_EQ(Peer::GetPixelBounds(cutter), EmptyPixelBounds());
}

TEST(CCutPointCloudWithPixelMask, Construct_BoundsAreThoseOfAPlainScan)
{
    std::mt19937 random(20240501);
    for (unsigned round = 0; round < 300; ++round)
    {
        const auto width = static_cast<std::uint32_t>(1 + random() % 70);
        const auto height = static_cast<std::uint32_t>(1 + random() % 40);
        const unsigned sparsity = 1U << (random() % 12);
        std::vector<std::uint8_t> mask(std::size_t{width} * height);
        Geometry::CBox3D expected;
        for (std::uint32_t x = 0; x < width; ++x)
        {
            for (std::uint32_t y = 0; y < height; ++y)
            {
                const bool isPainted = random() % sparsity == 0;
                mask[std::size_t{y} * width + x] =
                    static_cast<std::uint8_t>(isPainted ? 1 : 2 * (random() % 2));
                if (isPainted)
                {
                    expected.Extend(static_cast<float>(x), static_cast<float>(y), 1.0F);
                }
            }
        }
        expected.min.z = 0.0F;
        expected.max.z = 1.0F;
        const Cutter cutter(MakeDeviceSelection(mask, width, height));
        EXPECT_EQ(Peer::GetPixelBounds(cutter), expected) << width << " x " << height;
    }
}

TEST(CCutPointCloudWithPixelMask, Construct_ViewProjectionAppliesFirstTransformFirst)
{
    const auto first = FloatMatrix(TestSupport::MakeTranslation(1, 2, 3));
    const auto second = FloatMatrix(TestSupport::MakeRotationY(0, 1));
    const auto third = FloatMatrix(TestSupport::MakeScale(2, 3, 4));
    const Cutter cutter(Base::MakeRegionSelection(first, second, third, {}, 0, 0));
    // The point (0, 0, 0) moves to (1, 2, 3), turns to (3, 2, -1) and grows to (6, 6, -4).
    const LqMatrix4Rf& view = Peer::GetViewProjection(cutter);
    EXPECT_EQ(view(3, 0), 6.0F);
    EXPECT_EQ(view(3, 1), 6.0F);
    EXPECT_EQ(view(3, 2), -4.0F);
    EXPECT_EQ(view(3, 3), 1.0F);
}

TEST(CCutPointCloudWithPixelMask, Construct_ViewProjectionMultipliesFromTheLeft)
{
    // 3 x 2^127 overflows, unless the two last factors are multiplied first.
    const auto first = FloatMatrix(TestSupport::MakeScale(3, 1, 1));
    const auto second = FloatMatrix(TestSupport::MakeScale(0x1p127, 1, 1));
    const auto third = FloatMatrix(TestSupport::MakeScale(0x1p-10, 1, 1));
    const Cutter cutter(Base::MakeRegionSelection(first, second, third, {}, 0, 0));
    EXPECT_EQ(Peer::GetViewProjection(cutter)(0, 0), std::numeric_limits<float>::infinity());
}

TEST(CCutPointCloudWithPixelMask, Construct_SizesAreFloats)
{
    const Cutter cutter(MakeDeviceSelection(640, 480, {}));
    EXPECT_EQ(Peer::GetWidth(cutter), 640.0F);
    EXPECT_EQ(Peer::GetHeight(cutter), 480.0F);
}

TEST(CCutPointCloudWithPixelMask, Construct_KeepsSelectionAlive)
{
    auto selection = MakeDeviceSelection(2, 2, {});
    const std::weak_ptr<const Base::SRegionSelectionInfo> observer = selection;
    {
        const Cutter cutter(std::move(selection));
        EXPECT_FALSE(observer.expired());
    }
    EXPECT_TRUE(observer.expired());
}

/// Whether \p cutter cuts a surfel in the middle of the view.
bool CutsTheMiddle(const Cutter& cutter)
{
    const auto collection =
        std::make_shared<CMockSurfelCollection>(std::vector<LqVector3f>{{0, 0, 0.5F}});
    Cutter::Results results;
    cutter.Compute({{collection, {}, c_matIdentityD}}, results);
    return results.at(0).first;
}

TEST(CCutPointCloudWithPixelMask, Copy_IsUsableAfterItsSourceIsGone)
{
    auto source = std::make_optional<Cutter>(MakeFullyPaintedDeviceSelection(4, 4));
    const Cutter copy(*source);
    source.reset();
    EXPECT_TRUE(CutsTheMiddle(copy));
}

TEST(CCutPointCloudWithPixelMask, Copy_SharesTheSelectionAndCopiesTheRest)
{
    const auto selection = MakeFullyPaintedDeviceSelection(4, 3);
    const Cutter source(selection);
    const auto numReferences = selection.use_count();
    const Cutter copy(source);
    EXPECT_EQ(selection.use_count(), numReferences + 1);
    EXPECT_EQ(Peer::GetPixelBounds(copy), Peer::GetPixelBounds(source));
    EXPECT_EQ(Peer::GetViewProjection(copy), Peer::GetViewProjection(source));
    EXPECT_EQ(Peer::GetWidth(copy), 4.0F);
    EXPECT_EQ(Peer::GetHeight(copy), 3.0F);
}

TEST(CCutPointCloudWithPixelMask, Copy_OfARvalueLeavesTheSourceUsable)
{
    Cutter source(MakeFullyPaintedDeviceSelection(4, 4));
    const Cutter copy(std::move(source));
    EXPECT_TRUE(CutsTheMiddle(copy));
    // NOLINTNEXTLINE(bugprone-use-after-move): that it still works is the promise.
    EXPECT_TRUE(CutsTheMiddle(source));
}

TEST(CCutPointCloudWithPixelMask, Assign_TakesOverEverything)
{
    const Cutter source(MakeFullyPaintedDeviceSelection(4, 3));
    Cutter target(MakeDeviceSelection(7, 7, {}));
    ASSERT_FALSE(CutsTheMiddle(target));
    target = source;
    EXPECT_TRUE(CutsTheMiddle(target));
    EXPECT_EQ(Peer::GetPixelBounds(target), Peer::GetPixelBounds(source));
    EXPECT_EQ(Peer::GetViewProjection(target), Peer::GetViewProjection(source));
    EXPECT_EQ(Peer::GetWidth(target), 4.0F);
    EXPECT_EQ(Peer::GetHeight(target), 3.0F);
}

TEST(CCutPointCloudWithPixelMask, Assign_ReleasesTheOldSelection)
{
    auto oldSelection = MakeDeviceSelection(7, 7, {});
    const std::weak_ptr<const Base::SRegionSelectionInfo> observer = oldSelection;
    Cutter target(std::move(oldSelection));
    target = Cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_TRUE(observer.expired());
}

TEST(CCutPointCloudWithPixelMask, Assign_ToItselfSurvives)
{
    Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const Cutter& alias = cutter;
    cutter = alias;
    EXPECT_TRUE(CutsTheMiddle(cutter));
}

TEST(CCutPointCloudWithPixelMask, ApplyViewport_TopLeftIsPixelZero)
{
    EXPECT_EQ(Peer::ApplyViewport({-1, 1, 0.25F}, 640, 480), (LqVector3f{0, 0, 0.25F}));
    EXPECT_EQ(Peer::ApplyViewport({-1, 1, -7}, 3, 0), (LqVector3f{0, 0, -7}));
}

TEST(CCutPointCloudWithPixelMask, ApplyViewport_BottomRightIsTheSize)
{
    EXPECT_EQ(Peer::ApplyViewport({1, -1, 0.25F}, 640, 480), (LqVector3f{640, 480, 0.25F}));
    EXPECT_EQ(Peer::ApplyViewport({1, -1, 2}, 1, 7), (LqVector3f{1, 7, 2}));
}

TEST(CCutPointCloudWithPixelMask, ApplyViewport_AddsBeforeItMultiplies)
{
    // x + 1 loses the small part; 320 x + 320 would keep it.
    EXPECT_EQ(Peer::ApplyViewport({0x1p-25F, 0x1p-26F, 0}, 640, 480), (LqVector3f{320, 240, 0}));
}

TEST(CCutPointCloudWithPixelMask, ApplyViewport_MultipliesByTheSizeBeforeTheHalf)
{
    // The first product overflows; half the size first would not.
    const LqVector3f pixel = Peer::ApplyViewport({0x1p120F, -0x1p120F, 0}, 0x1p8F, 0x1p8F);
    EXPECT_EQ(pixel.x, std::numeric_limits<float>::infinity());
    EXPECT_EQ(pixel.y, std::numeric_limits<float>::infinity());
}

TEST(CCutPointCloudWithPixelMaskLayout, MembersLieInTheOrderOfTheContract)
{
    const Cutter cutter(MakeDeviceSelection(1, 1, {}));
    const Peer::SOffsets offsets = Peer::GetOffsets(cutter);
    const auto afterTable = static_cast<std::ptrdiff_t>(sizeof(void*));
    EXPECT_EQ(offsets.regionSelection, afterTable);
    EXPECT_EQ(offsets.pixelBounds, afterTable + 16);
    EXPECT_EQ(offsets.viewProjection, 48);
    EXPECT_EQ(offsets.width, 112);
    EXPECT_EQ(offsets.height, 116);
}

TEST(CCutPointCloudWithPixelMaskLayout, SizeAndAlignment)
{
    EXPECT_EQ(sizeof(Cutter), 144U);
    EXPECT_EQ(alignof(Cutter), 16U);
    EXPECT_TRUE(std::has_virtual_destructor_v<Cutter>);
}

TEST(CCutPointCloudWithPixelMaskLayout, InputDataMembersLieInTheOrderOfTheContract)
{
    const Cutter::SInputData input{};
    const auto offset = [&](const auto& member) {
        return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&input);
    };
    EXPECT_EQ(offset(input.collection), 0);
    EXPECT_EQ(offset(input.bitMasks), 16);
    EXPECT_EQ(offset(input.trafo), 48);
    EXPECT_EQ(sizeof(Cutter::SInputData), 176U);
    EXPECT_EQ(alignof(Cutter::SInputData), 16U);
}

TEST(CCutPointCloudWithPixelMaskLayout, ResultsAreThePairsOfTheContract)
{
    EXPECT_TRUE((std::is_same_v<Cutter::Results,
                                std::vector<std::pair<bool, std::vector<Base::CSurfelBitMask>>>>));
}

TEST(CCutPointCloudWithPixelMaskInputData, Copy_SharesTheCollectionAndCopiesTheRest)
{
    const auto collection = std::make_shared<const CMockSurfelCollection>();
    const Cutter::SInputData input{collection, {{1}, {2}}, TestSupport::MakeScale(1, 2, 3)};
    const auto numReferences = collection.use_count();
    Cutter::SInputData copy = input;
    EXPECT_EQ(collection.use_count(), numReferences + 1);
    copy.bitMasks[0].bits = 9;
    copy.trafo(0, 0) = 5.0;
    EXPECT_EQ(input.bitMasks[0].bits, 1);
    EXPECT_EQ(input.trafo(0, 0), 1.0);
}

}  // namespace

}  // namespace DataLayer
