#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using Cutter = CCutPointCloudWithPixelMask;

constexpr std::uint64_t c_count = (std::uint64_t{1} << 32) + 3;

/// Expects that no cut of \p collection works, with flags and without.
void ExpectTooMany(const std::shared_ptr<const Base::ISurfelCollection>& collection)
{
    const auto selection = TestSupport::MakeFullyPaintedDeviceSelection(4, 4);
    const Cutter cutter(selection);
    Cutter::Results results;
    EXPECT_THROW(cutter.Compute({{collection, {}, c_matIdentityD}}, results), std::length_error);
    EXPECT_THROW(cutter.Compute({{collection, {{1}}, c_matIdentityD}}, results), std::length_error);
    EXPECT_EQ(results.at(0).second, std::vector<Base::CSurfelBitMask>{{1}});

    const auto model =
        std::make_shared<CCachedModel>(c_matIdentityD, collection, CCachedModel::UniqueId(L"big"));
    const CCachedModelsCutter modelCutter(model);
    EXPECT_THROW(static_cast<void>(modelCutter.Apply(selection)), std::length_error);
    std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>> selections{selection};
    EXPECT_THROW(static_cast<void>(modelCutter.Apply(selections)), std::length_error);
}

TEST(BigCountTest, MoreSurfelsThan32BitsInOnePlace_AreALengthError)
{
    const auto collection = std::make_shared<TestSupport::CMockSurfelCollection>(
        std::vector<LqVector3f>{{0, 0, 0.5F}}, 0);
    collection->SetCount(c_count);
    ExpectTooMany(collection);
}

TEST(BigCountTest, MoreSurfelsThan32BitsInAView_AreALengthError)
{
    const auto position = std::make_shared<const LqVector3f>(LqVector3f{0, 0, 0.5F});
    ExpectTooMany(std::make_shared<CSurfelCollectionView>(position, c_count, position.get(), 0));
}

}  // namespace

}  // namespace DataLayer
