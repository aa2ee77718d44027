#include <gtest/gtest.h>

#include <limits>

#include "Tests/Application/Fusion/FusionScenes.h"

namespace
{

using namespace TestSupport;
using Application::CScanFuser;
using Flags = std::vector<std::vector<bool>>;

constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// A sphere of 20000 points about 0.025 apart, with bits of 15 and 7 points beside it.
constexpr std::uint32_t c_numMain = 20000;
constexpr std::uint32_t c_numSmall = 22;

Positions MakeSphereWithBits(const LqVector3f& center = {})
{
    return Join({MakeSphere(center, 1.0F, c_numMain),
                 MakeSphere({center.x + 1.5F, center.y, center.z}, 0.02F, 15),
                 MakeSphere({center.x, center.y - 0.5F, center.z}, 0.02F, 7)});
}

std::vector<bool> ExpectedFlags()
{
    std::vector<bool> flags(c_numMain, false);
    flags.resize(c_numMain + c_numSmall, true);
    return flags;
}

CScanFuser::SParameters SmallBelow(std::uint64_t numPoints)
{
    CScanFuser::SParameters parameters;
    parameters.minimumPoints = numPoints;
    parameters.minimumFraction = 0.0;
    return parameters;
}

Flags FuseAndFlag(const std::vector<CScanFuser::SScan>& scans,
                  const CScanFuser::SParameters& parameters)
{
    return FlagSmallComponents(scans, CScanFuser(parameters).Fuse(scans));
}

TEST(CScanFuserEndToEndTest, FloatingBits_AreFlaggedAndNothingElse)
{
    const std::vector scans{MakeScan(MakeSphereWithBits())};
    EXPECT_EQ(FuseAndFlag(scans, SmallBelow(16)), Flags{ExpectedFlags()});
}

TEST(CScanFuserEndToEndTest, FirstSmallPoint_IsNotTakenForMain)
{
    // A single bit that is a single fused point: the operation takes index == count for main.
    const std::vector scans{
        MakeScan(Join({MakeSphere({}, 1.0F, c_numMain), {{1.5F, 0.0F, 0.0F}}}))};
    const Flags flags = FuseAndFlag(scans, SmallBelow(2));
    EXPECT_TRUE(flags[0].back());
}

}  // namespace
