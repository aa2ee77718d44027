#include "Base/Math/LqVector3f.h"

#include <gtest/gtest.h>

namespace
{

TEST(LqVector3f, Equal_OnlyWhenAllCoordinatesAre)
{
    const LqVector3f vector{1, 2, 3};
    EXPECT_TRUE(vector == (LqVector3f{1, 2, 3}));
    EXPECT_FALSE(vector == (LqVector3f{9, 2, 3}));
    EXPECT_FALSE(vector == (LqVector3f{1, 9, 3}));
    EXPECT_FALSE(vector == (LqVector3f{1, 2, 9}));
}

}  // namespace
