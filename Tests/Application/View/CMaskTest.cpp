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
    EXPECT_FALSE(mask.CanCut());
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
    EXPECT_EQ(mask, CMask(4, 1));
}

TEST(CMask, CanCut_NotByTheFirstRowAndColumn)
{
    CMask mask(4, 3);
    mask.PaintSpan(0, 0, 4);
    mask.PaintSpan(1, 0, 1);
    mask.PaintSpan(2, 0, 1);
    EXPECT_FALSE(mask.CanCut());
    for (const std::uint32_t row : {1U, 2U})
    {
        for (const std::uint32_t column : {1U, 3U})
        {
            CMask painted = mask;
            painted.PaintSpan(row, column, column + 1);
            EXPECT_TRUE(painted.CanCut()) << column << ", " << row;
        }
    }
}

}  // namespace
