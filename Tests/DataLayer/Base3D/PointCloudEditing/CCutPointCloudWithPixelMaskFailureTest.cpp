// What a cut throws, and what it leaves behind.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskComputeTest.h"
#include "Tests/Support/ExpectMissingAccessor.h"

namespace DataLayer
{

namespace
{

using TestSupport::ExpectMissingAccessor;
using Cutter = CCutPointCloudWithPixelMask;

TEST(CCutPointCloudWithPixelMaskFailure, MissingPositionsThrowAndChangeNoFlag)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    Cutter::Results results(3, {true, {}});
    ExpectMissingAccessor([&] {
        cutter.Compute({{collection, {{1}, {2}}, c_matIdentityD}}, results);
    });
    EXPECT_EQ(results, (Cutter::Results{{false, {{1}, {2}}}}));
}

TEST(CCutPointCloudWithPixelMaskFailure, MissingPositionsWithoutFlagsLeaveWordsOfZero)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    Cutter::Results results;
    ExpectMissingAccessor([&] { cutter.Compute({{collection, {}, c_matIdentityD}}, results); });
    EXPECT_EQ(results, (Cutter::Results{{false, Words(2)}}));
}

TEST(CCutPointCloudWithPixelMaskFailure, MissingPositionsOverwriteOldResultsOfTheSameSize)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    Cutter::Results results{{true, Words(2, {0xFFFF})}};
    ExpectMissingAccessor([&] {
        cutter.Compute({{collection, {{1}, {2}}, c_matIdentityD}}, results);
    });
    EXPECT_EQ(results, (Cutter::Results{{false, {{1}, {2}}}}));
}

TEST(CCutPointCloudWithPixelMaskFailure, AccessorOfAnotherKindIsNoAccessor)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->SetPositionAccess(
        std::make_unique<Base::TElementAccessRead<Base::CSCElementDefinitionNormal>>());
    ExpectMissingAccessor([&] { ComputeOne(cutter, collection); });
}

TEST(CCutPointCloudWithPixelMaskFailure, MissingPositionsOutsideTheRegionAreNotNoticed)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{-3, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    EXPECT_EQ(ComputeOne(cutter, collection), (std::pair<bool, Words>{false, Words(1)}));
    EXPECT_EQ(collection->numGetElementAccessCalls, 0U);
}

TEST(CCutPointCloudWithPixelMaskFailure, ExceptionOfOneItemArrivesAndResultsHaveTheirSize)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto good = MakeCollection({{0, 0, 0.5F}});
    const auto bad = MakeCollection({{0, 0, 0.5F}});
    bad->onGetPointCloudSupport = [] { throw std::out_of_range("from the collection"); };
    std::vector<Cutter::SInputData> inputs(50, {good, {}, c_matIdentityD});
    inputs[17].collection = bad;
    Cutter::Results results(200);
    try
    {
        cutter.Compute(inputs, results);
        FAIL() << "nothing was thrown";
    }
    catch (const std::out_of_range& exception)
    {
        EXPECT_STREQ(exception.what(), "from the collection");
    }
    EXPECT_EQ(results.size(), 50U);
}

TEST(CCutPointCloudWithPixelMaskFailure, CutterIsUsableAfterAnException)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->onGetElementAccess = [] { throw std::bad_alloc(); };
    Cutter::Results results;
    EXPECT_THROW(cutter.Compute({{collection, {}, c_matIdentityD}}, results), std::bad_alloc);
    collection->onGetElementAccess = nullptr;
    cutter.Compute({{collection, {}, c_matIdentityD}}, results);
    EXPECT_EQ(results, (Cutter::Results{{true, {{8}}}}));
}

/// Expects a std::length_error that names \p count from \p body.
template <typename Body>
void ExpectTooMany(const Body& body, const std::string& count)
{
    try
    {
        body();
        FAIL() << "nothing was thrown";
    }
    catch (const std::length_error& error)
    {
        EXPECT_NE(std::string(error.what()).find(count), std::string::npos) << error.what();
    }
}

TEST(CCutPointCloudWithPixelMaskFailure, TooManySurfelsThrowBeforeWordsAreAllocated)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    for (const std::uint64_t count : {0x100000000ULL, 0xFFFFFFFFFFFFFFFFULL})
    {
        collection->SetCount(count);
        ExpectTooMany([&] { ComputeOne(cutter, collection); }, std::to_string(count));
    }
}

TEST(CCutPointCloudWithPixelMaskFailure, TooManySurfelsWithFlagsThrowBeforeAnyIsChanged)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->SetCount(0x100000000ULL);
    Cutter::Results results;
    ExpectTooMany(
        [&] {
            cutter.Compute({{collection, {{1}}, c_matIdentityD}}, results);
        },
        "4294967296");
    EXPECT_EQ(results, (Cutter::Results{{false, {{1}}}}));
}

TEST(CCutPointCloudWithPixelMaskFailure, LargestCountIsNotTooMany)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->SetCount(0xFFFFFFFFULL);
    EXPECT_EQ(ComputeOne(cutter, collection, {{1}}), (std::pair<bool, Words>{true, {{9}}}));
}

}  // namespace

}  // namespace DataLayer
