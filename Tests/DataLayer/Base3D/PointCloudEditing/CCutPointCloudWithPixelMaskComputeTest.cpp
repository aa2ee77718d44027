#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskComputeTest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Support/CLogger.h"
#include "Base/Support/ParallelFor.h"
#include "Tests/Support/CLogCapture.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayer
{

namespace
{

using Cutter = CCutPointCloudWithPixelMask;

constexpr float c_infinity = std::numeric_limits<float>::infinity();

// Shape of the results

TEST(CCutPointCloudWithPixelMaskCompute, NoInputsClearOldResults)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    Cutter::Results results{{true, {{1}}}, {false, {}}};
    cutter.Compute({}, results);
    EXPECT_TRUE(results.empty());
}

TEST(CCutPointCloudWithPixelMaskCompute, SurplusResultsAreRemovedAndOldOnesOverwritten)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {}));
    Cutter::Results results(3, {true, Words(17, {0xFFFF})});
    cutter.Compute({{MakeCollection({{0, 0, 0.5F}}), {{2}}, c_matIdentityD}}, results);
    EXPECT_EQ(results, (Cutter::Results{{false, {{2}}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, OldResultsOfTheSameSizeAreOverwritten)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {{2, 2}}));
    std::vector<LqVector3f> positions(40, PixelCenter(1, 1, 4, 4));
    positions[20] = PixelCenter(2, 2, 4, 4);
    const auto collection = MakeCollectionInView(positions);
    const Words flags(40, {0x0040});
    Words expectedOfNone(40);
    expectedOfNone[20].bits = 8;
    Words expectedOfFlags = flags;
    expectedOfFlags[20].bits |= 8;
    Cutter::Results results(2, {true, Words(40, {0xFFFF})});
    cutter.Compute({{collection, {}, c_matIdentityD}, {collection, flags, c_matIdentityD}},
                   results);
    EXPECT_EQ(results, (Cutter::Results{{true, expectedOfNone}, {true, expectedOfFlags}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, OldResultsOfARejectedCollectionAreOverwritten)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{-3, 0, 0.5F}, {-2, 0, 0.5F}});
    Cutter::Results results(2, {true, Words(2, {0xFFFF})});
    cutter.Compute({{collection, {}, c_matIdentityD}, {collection, {{1}, {2}}, c_matIdentityD}},
                   results);
    EXPECT_EQ(results, (Cutter::Results{{false, Words(2)}, {false, {{1}, {2}}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, MissingResultsAreAdded)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const Cutter::SInputData input{MakeCollection({{0, 0, 0.5F}}), {}, c_matIdentityD};
    Cutter::Results results{{false, Words(5)}};
    cutter.Compute({input, input, input}, results);
    EXPECT_EQ(results, (Cutter::Results(3, {true, {{8}}})));
}

TEST(CCutPointCloudWithPixelMaskCompute, NoFlagsBecomeOneWordPerSurfel)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {{1, 1}, {2, 2}}));
    const auto collection =
        MakeCollection({PixelCenter(1, 1, 4, 4), PixelCenter(2, 1, 4, 4), PixelCenter(2, 2, 4, 4)});
    const auto [hasChanged, words] = ComputeOne(cutter, collection);
    EXPECT_TRUE(hasChanged);
    EXPECT_EQ(words, (Words{{8}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, NoSurfelsYieldNoWords)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_EQ(ComputeOne(cutter, MakeCollectionInView({})), (std::pair<bool, Words>{false, {}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, InputsAreNotChanged)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const std::vector<Cutter::SInputData> inputs{
        {MakeCollection({{0, 0, 0.5F}}), {}, c_matIdentityD},
        {MakeCollection({{0, 0, 0.5F}}), {{0x10}}, c_matIdentityD}};
    EXPECT_TRUE(Compute(cutter, inputs).at(1).first);
    EXPECT_TRUE(inputs[0].bitMasks.empty());
    EXPECT_EQ(inputs[1].bitMasks, (Words{{0x10}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, NothingIsLogged)
{
    const TestSupport::CLogCapture capture(Logging::c_levelDebug);
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_TRUE(ComputeOne(cutter, MakeCollection({{0, 0, 0.5F}})).first);
    EXPECT_TRUE(cutter.IntersectsRegion(c_matIdentityD, *MakeCollection({{0, 0, 0.5F}})));
    EXPECT_TRUE(capture.GetRecords().empty());
}

// Flags

TEST(CCutPointCloudWithPixelMaskCompute, OtherBitsAreKept)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {{1, 1}, {2, 2}}));
    const auto collection =
        MakeCollection({PixelCenter(1, 1, 4, 4), PixelCenter(2, 1, 4, 4), PixelCenter(2, 2, 4, 4)});
    const auto [hasChanged, words] = ComputeOne(cutter, collection, {{0xFFF7}, {0x1234}, {0x0100}});
    EXPECT_TRUE(hasChanged);
    EXPECT_EQ(words, (Words{{0xFFFF}, {0x1234}, {0x0108}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, AlreadyCutSurfelsAreNoChange)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0.25F, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection, {{0x8}, {0x18}}),
              (std::pair<bool, Words>{false, {{0x8}, {0x18}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, OneNewlyCutSurfelIsAChange)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0.25F, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection, {{0x8}, {0x10}}),
              (std::pair<bool, Words>{true, {{0x8}, {0x18}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, CuttingTwiceChangesNothingTheSecondTime)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    const auto [hasChanged, words] = ComputeOne(cutter, collection);
    ASSERT_TRUE(hasChanged);
    EXPECT_EQ(ComputeOne(cutter, collection, words), (std::pair<bool, Words>{false, words}));
}

TEST(CCutPointCloudWithPixelMaskCompute, FlagsOutsideTheRegionKeepTheirCutBit)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {{1, 1}, {3, 3}}));
    const auto collection = MakeCollectionInView({PixelCenter(2, 2, 4, 4)});
    EXPECT_EQ(ComputeOne(cutter, collection, {{0x0009}}),
              (std::pair<bool, Words>{false, {{0x0009}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, SurfelsWithoutAWordAreLeftOut)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection(std::vector<LqVector3f>(5, {0, 0, 0.5F}));
    EXPECT_EQ(ComputeOne(cutter, collection, {{1}, {2}}),
              (std::pair<bool, Words>{true, {{9}, {10}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, SurplusWordsAreKept)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection, {{1}, {2}, {3}}),
              (std::pair<bool, Words>{true, {{9}, {2}, {3}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, CollectionThatGrowsMeanwhileIsNotFollowed)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection(std::vector<LqVector3f>(3, {0, 0, 0.5F}));
    collection->onGetCount = [&] { return collection->numGetCountCalls == 1 ? 2U : 3U; };
    EXPECT_EQ(ComputeOne(cutter, collection), (std::pair<bool, Words>{true, {{8}, {8}}}));
}

// Box test

TEST(CCutPointCloudWithPixelMaskCompute, CollectionOutsideKeepsItsFlags)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{-3, 0, 0.5F}, {-2, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection, {{0x3}, {0x8}}),
              (std::pair<bool, Words>{false, {{0x3}, {0x8}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, CollectionOutsideWithoutFlagsGetsWordsOfZero)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{-3, 0, 0.5F}, {-2, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection), (std::pair<bool, Words>{false, Words(2)}));
}

TEST(CCutPointCloudWithPixelMaskCompute, BoxTestDecidesEvenWhereASurfelIsUnderThePaint)
{
    // The surfel lies inside the last painted pixel, beyond that pixel's integer corner.
    const Cutter cutter(MakeDeviceSelection(4, 4, {{2, 2}}));
    EXPECT_FALSE(ComputeOne(cutter, MakeCollection({PixelCenter(2, 2, 4, 4)})).first);
    EXPECT_TRUE(ComputeOne(cutter, MakeCollectionInView({PixelCenter(2, 2, 4, 4)})).first);
}

TEST(CCutPointCloudWithPixelMaskCompute, CollectionWithoutABoxIsNotCut)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->GetSupport()->boundingBox.box.Invalidate();
    EXPECT_EQ(ComputeOne(cutter, collection), (std::pair<bool, Words>{false, Words(1)}));
}

TEST(CCutPointCloudWithPixelMaskCompute, NothingPaintedCutsNothingWhateverTheBox)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {}));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->SetBoundingBox({-c_infinity, -c_infinity, -c_infinity},
                               {c_infinity, c_infinity, c_infinity});
    EXPECT_EQ(ComputeOne(cutter, collection), (std::pair<bool, Words>{false, Words(1)}));
    EXPECT_EQ(collection->numGetElementAccessCalls, 0U);
}

TEST(CCutPointCloudWithPixelMaskCompute, PositionsAreAskedForOncePerCollection)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection(std::vector<LqVector3f>(100000, {0, 0, 0.5F}));
    EXPECT_TRUE(ComputeOne(cutter, collection).first);
    EXPECT_EQ(collection->numGetElementAccessCalls, 1U);
    EXPECT_EQ(collection->numGetPointCloudSupportCalls, 1U);
}

TEST(CCutPointCloudWithPixelMaskCompute, SupportIsReleasedBeforePositionsAreAskedFor)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    long numReferences = 0;
    collection->onGetElementAccess = [&] { numReferences = collection->GetSupport().use_count(); };
    EXPECT_TRUE(ComputeOne(cutter, collection).first);
    EXPECT_EQ(numReferences, 1);
}

TEST(CCutPointCloudWithPixelMaskCompute, SingleCollectionIsReadOnTheCallingThread)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection(std::vector<LqVector3f>(300000, {0, 0, 0.5F}));
    std::vector<std::thread::id> threads;
    const auto noteThread = [&] { threads.push_back(std::this_thread::get_id()); };
    collection->onGetPointCloudSupport = noteThread;
    collection->onGetElementAccess = noteThread;
    EXPECT_TRUE(ComputeOne(cutter, collection).first);
    EXPECT_EQ(threads, (std::vector<std::thread::id>(2, std::this_thread::get_id())));
}

// Threads

TEST(CCutPointCloudWithPixelMaskCompute, RunsOnSeveralThreadsAtOnce)
{
    const Cutter cutter(MakeDeviceSelection(4, 4, {{1, 1}, {2, 2}}));
    std::vector<LqVector3f> positions;
    for (std::uint32_t index = 0; index < 70000; ++index)
    {
        positions.push_back(PixelCenter(1 + index % 2, 1 + (index / 2) % 2, 4, 4));
    }
    const auto collection = MakeCollection(positions);
    const std::vector<Cutter::SInputData> inputs(3, {collection, {}, c_matIdentityD});
    const Cutter::Results expected = Compute(cutter, inputs);
    std::atomic<unsigned> numEqual = 0;
    TestSupport::RunCallers([&](std::size_t) {
        const bool intersects = cutter.IntersectsRegion(c_matIdentityD, *collection);
        numEqual += intersects && Compute(cutter, inputs) == expected ? 1 : 0;
    });
    EXPECT_EQ(numEqual, TestSupport::c_numCallers);
}

TEST(CCutPointCloudWithPixelMaskCompute, RunsInsideItemsOfAnotherLoop)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection(std::vector<LqVector3f>(140000, {0, 0, 0.5F}));
    std::vector<std::uint8_t> hasChanged(8);
    Base::ParallelFor(8, [&](std::uint32_t index) {
        hasChanged[index] = ComputeOne(cutter, collection).first ? 1 : 0;
    });
    EXPECT_EQ(hasChanged, std::vector<std::uint8_t>(8, 1));
}

}  // namespace

}  // namespace DataLayer
