#include <gtest/gtest.h>

#include <cstddef>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/CCompactSurfelPositionNormal.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "Tests/Support/Allocations.h"

namespace DataLayer
{

namespace
{

void AddLine(std::size_t numSurfels, CSurfelCollectionMinimal& cloud)
{
    for (std::size_t index = 0; index < numSurfels; ++index)
    {
        cloud.AddSurfelNoReset({{static_cast<float>(index), 0.0F, 0.0F}, 0});
    }
}

/// How many allocations the first query causes.
std::size_t CountAllocationsOfAQuery(const CSurfelCollectionMinimal& cloud)
{
    const INearestNeighborSearch& search =
        *cloud.GetPointCloudSupport()->GetNearestNeighborSearch();
    const std::size_t before = TestSupport::GetAllocationCount();
    EXPECT_EQ(search.FindNearestNeighbor({7.25F, 0.0F, 0.0F}, 1.0F, nullptr), 7);
    return TestSupport::GetAllocationCount() - before;
}

TEST(ForceUpdate, FirstQueryAllocatesNothing)
{
    CSurfelCollectionMinimal cloud;
    AddLine(1000, cloud);
    cloud.ForceUpdate();
    EXPECT_EQ(CountAllocationsOfAQuery(cloud), 0U);
}

TEST(ForceUpdateButIndex, FirstQueryBuildsTheIndex)
{
    CSurfelCollectionMinimal cloud;
    AddLine(1000, cloud);
    cloud.ForceUpdateButIndex();
    EXPECT_GT(CountAllocationsOfAQuery(cloud), 0U);
    EXPECT_EQ(CountAllocationsOfAQuery(cloud), 0U);
}

}  // namespace

}  // namespace DataLayer
