#include "Application/Pictures/Kernels/TPlaneFits.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace
{

struct SFourLanes
{
    using Floats = float __attribute__((vector_size(16)));
    using Integers = std::int32_t __attribute__((vector_size(16)));
};

using PlaneFits = Application::TPlaneFits<SFourLanes>;
using Lanes = SFourLanes::Floats;
using LaneMask = SFourLanes::Integers;

constexpr LaneMask c_all = {-1, -1, -1, -1};

TEST(TPlaneFits, Solve_FindsTheGradientOfEachPlane)
{
    PlaneFits fits;
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
    const PlaneFits::SGradients gradients = fits.Solve();
    const Lanes expectedX = {0.5F, 1.0F, 1.0F, 0.0F};
    const Lanes expectedY = {-0.25F, -0.5F, 0.0F, 1.0F};
    for (int lane = 0; lane < 4; ++lane)
    {
        EXPECT_NEAR(gradients.x[lane], expectedX[lane], 1e-5F) << lane;
        EXPECT_NEAR(gradients.y[lane], expectedY[lane], 1e-5F) << lane;
    }
}

TEST(TPlaneFits, Add_LeavesPlanesThatAreNotTakenAsTheyAre)
{
    constexpr float c_noNumber = std::numeric_limits<float>::quiet_NaN();
    PlaneFits expected;
    PlaneFits fits;
    for (int step = 0; step < 9; ++step)
    {
        const auto x = static_cast<float>(step % 3);
        const auto y = static_cast<float>(step / 3);
        const Lanes values = Lanes() + (0.3F * x - 0.7F * y);
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

TEST(TPlaneFits, Solve_PlacesOnOneLineGiveNoGradient)
{
    PlaneFits fits;
    for (int step = 0; step < 10; ++step)
    {
        const auto place = static_cast<float>(step);
        fits.Add(c_all, place, 2.0F * place, Lanes() + 7.0F * place);
    }
    for (int lane = 0; lane < 4; ++lane)
    {
        EXPECT_EQ(fits.Solve().x[lane], 0.0F);
        EXPECT_EQ(fits.Solve().y[lane], 0.0F);
    }
}

TEST(TPlaneFits, Solve_SinglePlaceGivesNoGradient)
{
    PlaneFits fits;
    fits.Add(c_all, 0.0F, 0.0F, Lanes());
    for (int lane = 0; lane < 4; ++lane)
    {
        EXPECT_EQ(fits.Solve().x[lane], 0.0F);
        EXPECT_EQ(fits.Solve().y[lane], 0.0F);
    }
}

}  // namespace
