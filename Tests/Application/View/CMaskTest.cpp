#include "Application/View/CMask.h"

#include <gtest/gtest.h>

#include "Application/Files/CInputError.h"

namespace
{

using Application::CInputError;
using Application::CMask;

TEST(CMask, Construct_NothingIsPainted)
{
    const CMask mask(3, 2);
    EXPECT_EQ(mask.GetBytes(), std::vector<std::uint8_t>(6, 0));
    EXPECT_FALSE(mask.HasPaint());
}

TEST(CMask, Construct_SizeOfZeroOrAboveTheLimitThrows)
{
    EXPECT_THROW(CMask(0, 1), CInputError);
    EXPECT_THROW(CMask(1, 0), CInputError);
    EXPECT_THROW(CMask(16385, 1), CInputError);
    EXPECT_THROW(CMask(1, 16385), CInputError);
    EXPECT_EQ(CMask(16384, 1).GetWidth(), 16384U);
}

TEST(CMask, PaintSpan_EndIsNotPainted)
{
    CMask mask(4, 2);
    mask.PaintSpan(1, 1, 3);
    EXPECT_EQ(mask.GetBytes(), (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 1, 1, 0}));
    EXPECT_TRUE(mask.IsPainted(1, 1));
    EXPECT_FALSE(mask.IsPainted(3, 1));
}

TEST(CMask, PaintSpan_EndBeforeFirstPaintsNothing)
{
    CMask mask(4, 1);
    mask.PaintSpan(0, 3, 1);
    EXPECT_FALSE(mask.HasPaint());
}

}  // namespace
