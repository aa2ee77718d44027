#include "Application/Pictures/CPlaneFit.h"

#include <gtest/gtest.h>

namespace
{

using Application::CPlaneFit;

TEST(CPlaneFit, Solve_FindsTheGradientOfAPlane)
{
    CPlaneFit fit;
    for (int y = -2; y <= 3; ++y)
    {
        for (int x = -1; x <= 4; ++x)
        {
            const auto column = static_cast<float>(x);
            const auto row = static_cast<float>(y);
            fit.Add(column, row, 5.0F + 0.5F * column - 0.25F * row);
        }
    }
    EXPECT_NEAR(fit.Solve().x, 0.5F, 1e-5F);
    EXPECT_NEAR(fit.Solve().y, -0.25F, 1e-5F);
}

TEST(CPlaneFit, Solve_PlacesOnOneLineGiveNoGradient)
{
    CPlaneFit fit;
    for (int step = 0; step < 10; ++step)
    {
        const auto place = static_cast<float>(step);
        fit.Add(place, 2.0F * place, 7.0F * place);
    }
    EXPECT_EQ(fit.Solve().x, 0.0F);
    EXPECT_EQ(fit.Solve().y, 0.0F);
}

TEST(CPlaneFit, Solve_SinglePlaceGivesNoGradient)
{
    CPlaneFit fit;
    fit.Add(0.0F, 0.0F, 0.0F);
    EXPECT_EQ(fit.Solve().x, 0.0F);
    EXPECT_EQ(fit.Solve().y, 0.0F);
}

}  // namespace
