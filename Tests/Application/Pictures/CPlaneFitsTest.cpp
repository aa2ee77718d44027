#include "Application/Pictures/CPlaneFits.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{

using Application::CPlaneFits;
using Application::FillLanes;
using Application::LaneMask;
using Application::Lanes;

constexpr LaneMask c_all = {-1, -1, -1, -1};

TEST(CPlaneFits, Solve_FindsTheGradientOfEachPlane)
{
    CPlaneFits fits;
    for (int y = -2; y <= 3; ++y)
    {
        for (int x = -1; x <= 4; ++x)
        {
            const auto column = static_cast<float>(x);
            const auto row = static_cast<float>(y);
            const float value = 5.0F + 0.5F * column - 0.25F * row;
            fits.Add(c_all, column, row, Lanes{value, 2.0F * value, column, row});
        }
    }
    const CPlaneFits::SGradients gradients = fits.Solve();
    const Lanes expectedX = {0.5F, 1.0F, 1.0F, 0.0F};
    const Lanes expectedY = {-0.25F, -0.5F, 0.0F, 1.0F};
    for (int lane = 0; lane < 4; ++lane)
    {
        EXPECT_NEAR(gradients.x[lane], expectedX[lane], 1e-5F) << lane;
        EXPECT_NEAR(gradients.y[lane], expectedY[lane], 1e-5F) << lane;
    }
}

TEST(CPlaneFits, Add_LeavesPlanesThatAreNotTakenAsTheyAre)
{
    constexpr float c_noNumber = std::numeric_limits<float>::quiet_NaN();
    CPlaneFits expected;
    CPlaneFits fits;
    for (int step = 0; step < 9; ++step)
    {
        const auto x = static_cast<float>(step % 3);
        const auto y = static_cast<float>(step / 3);
        const Lanes values = FillLanes(0.3F * x - 0.7F * y);
        expected.Add(c_all, x, y, values);
        fits.Add(c_all, x, y, values);
        fits.Add(LaneMask{0, 0, -1, 0}, -7.0F, x, Lanes{c_noNumber, 8.0F, 9.0F, c_noNumber});
    }
    for (const int lane : {0, 1, 3})
    {
        EXPECT_EQ(fits.Solve().x[lane], expected.Solve().x[lane]) << lane;
        EXPECT_EQ(fits.Solve().y[lane], expected.Solve().y[lane]) << lane;
    }
    EXPECT_NE(fits.Solve().x[2], expected.Solve().x[2]);
}

TEST(CPlaneFits, Solve_PlacesOnOneLineGiveNoGradient)
{
    CPlaneFits fits;
    for (int step = 0; step < 10; ++step)
    {
        const auto place = static_cast<float>(step);
        fits.Add(c_all, place, 2.0F * place, FillLanes(7.0F * place));
    }
    for (int lane = 0; lane < 4; ++lane)
    {
        EXPECT_EQ(fits.Solve().x[lane], 0.0F);
        EXPECT_EQ(fits.Solve().y[lane], 0.0F);
    }
}

TEST(CPlaneFits, Solve_SinglePlaceGivesNoGradient)
{
    CPlaneFits fits;
    fits.Add(c_all, 0.0F, 0.0F, Lanes());
    for (int lane = 0; lane < 4; ++lane)
    {
        EXPECT_EQ(fits.Solve().x[lane], 0.0F);
        EXPECT_EQ(fits.Solve().y[lane], 0.0F);
    }
}

}  // namespace
