#include "Application/Editing/CFrontOfEye.h"

#include <gtest/gtest.h>

#include "Base/Interfaces/ISurfelCollection.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace
{

TEST(CFrontOfEyeTest, MakeStandIn_NeedsNoMoreOfTheRegionThatItWasMadeFrom)
{
    Application::SCutRegion region{TestSupport::MakeDeviceSelection(8, 8, {{2, 2}}),
                                   c_matIdentityD};
    const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
    const Application::CFrontOfEye front(region,
                                         std::make_shared<TestSupport::CMockSurfelCollection>(
                                             std::vector<LqVector3f>{{0.5F, 0.5F, 0.5F}}));
    region = {};
    EXPECT_NE(front.MakeStandIn(cutter), nullptr);
}

}  // namespace
