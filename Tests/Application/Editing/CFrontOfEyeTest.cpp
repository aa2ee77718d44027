#include "Application/Editing/CFrontOfEye.h"

#include <gtest/gtest.h>

#include <limits>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;

/// The words that stay of \p after; the eye is at the origin and looks along -z.
Words TakeBack(const std::vector<LqVector3f>& positions, const Words& before, Words after)
{
    const LqMatrix4Rf projection(TestSupport::MakePerspective(1.0, 1.0, 0.5, 100.0));
    const Application::SCutRegion region{
        Base::MakeRegionSelection(TestSupport::MakeIdentity(), projection,
                                  TestSupport::MakeIdentity(), {1}, 1, 1),
        c_matIdentityD};
    constexpr std::size_t c_stride = 20;
    const auto collection =
        std::make_shared<TestSupport::CMockSurfelCollection>(positions, c_stride, 1);
    Application::CFrontOfEye(region, collection).TakeBackBehind(before, after);
    return after;
}

TEST(CFrontOfEyeTest, MakeStandIn_NeedsNoMoreOfTheRegionThatItWasMadeFrom)
{
    Application::SCutRegion region{TestSupport::MakeDeviceSelection(8, 8, {{2, 2}}),
                                   c_matIdentityD};
    const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
    const Application::CFrontOfEye front(region,
                                         std::make_shared<TestSupport::CMockSurfelCollection>(
                                             std::vector<LqVector3f>{{0.5F, 0.5F, 0.5F}}));
    region = {};
    EXPECT_NE(front.MakeStandIn(cutter), nullptr);
}

TEST(CFrontOfEyeTest, TakeBackBehind_FindsASingleSurfelAmongManyWhereverItIs)
{
    constexpr std::size_t c_count = 2500;
    for (std::size_t behind = 0; behind < c_count; ++behind)
    {
        std::vector<LqVector3f> positions(c_count, {0.0F, 0.0F, -1.0F});
        // A w of 0 is not in front either.
        positions[behind].z = behind % 2 == 0 ? 1.0F : 0.0F;
        Words expected(c_count, {c_cut | 1});
        expected[behind].bits = 1;
        ASSERT_EQ(TakeBack(positions, {}, Words(c_count, {c_cut | 1})), expected) << behind;
    }
}

TEST(CFrontOfEyeTest, TakeBackBehind_StretchesOfAScanMayDiffer)
{
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<LqVector3f> positions;
    Words before;
    Words after;
    Words expected;
    const auto add = [&](const LqVector3f& position, unsigned old, unsigned cut, unsigned kept) {
        positions.push_back(position);
        before.push_back({static_cast<std::uint16_t>(old)});
        after.push_back({static_cast<std::uint16_t>(cut)});
        expected.push_back({static_cast<std::uint16_t>(kept)});
    };
    const auto addStretch = [&](const auto& addSurfels) {
        for (const std::size_t end = positions.size() + 2100; positions.size() < end;)
        {
            addSurfels();
        }
    };
    const LqVector3f front{0.0F, 0.0F, -1.0F};
    const LqVector3f behind{0.0F, 0.0F, 1.0F};
    addStretch([&] { add(behind, 0, 4, 4); });
    addStretch([&] { add(front, 0, c_cut, c_cut); });
    addStretch([&] { add(behind, 2, c_cut | 2, 2); });
    addStretch([&] { add(behind, c_cut, c_cut, c_cut); });
    // What is not finite is never cut, and hides nothing that is.
    addStretch([&] {
        add({c_nan, 0.0F, 1.0F}, 0, 0, 0);
        add({0.0F, c_infinity, -c_infinity}, 0, 0, 0);
        add(front, 0, c_cut, c_cut);
        add(behind, 0, c_cut, 0);
    });
    addStretch([&] { add({c_nan, c_nan, c_nan}, c_cut, c_cut, c_cut); });
    add(behind, 0, c_cut, 0);
    EXPECT_EQ(TakeBack(positions, before, after), expected);
}

}  // namespace
