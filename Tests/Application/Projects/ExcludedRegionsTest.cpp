#include "Application/Projects/ExcludedRegions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace
{

using Application::ExcludeSurfels;
using Application::SWorldBox;
using TestSupport::CMockSurfelCollection;
using Words = std::vector<Base::CSurfelBitMask>;

constexpr SWorldBox c_unitBox{{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}};

TEST(ExcludedRegionsTest, ExcludeSurfels_FacesBelongToTheBox)
{
    const float above = std::nextafter(1.0F, 2.0F);
    const CMockSurfelCollection scan({{0.0F, 0.0F, 0.0F},
                                      {1.0F, 1.0F, 1.0F},
                                      {above, 0.5F, 0.5F},
                                      {0.5F, above, 0.5F},
                                      {0.5F, 0.5F, above},
                                      {-1e-30F, 0.5F, 0.5F}});
    Words words;
    EXPECT_EQ(ExcludeSurfels(scan, c_matIdentityD, {c_unitBox}, words), 2U);
    EXPECT_EQ(words, (Words{{0x10}, {0x10}, {0}, {0}, {0}, {0}}));
}

TEST(ExcludedRegionsTest, ExcludeSurfels_PlacesTheScanFirst)
{
    const CMockSurfelCollection scan({{0.0F, 0.0F, 0.0F}, {9.5F, 0.5F, 0.5F}});
    Words words;
    EXPECT_EQ(ExcludeSurfels(scan, TestSupport::MakeTranslation(-9, 0, 0), {c_unitBox}, words), 1U);
    EXPECT_EQ(words, (Words{{0}, {0x10}}));
}

TEST(ExcludedRegionsTest, ExcludeSurfels_KeepsOtherBitsAndCountsOnlyNewOnes)
{
    const CMockSurfelCollection scan({{0.5F, 0.5F, 0.5F}, {0.5F, 0.5F, 0.5F}});
    Words words{{0x0108}, {0x0012}};
    EXPECT_EQ(ExcludeSurfels(scan, c_matIdentityD, {c_unitBox}, words), 1U);
    EXPECT_EQ(words, (Words{{0x0118}, {0x0012}}));
}

TEST(ExcludedRegionsTest, ExcludeSurfels_NoBoxesLeaveTheWordsAlone)
{
    const CMockSurfelCollection scan({{0.5F, 0.5F, 0.5F}});
    Words words;
    EXPECT_EQ(ExcludeSurfels(scan, c_matIdentityD, {}, words), 0U);
    EXPECT_TRUE(words.empty());
}

TEST(ExcludedRegionsTest, ExcludeSurfels_APositionThatIsNoNumberIsNowhere)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const CMockSurfelCollection scan({{nan, 0.5F, 0.5F}});
    Words words;
    EXPECT_EQ(ExcludeSurfels(scan, c_matIdentityD, {c_unitBox}, words), 0U);
}

}  // namespace
