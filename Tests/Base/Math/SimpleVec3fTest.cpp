#include "Base/Math/SimpleVec3f.h"

#include <gtest/gtest.h>

namespace
{

using ScanAPI::SimpleVec3f;

TEST(SimpleVec3f, Default_IsTheOrigin)
{
    EXPECT_EQ(SimpleVec3f(), (SimpleVec3f{0, 0, 0}));
}

TEST(SimpleVec3f, Equal_OnlyWhenAllCoordinatesAre)
{
    const SimpleVec3f vector{1, 2, 3};
    EXPECT_TRUE(vector == (SimpleVec3f{1, 2, 3}));
    EXPECT_FALSE(vector == (SimpleVec3f{9, 2, 3}));
    EXPECT_FALSE(vector == (SimpleVec3f{1, 9, 3}));
    EXPECT_FALSE(vector == (SimpleVec3f{1, 2, 9}));
}

}  // namespace
