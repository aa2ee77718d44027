#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Support/ParallelFor.h"
#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using Base::CSurfelBitMask;
using TestSupport::CMockSurfelCollection;
using TestSupport::MakeDeviceSelection;
using TestSupport::MakeFullyPaintedDeviceSelection;
using Cutter = CCutPointCloudWithPixelMask;
using Words = std::vector<CSurfelBitMask>;

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// In every view, the middle of the pixel, inside the view's depth.
LqVector3f PixelCenter(std::uint32_t column, std::uint32_t row, std::uint32_t width,
                       std::uint32_t height)
{
    return {(2 * static_cast<float>(column) + 1) / static_cast<float>(width) - 1,
            1 - (2 * static_cast<float>(row) + 1) / static_cast<float>(height), 0.5F};
}

std::shared_ptr<CMockSurfelCollection> MakeCollection(const std::vector<LqVector3f>& positions)
{
    return std::make_shared<CMockSurfelCollection>(positions);
}

/// A collection that always passes the box test of a view that is not scaled, wherever its
/// positions lie.
std::shared_ptr<CMockSurfelCollection> MakeCollectionInView(
    const std::vector<LqVector3f>& positions)
{
    auto collection = MakeCollection(positions);
    collection->SetBoundingBox({-1, -1, 0}, {1, 1, 1});
    return collection;
}

Cutter::Results Compute(const Cutter& cutter, const std::vector<Cutter::SInputData>& inputs)
{
    Cutter::Results results;
    cutter.Compute(inputs, results);
    return results;
}

Cutter::Results::value_type ComputeOne(const Cutter& cutter,
                                       std::shared_ptr<const Base::ISurfelCollection> collection,
                                       Words words = {}, const LqMatrix4Rd& trafo = c_matIdentityD)
{
    return Compute(cutter, {{std::move(collection), std::move(words), trafo}}).at(0);
}

/// Whether a fully painted view with these transforms, of which only the first is not the identity,
/// cuts a surfel at \p position.
bool IsCut(const LqMatrix4Rf& view, std::uint32_t width, std::uint32_t height,
           const std::vector<std::uint8_t>& mask, const LqVector3f& position)
{
    const Cutter cutter(Base::MakeRegionSelection(
        view, TestSupport::MakeIdentity(), TestSupport::MakeIdentity(), mask, width, height));
    const auto collection = MakeCollection({position});
    return ComputeOne(cutter, collection).first;
}

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

// Projection

TEST(CCutPointCloudWithPixelMaskCompute, MiddleOfTheViewIsPixel320Times240)
{
    const auto cutsMiddle = [](TestSupport::SPixel pixel) {
        const Cutter cutter(MakeDeviceSelection(640, 480, {pixel}));
        return ComputeOne(cutter, MakeCollectionInView({{0, 0, 0.5F}})).first;
    };
    EXPECT_TRUE(cutsMiddle({320, 240}));
    EXPECT_FALSE(cutsMiddle({319, 240}));
    EXPECT_FALSE(cutsMiddle({320, 239}));
}

TEST(CCutPointCloudWithPixelMaskCompute, FirstRowAndColumnNeverCut)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 3));
    const auto words =
        ComputeOne(cutter, MakeCollection({PixelCenter(0, 1, 4, 3), PixelCenter(1, 0, 4, 3),
                                           PixelCenter(0, 0, 4, 3), PixelCenter(1, 1, 4, 3)}))
            .second;
    EXPECT_EQ(words, (Words{{0}, {0}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, LastRowAndColumnCut)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 3));
    const auto words =
        ComputeOne(cutter, MakeCollection({PixelCenter(3, 1, 4, 3), PixelCenter(1, 2, 4, 3),
                                           PixelCenter(3, 2, 4, 3)}))
            .second;
    EXPECT_EQ(words, (Words{{8}, {8}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, RowAndColumnAtTheSizeAreOutside)
{
    // Both are painted where their index would wrap into the next row.
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto words =
        ComputeOne(cutter, MakeCollectionInView(
                               {{1, 0, 0.5F}, {0, -1, 0.5F}, {0.99F, 0, 0.5F}, {0, -0.99F, 0.5F}}))
            .second;
    EXPECT_EQ(words, (Words{{0}, {0}, {8}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, JustBelowTheTopIsRowZeroAndOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(640, 480));
    const LqVector3f position{0, std::nextafter(1.0F, 0.0F), 0.5F};
    EXPECT_FALSE(ComputeOne(cutter, MakeCollectionInView({position})).first);
}

TEST(CCutPointCloudWithPixelMaskCompute, BottomIsRowHeightAndOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(640, 480));
    EXPECT_FALSE(ComputeOne(cutter, MakeCollectionInView({{0, -1, 0.5F}})).first);
    EXPECT_TRUE(ComputeOne(cutter, MakeCollectionInView({{0, -0.9999F, 0.5F}})).first);
}

TEST(CCutPointCloudWithPixelMaskCompute, UpToOnePixelOutsideTruncatesToZeroAndIsOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto words =
        ComputeOne(cutter, MakeCollectionInView({{-1.25F, 0, 0.5F}, {0, 1.25F, 0.5F}})).second;
    EXPECT_EQ(words, Words(2));
}

TEST(CCutPointCloudWithPixelMaskCompute, SinglePixelMaskCutsNothing)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(1, 1));
    const auto words =
        ComputeOne(cutter, MakeCollectionInView({{0, 0, 0.5F}, {-1, 1, 0.5F}, {1, -1, 0.5F}}))
            .second;
    EXPECT_EQ(words, Words(3));
}

TEST(CCutPointCloudWithPixelMaskCompute, OnlyTheMaskValueOneCuts)
{
    std::vector<std::uint8_t> mask{1, 1, 1, 1, 1, 1,  //
                                   1, 1, 0, 2, 3, 255};
    const Cutter cutter(MakeDeviceSelection(mask, 6, 2));
    std::vector<LqVector3f> positions;
    for (std::uint32_t column = 1; column < 6; ++column)
    {
        positions.push_back(PixelCenter(column, 1, 6, 2));
    }
    EXPECT_EQ(ComputeOne(cutter, MakeCollectionInView(positions)).second,
              (Words{{8}, {0}, {0}, {0}, {0}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, PointBehindTheEyeIsDividedLikeAnyOther)
{
    LqMatrix4Rd behind = TestSupport::MakeScale(-1, -1, -1);
    behind(3, 3) = -1.0;
    const Cutter cutter(MakeDeviceSelection(4, 4, {{2, 1}, {3, 3}}));
    const auto collection = MakeCollection({PixelCenter(2, 1, 4, 4), PixelCenter(3, 2, 4, 4)});
    EXPECT_EQ(ComputeOne(cutter, collection, {}, behind).second, (Words{{8}, {0}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, DivisionByZeroIsOutside)
{
    LqMatrix4Rd flat = c_matIdentityD;
    flat(2, 3) = 1.0;
    flat(3, 3) = -0.5;
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    // w is z - 0.5: 0 over 0, and a number over 0.
    const auto collection =
        MakeCollectionInView({{0, 0, 0.5F}, {0.25F, -0.25F, 0.5F}, {0.25F, -0.25F, 1.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection, {}, flat).second, (Words{{0}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, PositionsThatAreNotFiniteAreOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollectionInView({{c_nan, 0, 0.5F},
                                                  {0, c_nan, 0.5F},
                                                  {0, 0, c_nan},
                                                  {c_infinity, 0, 0.5F},
                                                  {-c_infinity, 0, 0.5F},
                                                  {0, c_infinity, 0.5F},
                                                  {0, -c_infinity, 0.5F},
                                                  {0, 0, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection).second,
              (Words{{0}, {0}, {0}, {0}, {0}, {0}, {0}, {8}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, PixelsBeyond32BitsAreOutside)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const float max = std::numeric_limits<float>::max();
    const auto collection = MakeCollectionInView({{0x1p31F, 0, 0.5F},
                                                  {-0x1p31F, 0, 0.5F},
                                                  {0x1p32F, 0x1p32F, 0.5F},
                                                  {0, -0x1p33F, 0.5F},
                                                  {max, -max, 0.5F}});
    EXPECT_EQ(ComputeOne(cutter, collection).second, Words(5));
}

TEST(CCutPointCloudWithPixelMaskCompute, ViewThatIsNotFiniteCutsNothing)
{
    for (const double value : {static_cast<double>(c_nan), static_cast<double>(c_infinity)})
    {
        LqMatrix4Rd view = c_matIdentityD;
        view(0, 0) = value;
        EXPECT_FALSE(
            IsCut(LqMatrix4Rf(view), 4, 4, std::vector<std::uint8_t>(16, 1), {0, 0, 0.5F}));
    }
}

TEST(CCutPointCloudWithPixelMaskCompute, SingularViewCutsNothing)
{
    EXPECT_FALSE(IsCut(LqMatrix4Rf(), 4, 4, std::vector<std::uint8_t>(16, 1), {0, 0, 0.5F}));
}

TEST(CCutPointCloudWithPixelMaskCompute, TrafoThatIsNotValidCutsNothing)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    EXPECT_EQ(ComputeOne(cutter, MakeCollection({{0, 0, 0.5F}}), {}, c_matInvalidD),
              (std::pair<bool, Words>{false, Words(1)}));
}

TEST(CCutPointCloudWithPixelMaskCompute, EntityTransformActsBeforeTheView)
{
    // Moved by 1 and then halved: 0.5, column 3. The other way round it would leave the view.
    const Cutter cutter(Base::MakeRegionSelection(
        LqMatrix4Rf(TestSupport::MakeScale(0.5, 1, 1)), TestSupport::MakeIdentity(),
        TestSupport::MakeIdentity(), TestSupport::MakeMask(4, 4, {{3, 2}}), 4, 4));
    EXPECT_TRUE(ComputeOne(cutter, MakeCollection({{0, 0, 0.5F}}), {},
                           TestSupport::MakeTranslation(1, 0, 0))
                    .first);
}

TEST(CCutPointCloudWithPixelMaskCompute, SameCollectionWithTwoTrafosIsClassifiedTwice)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0.5F, 0, 0.5F}});
    const auto results =
        Compute(cutter, {{collection, {}, c_matIdentityD},
                         {collection, {}, TestSupport::MakeTranslation(0.5, 0, 0)}});
    EXPECT_EQ(results, (Cutter::Results{{true, {{8}, {8}}}, {true, {{8}, {0}}}}));
}

// Arithmetic, to the bit. Each of these points lies on another pixel when it is computed otherwise.

TEST(CCutPointCloudWithPixelMaskCompute, PointTransformAddsTheTranslationLast)
{
    // (1e8 - 1e8) + 0.25; starting with the translation loses it.
    LqMatrix4Rd view = c_matIdentityD;
    view(0, 0) = 1e8;
    view(1, 0) = -1e8;
    view(1, 1) = 0.0;
    view(3, 0) = 0.25;
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 4, {{400, 2}});
    EXPECT_TRUE(IsCut(LqMatrix4Rf(view), 640, 4, mask, {1, 1, 0.5F}));
}

TEST(CCutPointCloudWithPixelMaskCompute, PointTransformAddsXAndYBeforeZ)
{
    // (1e8 - 1e8) + 0.25 z; adding y and z first loses z.
    LqMatrix4Rd view = c_matIdentityD;
    view(0, 0) = 1e8;
    view(1, 0) = -1e8;
    view(1, 1) = 0.0;
    view(2, 0) = 0.25;
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 4, {{400, 2}});
    EXPECT_TRUE(IsCut(LqMatrix4Rf(view), 640, 4, mask, {1, 1, 1}));
}

TEST(CCutPointCloudWithPixelMaskCompute, PointTransformRoundsEveryProduct)
{
    // a x a rounds to 1 + 2^-11 and cancels; kept exactly, 2^-24 would remain and, divided by the
    // same, give device 1.
    const float a = 1.0F + 0x1p-12F;
    LqMatrix4Rd view = c_matIdentityD;
    view(0, 0) = static_cast<double>(a);
    view(1, 0) = 1.0;
    view(1, 1) = 0.0;
    view(2, 2) = 0.0;
    view(3, 3) = 0x1p-24;
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 4, {{320, 2}});
    EXPECT_TRUE(IsCut(LqMatrix4Rf(view), 640, 4, mask, {a, -(1.0F + 0x1p-11F), 0}));
}

/// A view whose w is z, so that device x is x / z.
LqMatrix4Rf MakeDividingView()
{
    LqMatrix4Rd view = c_matIdentityD;
    view(2, 2) = 0.0;
    view(2, 3) = 1.0;
    view(3, 2) = 0.5;
    view(3, 3) = 0.0;
    return LqMatrix4Rf(view);
}

TEST(CCutPointCloudWithPixelMaskCompute, DivisionIsNoMultiplicationByTheReciprocal)
{
    // Column 553 exactly; by the reciprocal 552.99994.
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 480, {{553, 240}});
    EXPECT_TRUE(IsCut(MakeDividingView(), 640, 480, mask, {0x1.5e54fp+2F, 0, 0x1.e12474p+2F}));
}

TEST(CCutPointCloudWithPixelMaskCompute, ProjectionIsRoundedToFloatAtEveryStep)
{
    // Column 448 exactly; in double precision 447.999992.
    const std::vector<std::uint8_t> mask = TestSupport::MakeMask(640, 480, {{448, 240}});
    EXPECT_TRUE(IsCut(MakeDividingView(), 640, 480, mask, {0x1.23e74ap+1F, 0, 0x1.6ce11ep+2F}));
}

// Failures

/// Expects the exception about a missing accessor from \p body, word for word.
template <typename Body>
void ExpectNoAccessor(const Body& body)
{
    try
    {
        body();
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.GetFilename(), "Base/Interfaces/ISurfelCollection");
        EXPECT_EQ(exception.GetCodeLine(), 96U);
        EXPECT_STREQ(exception.GetFunctionName(), "Base::ISurfelCollection::GetReadAccessor");
        EXPECT_EQ(exception.GetMessageText(),
                  L"Nicht verfuegbare ElementAccessor-Definition angefordert.");
    }
}

TEST(CCutPointCloudWithPixelMaskCompute, MissingPositionsThrowAndChangeNoFlag)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    Cutter::Results results(3, {true, {}});
    ExpectNoAccessor([&] { cutter.Compute({{collection, {{1}, {2}}, c_matIdentityD}}, results); });
    EXPECT_EQ(results, (Cutter::Results{{false, {{1}, {2}}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, MissingPositionsWithoutFlagsLeaveWordsOfZero)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    Cutter::Results results;
    ExpectNoAccessor([&] { cutter.Compute({{collection, {}, c_matIdentityD}}, results); });
    EXPECT_EQ(results, (Cutter::Results{{false, Words(2)}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, MissingPositionsOverwriteOldResultsOfTheSameSize)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}, {0, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    Cutter::Results results{{true, Words(2, {0xFFFF})}};
    ExpectNoAccessor([&] { cutter.Compute({{collection, {{1}, {2}}, c_matIdentityD}}, results); });
    EXPECT_EQ(results, (Cutter::Results{{false, {{1}, {2}}}}));
}

TEST(CCutPointCloudWithPixelMaskCompute, AccessorOfAnotherKindIsNoAccessor)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->SetPositionAccess(
        std::make_unique<Base::TElementAccessRead<Base::CSCElementDefinitionNormal>>());
    ExpectNoAccessor([&] { ComputeOne(cutter, collection); });
}

TEST(CCutPointCloudWithPixelMaskCompute, MissingPositionsOutsideTheRegionAreNotNoticed)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{-3, 0, 0.5F}});
    collection->SetPositionAccess(nullptr);
    EXPECT_EQ(ComputeOne(cutter, collection), (std::pair<bool, Words>{false, Words(1)}));
    EXPECT_EQ(collection->numGetElementAccessCalls, 0U);
}

TEST(CCutPointCloudWithPixelMaskCompute, ExceptionOfOneItemArrivesAndResultsHaveTheirSize)
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

TEST(CCutPointCloudWithPixelMaskCompute, CutterIsUsableAfterAnException)
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

TEST(CCutPointCloudWithPixelMaskCompute, TooManySurfelsThrowBeforeWordsAreAllocated)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    for (const std::uint64_t count : {0x100000000ULL, 0xFFFFFFFFFFFFFFFFULL})
    {
        collection->SetCount(count);
        ExpectTooMany([&] { ComputeOne(cutter, collection); }, std::to_string(count));
    }
}

TEST(CCutPointCloudWithPixelMaskCompute, TooManySurfelsWithFlagsThrowBeforeAnyIsChanged)
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

TEST(CCutPointCloudWithPixelMaskCompute, LargestCountIsNotTooMany)
{
    const Cutter cutter(MakeFullyPaintedDeviceSelection(4, 4));
    const auto collection = MakeCollection({{0, 0, 0.5F}});
    collection->SetCount(0xFFFFFFFFULL);
    EXPECT_EQ(ComputeOne(cutter, collection, {{1}}), (std::pair<bool, Words>{true, {{9}}}));
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
    std::vector<std::thread> threads;
    for (unsigned index = 0; index < 4; ++index)
    {
        threads.emplace_back([&] {
            const bool intersects = cutter.IntersectsRegion(c_matIdentityD, *collection);
            numEqual += intersects && Compute(cutter, inputs) == expected ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(numEqual, 4U);
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
