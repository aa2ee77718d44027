#include "Application/Fusion/CScanFuser.h"

#include <gtest/gtest.h>

#include "Tests/Application/Fusion/FusionScenes.h"

namespace
{

using namespace TestSupport;
using Application::CScanFuser;

TEST(CScanFuserTest, TwoSpheres_AreTwoComponentsWithTheirPoints)
{
    CScanFuser::SParameters parameters;
    parameters.minimumFraction = 0.5;
    const auto fusion = CScanFuser(parameters)
                            .Fuse({MakeScan(Join({MakeSphere({}, 1.0F, 10000),
                                                  MakeSphere({3.0F, 0.0F, 0.0F}, 0.5F, 2500)}))});
    EXPECT_EQ(fusion.report.numPoints, 12500U);
    EXPECT_EQ(fusion.report.numComponents, 2U);
    EXPECT_EQ(fusion.report.numSmallComponents, 1U);
    EXPECT_EQ(fusion.report.numSmallComponentPoints, 2500U);
    EXPECT_EQ(fusion.report.numLargestComponentPoints, 10000U);
}

}  // namespace
