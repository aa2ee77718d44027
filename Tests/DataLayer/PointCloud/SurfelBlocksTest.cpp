#include "DataLayer/PointCloud/SurfelBlocks.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace DataLayer
{
namespace
{

TEST(SurfelBlocks, Count_TheLastBlockMayBeInPart)
{
    EXPECT_EQ(CountSurfelBlocks(0), 0U);
    EXPECT_EQ(CountSurfelBlocks(1), 1U);
    EXPECT_EQ(CountSurfelBlocks(c_surfelBlockSize), 1U);
    EXPECT_EQ(CountSurfelBlocks(c_surfelBlockSize + 1), 2U);
}

TEST(SurfelBlocks, Count_MoreBlocksThanALoopCountsAreALengthError)
{
    constexpr std::uint64_t c_most = 0xFFFFFFFF * c_surfelBlockSize;
    EXPECT_EQ(CountSurfelBlocks(c_most), 0xFFFFFFFF);
    EXPECT_THROW(static_cast<void>(CountSurfelBlocks(c_most + 1)), std::length_error);
    EXPECT_THROW(static_cast<void>(CountSurfelBlocks(0xFFFFFFFFFFFFFFFF)), std::length_error);
}

}  // namespace
}  // namespace DataLayer
