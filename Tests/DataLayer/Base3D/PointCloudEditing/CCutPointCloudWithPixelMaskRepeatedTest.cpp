// Cuts of one collection again and again: from the second on runs of surfels answer for themselves.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/ScanScenes.h"
#include "Tests/Support/CMockPointCloudSupport.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/ConcurrentCallers.h"
#include "Tests/Support/ReferenceCut.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using Cutter = CCutPointCloudWithPixelMask;
using Words = std::vector<Base::CSurfelBitMask>;
using TestSupport::SReferenceResult;

constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// A support that has the runs it is told to have, and counts how often it is asked for them.
class CMockRunsSupport : public TestSupport::CMockPointCloudSupport, public ISurfelRuns
{
public:
    SSurfelRuns runs;
    bool hasRuns = true;
    mutable std::atomic<unsigned> numCalls = 0;

    [[nodiscard]] const SSurfelRuns* FindSurfelRuns() const override
    {
        ++numCalls;
        return hasRuns ? &runs : nullptr;
    }
};

/// A view with a support of the test's choice.
class CViewWithSupport : public CSurfelCollectionView
{
public:
    CViewWithSupport(const std::vector<LqVector3f>& positions,
                     std::shared_ptr<const Base::IPointCloudSupport> support)
        : CSurfelCollectionView(nullptr, positions.size(), positions.data(), sizeof(LqVector3f)),
          m_support(std::move(support))
    {}

    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override
    {
        return m_support;
    }

private:
    std::shared_ptr<const Base::IPointCloudSupport> m_support;
};

/// Runs that put every surfel at \p place.
SSurfelRuns MakeRunsAt(const LqVector3f& place, std::size_t count)
{
    SSurfelRuns runs;
    SSurfelRun run;
    run.box.Extend(place);
    runs.runs.assign((count + 255) / 256, run);
    runs.groups.assign((count + 4095) / 4096, {run, true});
    return runs;
}

std::shared_ptr<CMockRunsSupport> MakeSupportWithRunsAt(const LqVector3f& place, std::size_t count)
{
    auto support = std::make_shared<CMockRunsSupport>();
    support->boundingBox.box.Extend(-1, -1, 0);
    support->boundingBox.box.Extend(1, 1, 1);
    support->runs = MakeRunsAt(place, count);
    return support;
}

/// The painted half of MakeHalfPainted() is to the right.
constexpr LqVector3f c_painted{0.5F, 0.0F, 0.5F};
constexpr LqVector3f c_unpainted{-0.5F, 0.0F, 0.5F};

std::shared_ptr<const Base::SRegionSelectionInfo> MakeHalfPainted()
{
    std::vector<std::uint8_t> mask(64 * 64);
    for (std::size_t pixel = 0; pixel < mask.size(); ++pixel)
    {
        mask[pixel] = pixel % 64 >= 32 ? 1 : 0;
    }
    return TestSupport::MakeDeviceSelection(std::move(mask), 64, 64);
}

/// How many surfels of \p collection a cut by MakeHalfPainted() flags.
std::size_t CountCut(const std::shared_ptr<const Base::ISurfelCollection>& collection)
{
    Cutter::Results results;
    Cutter(MakeHalfPainted()).Compute({{collection, {}, c_matIdentityD}}, results);
    const auto numCut = static_cast<std::size_t>(
        std::count(results[0].second.begin(), results[0].second.end(), Base::CSurfelBitMask{8}));
    EXPECT_EQ(results[0].first, numCut > 0);
    EXPECT_EQ(results[0].second.size(), collection->GetCount());
    return numCut;
}

constexpr std::size_t c_count = 5 * 65536 + 1234;

TEST(CCutPointCloudWithPixelMaskRepeated, EveryCutOfRandomScansEqualsTheReference)
{
    unsigned numChanged = 0;
    for (std::uint64_t seed = 0; seed < 60; ++seed)
    {
        CScanScenes scenes(seed);
        const std::size_t count = 1 + scenes.Below(80000);
        const auto positions = scenes.MakePositions(count, seed % 3 != 0);
        const auto collection = std::make_shared<CSurfelCollectionView>(
            nullptr, count, positions.data(), sizeof(LqVector3f));
        for (unsigned stroke = 0; stroke < 4; ++stroke)
        {
            const auto selection = scenes.MakeSelection();
            const Words words = scenes.MakeBitMasks(count);
            const LqMatrix4Rd trafo = scenes.MakeTrafo();
            const Cutter cutter(selection);
            Cutter::Results results;
            // Left over from another cut, as an application that reuses them leaves them.
            results.emplace_back(true, Words(scenes.Below(2) * count, Base::CSurfelBitMask{0xFF}));
            cutter.Compute({{collection, words, trafo}}, results);
            const auto& box = collection->GetPointCloudSupport()->GetBoundingBox().box;
            const SReferenceResult expected =
                TestSupport::ReferenceCut(*selection, positions, box.min, box.max, words, trafo);
            ASSERT_EQ(results[0].first, expected.hasChanged) << seed << ", " << stroke;
            ASSERT_TRUE(results[0].second == expected.words) << seed << ", " << stroke;
            numChanged += expected.hasChanged ? 1 : 0;
        }
    }
    EXPECT_GT(numChanged, 60);
}

TEST(CCutPointCloudWithPixelMaskRepeated, EveryCutByTheSameCutterIsTheSame)
{
    CScanScenes scenes(77);
    const auto positions = scenes.MakePositions(c_count, true);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    const Cutter cutter(MakeHalfPainted());
    Cutter::Results first;
    cutter.Compute({{collection, {}, c_matIdentityD}}, first);
    EXPECT_TRUE(first[0].first);
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        Cutter::Results results;
        cutter.Compute({{collection, {}, c_matIdentityD}}, results);
        EXPECT_TRUE(results == first) << stroke;
        // Over its own result nothing is new.
        cutter.Compute({{collection, first[0].second, c_matIdentityD}}, results);
        EXPECT_FALSE(results[0].first) << stroke;
        EXPECT_TRUE(results[0].second == first[0].second) << stroke;
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, RunsArePaintedAsAWholeWithoutReadingTheirPositions)
{
    std::vector<LqVector3f> positions(c_count, c_painted);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    EXPECT_EQ(CountCut(collection), c_count);
    EXPECT_EQ(CountCut(collection), c_count);
    // Nobody may do this to a view; here it tells who still looks.
    std::fill(positions.begin(), positions.end(), c_unpainted);
    EXPECT_EQ(CountCut(collection), c_count);
}

TEST(CCutPointCloudWithPixelMaskRepeated, RunsAreSkippedAsAWholeWithoutReadingTheirPositions)
{
    std::vector<LqVector3f> positions(c_count, c_unpainted);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    positions[c_count - 1] = {0.9F, 0.9F, 0.5F};
    EXPECT_EQ(CountCut(collection), 1);
    EXPECT_EQ(CountCut(collection), 1);
    std::fill(positions.begin(), positions.end(), c_painted);
    // The last run is not as a whole on one side.
    EXPECT_EQ(CountCut(collection), c_count % 256);
}

TEST(CCutPointCloudWithPixelMaskRepeated, SurfelsOfOpenRunsAreCutAsTheyLie)
{
    for (const unsigned numOpenOfSixteen : {1U, 4U, 8U, 16U})
    {
        std::vector<LqVector3f> positions(c_count, c_painted);
        std::size_t numUnpainted = 0;
        for (std::size_t index = 0; index < c_count; ++index)
        {
            if (index / 256 * 7 % 16 < numOpenOfSixteen && index % 3 == 0)
            {
                positions[index] = c_unpainted;
                ++numUnpainted;
            }
        }
        const auto collection = std::make_shared<CSurfelCollectionView>(
            nullptr, c_count, positions.data(), sizeof(LqVector3f));
        for (unsigned stroke = 0; stroke < 3; ++stroke)
        {
            EXPECT_EQ(CountCut(collection), c_count - numUnpainted) << numOpenOfSixteen;
        }
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, TheFirstCutOfEveryCollectionReadsItsPositions)
{
    std::vector<LqVector3f> positions(c_count, c_painted);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    static_cast<void>(collection->GetPointCloudSupport()->GetBoundingBox());
    std::fill(positions.begin(), positions.end(), c_unpainted);
    EXPECT_EQ(CountCut(collection), 0);
}

TEST(CCutPointCloudWithPixelMaskRepeated, RunsOfAnyMakerAreUsed)
{
    const std::vector<LqVector3f> positions(c_count, c_unpainted);
    const auto support = MakeSupportWithRunsAt(c_painted, c_count);
    const auto collection = std::make_shared<CViewWithSupport>(positions, support);
    EXPECT_EQ(CountCut(collection), c_count);
    EXPECT_EQ(support->numCalls, 1);
}

TEST(CCutPointCloudWithPixelMaskRepeated, SupportWithoutRunsYetIsCutSurfelBySurfel)
{
    const std::vector<LqVector3f> positions(c_count, c_painted);
    const auto support = MakeSupportWithRunsAt(c_unpainted, c_count);
    support->hasRuns = false;
    EXPECT_EQ(CountCut(std::make_shared<CViewWithSupport>(positions, support)), c_count);
}

TEST(CCutPointCloudWithPixelMaskRepeated, ForeignSupportIsCutSurfelBySurfelEveryTime)
{
    const auto collection = std::make_shared<TestSupport::CMockSurfelCollection>(
        std::vector<LqVector3f>(c_count, c_painted));
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        EXPECT_EQ(CountCut(collection), c_count);
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, RunsThatDoNotReachOverAllSurfelsAreNotUsed)
{
    const std::vector<LqVector3f> positions(2 * 65536, c_painted);
    for (const bool lacksRun : {true, false})
    {
        const auto support = MakeSupportWithRunsAt(c_unpainted, positions.size());
        if (lacksRun)
        {
            support->runs.runs.pop_back();
        }
        else
        {
            support->runs.groups.pop_back();
        }
        EXPECT_EQ(CountCut(std::make_shared<CViewWithSupport>(positions, support)),
                  positions.size());
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, FewSurfelsAreCutWithoutAskingForRuns)
{
    for (const std::size_t count : {4095U, 4096U})
    {
        const std::vector<LqVector3f> positions(count, c_unpainted);
        const auto support = MakeSupportWithRunsAt(c_painted, count);
        const auto collection = std::make_shared<CViewWithSupport>(positions, support);
        EXPECT_EQ(CountCut(collection), count == 4096 ? count : 0);
        EXPECT_EQ(support->numCalls, count == 4096 ? 1 : 0);
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, CollectionBesideThePaintIsNotAskedForRuns)
{
    const std::vector<LqVector3f> positions(c_count, c_unpainted);
    const auto support = MakeSupportWithRunsAt(c_painted, c_count);
    support->boundingBox.box.max.x = -0.25F;
    EXPECT_EQ(CountCut(std::make_shared<CViewWithSupport>(positions, support)), 0);
    EXPECT_EQ(support->numCalls, 0);
}

TEST(CCutPointCloudWithPixelMaskRepeated, ShorterFlagsLeaveTheOtherSurfelsOut)
{
    const std::vector<LqVector3f> positions(c_count, c_painted);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    const Cutter cutter(MakeHalfPainted());
    for (const std::size_t numWords : {c_count, c_count - 5000, c_count - 5000, c_count + 7})
    {
        Words expected(numWords, Base::CSurfelBitMask{9});
        for (std::size_t index = c_count; index < numWords; ++index)
        {
            expected[index].bits = 1;
        }
        Cutter::Results results;
        cutter.Compute({{collection, Words(numWords, Base::CSurfelBitMask{1}), c_matIdentityD}},
                       results);
        EXPECT_TRUE(results[0].first);
        EXPECT_TRUE(results[0].second == expected);
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, FewSurfelsWithManyWordsAreCutWithoutAskingForRuns)
{
    const std::vector<LqVector3f> positions(100, c_painted);
    const auto support = MakeSupportWithRunsAt(c_unpainted, 4096);
    const auto collection = std::make_shared<CViewWithSupport>(positions, support);
    Words expected(4100, Base::CSurfelBitMask{1});
    std::fill_n(expected.begin(), positions.size(), Base::CSurfelBitMask{9});
    const Cutter cutter(MakeHalfPainted());
    // The words of the first cut are there for the second.
    Cutter::Results results;
    for (unsigned stroke = 0; stroke < 2; ++stroke)
    {
        cutter.Compute({{collection, Words(4100, Base::CSurfelBitMask{1}), c_matIdentityD}},
                       results);
        EXPECT_TRUE(results[0].first);
        EXPECT_TRUE(results[0].second == expected);
    }
    EXPECT_EQ(support->numCalls, 0);
}

TEST(CCutPointCloudWithPixelMaskRepeated, ViewOfMoreColumnsThanFloatsTellApartIsCutEveryTime)
{
    // Painted is the middle third of row 1, where the surfels lie.
    constexpr std::uint32_t c_width = (1U << 24) + 1;
    std::vector<std::uint8_t> mask(std::size_t{c_width} * 2);
    std::fill_n(mask.begin() + c_width + c_width / 3, c_width / 3, std::uint8_t{1});
    const Cutter cutter(TestSupport::MakeDeviceSelection(std::move(mask), c_width, 2));
    std::vector<LqVector3f> positions(5000, {0.0F, 0.0F, 0.5F});
    positions.front().x = -0.5F;
    positions.back().x = 0.5F;
    Words expected(positions.size(), Base::CSurfelBitMask{8});
    expected.front().bits = expected.back().bits = 0;
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, positions.size(), positions.data(), sizeof(LqVector3f));
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        Cutter::Results results;
        cutter.Compute({{collection, {}, c_matIdentityD}}, results);
        EXPECT_TRUE(results[0].first);
        EXPECT_TRUE(results[0].second == expected);
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, LongerFlagsAreTakenOverIntoUsedResults)
{
    const std::vector<LqVector3f> positions(100, c_painted);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, positions.size(), positions.data(), sizeof(LqVector3f));
    Cutter::Results results{{true, Words(103, Base::CSurfelBitMask{0xFF})}};
    Cutter(MakeHalfPainted())
        .Compute({{collection, Words(103, Base::CSurfelBitMask{1}), c_matIdentityD}}, results);
    Words expected(103, Base::CSurfelBitMask{9});
    std::fill(expected.end() - 3, expected.end(), Base::CSurfelBitMask{1});
    EXPECT_TRUE(results[0].first);
    EXPECT_TRUE(results[0].second == expected);
}

TEST(CCutPointCloudWithPixelMaskRepeated, SurfelsThatHaveTheFlagAlreadyAreNoChange)
{
    const std::vector<LqVector3f> positions(c_count, c_painted);
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    const Cutter cutter(MakeHalfPainted());
    Words words(c_count, Base::CSurfelBitMask{0x108});
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        Cutter::Results results;
        cutter.Compute({{collection, words, c_matIdentityD}}, results);
        EXPECT_FALSE(results[0].first) << stroke;
        EXPECT_TRUE(results[0].second == words) << stroke;
    }
    for (const std::size_t changed : {std::size_t{0}, std::size_t{70000}, c_count - 1})
    {
        Words almost = words;
        almost[changed].bits = 0x100;
        Cutter::Results results;
        cutter.Compute({{collection, almost, c_matIdentityD}}, results);
        EXPECT_TRUE(results[0].first) << changed;
        EXPECT_TRUE(results[0].second == words) << changed;
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, PositionsThatAreNotFiniteStayUncutWithinARun)
{
    std::vector<LqVector3f> positions(c_count, c_painted);
    std::size_t numNotFinite = 0;
    for (std::size_t index = 0; index < c_count; index += 12345)
    {
        positions[index].y = c_nan;
        ++numNotFinite;
    }
    const auto collection = std::make_shared<CSurfelCollectionView>(
        nullptr, c_count, positions.data(), sizeof(LqVector3f));
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        EXPECT_EQ(CountCut(collection), c_count - numNotFinite) << stroke;
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, CollectionThatIsChangedIsCutAsItIsNow)
{
    const auto collection = std::make_shared<CSurfelCollectionMinimal>();
    collection->Reserve(10000);
    for (unsigned index = 0; index < 8192; ++index)
    {
        collection->AddSurfelNoReset({c_unpainted, 0});
    }
    collection->AddSurfelNoReset({c_painted, 0});
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        EXPECT_EQ(CountCut(collection), 1);
    }
    // In place: the same memory, the same count.
    CSurfelCollectionMinimal painted;
    painted.AddSurfelNoReset({c_painted, 0});
    Base::ISurfelCollection::IndexPairs pairs;
    for (unsigned index = 0; index < 4096; ++index)
    {
        pairs.emplace_back(0, index);
    }
    collection->ScatterCopy(painted, pairs, c_matIdentityD);
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        EXPECT_EQ(CountCut(collection), 4097);
    }
}

TEST(CCutPointCloudWithPixelMaskRepeated, ConcurrentCutsOfOneCollectionAreAllTheSame)
{
    CScanScenes scenes(5);
    const auto positions = scenes.MakePositions(100000, true);
    for (unsigned round = 0; round < 3; ++round)
    {
        const auto collection = std::make_shared<CSurfelCollectionView>(
            nullptr, positions.size(), positions.data(), sizeof(LqVector3f));
        const Cutter cutter(MakeHalfPainted());
        // Several inputs on the scheduler's threads, and several callers.
        const std::vector<Cutter::SInputData> inputs(3, {collection, {}, c_matIdentityD});
        std::vector<Cutter::Results> results(TestSupport::c_numCallers);
        TestSupport::RunCallers([&](std::size_t caller) {
            cutter.Compute(inputs, results[caller]);
            cutter.Compute(inputs, results[caller]);
        });
        const SReferenceResult expected =
            TestSupport::ReferenceCut(*MakeHalfPainted(), positions, {-1e30F, -1e30F, 0},
                                      {1e30F, 1e30F, 1}, {}, c_matIdentityD);
        EXPECT_TRUE(expected.hasChanged);
        for (const auto& result : results)
        {
            for (const auto& [hasChanged, words] : result)
            {
                EXPECT_TRUE(hasChanged);
                EXPECT_TRUE(words == expected.words);
            }
        }
    }
}

}  // namespace

}  // namespace DataLayer
