#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/RandomCuts.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/ScanScenes.h"
#include "Tests/Support/CMockSurfelCollection.h"

// What must hold between the answers to related questions, whatever each answer is. Most rounds ask
// about a few nasty surfels; some ask about scans, of which whole runs of surfels are answered for
// without looking at each. The variable VEKO2_METAMORPHIC_ROUNDS of the environment makes the tests
// run longer.

namespace DataLayer
{
namespace
{

using Cutter = CCutPointCloudWithPixelMask;
using Words = std::vector<Base::CSurfelBitMask>;
using Selection = std::shared_ptr<const Base::SRegionSelectionInfo>;

constexpr std::size_t c_shortRounds = 3000;
constexpr std::size_t c_roundsPerView = 20;
constexpr std::size_t c_maximumSurfels = 80;
/// One round in so many is of scans, which take a hundred times as long.
constexpr std::size_t c_roundsPerScan = 300;

/// One collection's surfels before a cut.
struct SSurfels
{
    std::vector<LqVector3f> positions;
    Words words;
    LqMatrix4Rd trafo;
    /// Of a scan, its positions: the same collection in every cut, so that it keeps boxes of runs
    /// from the second one on. Of few surfels null.
    std::shared_ptr<const Base::ISurfelCollection> scan;
};

struct SRound
{
    std::mt19937_64& random;
    Selection selection;
    Selection otherSelection;
    std::vector<SSurfels> collections;
};

[[nodiscard]] std::size_t NumRounds()
{
    const char* const text = std::getenv("VEKO2_METAMORPHIC_ROUNDS");
    return text != nullptr ? std::stoul(text) : c_shortRounds;
}

[[nodiscard]] std::size_t Below(std::mt19937_64& random, std::size_t bound)
{
    return static_cast<std::size_t>(random() % bound);
}

[[nodiscard]] SSurfels SomeOf(const SRandomInput& input, std::mt19937_64& random)
{
    SSurfels surfels;
    surfels.trafo = input.trafo;
    const std::size_t count = input.positions.empty() ? 0 : Below(random, c_maximumSurfels + 1);
    const bool hasWords = random() % 2 == 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        surfels.positions.push_back(input.positions[Below(random, input.positions.size())]);
        if (hasWords)
        {
            surfels.words.push_back({static_cast<std::uint16_t>(random())});
        }
    }
    return surfels;
}

[[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> MakeScan(
    const std::vector<LqVector3f>& positions)
{
    const auto owner = std::make_shared<const std::vector<LqVector3f>>(positions);
    return std::make_shared<CSurfelCollectionView>(owner, owner->size(), owner->data(),
                                                   sizeof(LqVector3f));
}

[[nodiscard]] SRound MakeRoundOfScans(std::mt19937_64& random)
{
    constexpr std::size_t c_surfelsPerGroup = SSurfelRuns::c_surfelsPerGroup;
    CScanScenes scenes(random());
    SRound made{random, scenes.MakeSelection(), scenes.MakeSelection(), {}};
    for (std::size_t numScans = 1 + Below(random, 2); numScans > 0; --numScans)
    {
        // Whole groups of runs and mostly a rest, which ends anywhere.
        const std::size_t numGroups = 1 + Below(random, 2);
        const std::size_t rest = random() % 4 == 0 ? 0 : Below(random, c_surfelsPerGroup);
        const std::size_t count = numGroups * c_surfelsPerGroup + rest;
        SSurfels surfels;
        surfels.positions = scenes.MakePositions(count, random() % 2 == 0);
        surfels.words = scenes.MakeBitMasks(count);
        surfels.trafo = scenes.MakeTrafo();
        surfels.scan = MakeScan(surfels.positions);
        made.collections.push_back(std::move(surfels));
    }
    return made;
}

void ForEachRound(std::uint64_t seed, const std::function<void(SRound&)>& check)
{
    std::mt19937_64 random(seed);
    CRandomCuts cuts(seed);
    Selection selection;
    Selection otherSelection;
    std::vector<SRandomInput> inputs;
    for (std::size_t round = 0; round < NumRounds(); ++round)
    {
        if (round % c_roundsPerView == 0)
        {
            selection = cuts.MakeSelection();
            otherSelection = cuts.MakeSelection();
            inputs.clear();
            inputs.push_back(cuts.MakeInput(*selection));
            inputs.push_back(cuts.MakeInput(*otherSelection));
        }
        if (round % c_roundsPerScan == 0)
        {
            SRound made = MakeRoundOfScans(random);
            check(made);
        }
        else
        {
            SRound made{random, selection, otherSelection, {}};
            for (std::size_t count = 1 + Below(random, 3); count > 0; --count)
            {
                made.collections.push_back(SomeOf(inputs[Below(random, inputs.size())], random));
            }
            check(made);
        }
        if (testing::Test::HasFailure())
        {
            FAIL() << "in round " << round;
        }
    }
}

/// Whoever looks at every surfel and whoever judges runs of them comes to the same \p results.
void ExpectSameFromRuns(const Cutter& cutter, const std::vector<Cutter::SInputData>& inputs,
                        const Cutter::Results& results)
{
    for (unsigned pass = 1; pass < 3; ++pass)
    {
        Cutter::Results again;
        cutter.Compute(inputs, again);
        EXPECT_EQ(again, results) << "in pass " << pass;
    }
    for (std::size_t index = 0; index < inputs.size(); ++index)
    {
        // Where something is cut the runs have been asked for; the first time there are none yet.
        const auto support = inputs[index].collection->GetPointCloudSupport();
        const auto* const runs = dynamic_cast<const ISurfelRuns*>(support.get());
        EXPECT_TRUE(!results[index].first || runs->FindSurfelRuns() != nullptr);
    }
}

[[nodiscard]] Cutter::Results Cut(const Selection& selection, const std::vector<SSurfels>& surfels)
{
    std::vector<Cutter::SInputData> inputs;
    bool hasScans = false;
    for (const SSurfels& each : surfels)
    {
        std::shared_ptr<const Base::ISurfelCollection> collection = each.scan;
        if (collection == nullptr)
        {
            collection = std::make_shared<TestSupport::CMockSurfelCollection>(each.positions);
        }
        hasScans = hasScans || each.scan != nullptr;
        inputs.push_back({std::move(collection), each.words, each.trafo});
    }
    const Cutter cutter(selection);
    Cutter::Results results;
    cutter.Compute(inputs, results);
    if (hasScans)
    {
        ExpectSameFromRuns(cutter, inputs, results);
    }
    return results;
}

/// The surfels with the words that a cut has given them.
[[nodiscard]] std::vector<SSurfels> After(std::vector<SSurfels> surfels,
                                          const Cutter::Results& results)
{
    for (std::size_t index = 0; index < surfels.size(); ++index)
    {
        surfels[index].words = results[index].second;
    }
    return surfels;
}

[[nodiscard]] std::vector<std::size_t> RandomOrder(std::size_t count, std::mt19937_64& random)
{
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

template <typename T>
[[nodiscard]] std::vector<T> InOrder(const std::vector<T>& values,
                                     const std::vector<std::size_t>& order)
{
    std::vector<T> result;
    for (const std::size_t index : order)
    {
        if (index < values.size())
        {
            result.push_back(values[index]);
        }
    }
    return result;
}

[[nodiscard]] bool IsCut(Base::CSurfelBitMask word)
{
    return (word.bits & Base::CSurfelBitMask::SurfelFlagCut) != 0;
}

TEST(Metamorphic, PermutedInputsPermuteTheResults)
{
    ForEachRound(1, [](SRound& round) {
        const auto order = RandomOrder(round.collections.size(), round.random);
        EXPECT_EQ(InOrder(Cut(round.selection, round.collections), order),
                  Cut(round.selection, InOrder(round.collections, order)));
    });
}

TEST(Metamorphic, PermutedSurfelsPermuteTheirWords)
{
    ForEachRound(2, [](SRound& round) {
        const auto results = Cut(round.selection, round.collections);
        for (std::size_t index = 0; index < results.size(); ++index)
        {
            SSurfels permuted = round.collections[index];
            const auto order = RandomOrder(permuted.positions.size(), round.random);
            permuted.positions = InOrder(permuted.positions, order);
            permuted.words = InOrder(permuted.words, order);
            if (permuted.scan != nullptr)
            {
                permuted.scan = MakeScan(permuted.positions);
            }
            const auto result = Cut(round.selection, {permuted}).front();
            EXPECT_EQ(result.first, results[index].first);
            EXPECT_EQ(result.second, InOrder(results[index].second, order));
        }
    });
}

TEST(Metamorphic, CuttingTwiceIsCuttingOnce)
{
    ForEachRound(3, [](SRound& round) {
        const auto once = Cut(round.selection, round.collections);
        const auto twice = Cut(round.selection, After(round.collections, once));
        for (std::size_t index = 0; index < once.size(); ++index)
        {
            EXPECT_FALSE(twice[index].first);
            EXPECT_EQ(twice[index].second, once[index].second);
        }
    });
}

TEST(Metamorphic, CutsUniteInAnyOrder)
{
    ForEachRound(4, [](SRound& round) {
        const auto afterFirst = After(round.collections, Cut(round.selection, round.collections));
        const auto afterOther =
            After(round.collections, Cut(round.otherSelection, round.collections));
        const auto firstThenOther = Cut(round.otherSelection, afterFirst);
        const auto otherThenFirst = Cut(round.selection, afterOther);
        for (std::size_t index = 0; index < round.collections.size(); ++index)
        {
            EXPECT_EQ(firstThenOther[index].second, otherThenFirst[index].second);
            for (std::size_t surfel = 0; surfel < afterFirst[index].words.size(); ++surfel)
            {
                EXPECT_EQ(
                    firstThenOther[index].second[surfel].bits,
                    afterFirst[index].words[surfel].bits | afterOther[index].words[surfel].bits);
            }
        }
    });
}

TEST(Metamorphic, MorePaintNeverRestoresASurfel)
{
    ForEachRound(5, [](SRound& round) {
        const Base::SRegionSelectionInfo& selection = *round.selection;
        const std::size_t numPixels = std::size_t{selection.maskWidth} * selection.maskHeight;
        std::vector<std::uint8_t> mask(selection.maskData, selection.maskData + numPixels);
        for (std::size_t pixel = 0; pixel < numPixels; ++pixel)
        {
            mask[pixel] = round.random() % 4 == 0 ? 1 : mask[pixel];
        }
        const auto morePaint = Base::MakeRegionSelection(selection.transform1, selection.transform2,
                                                         selection.transform3, std::move(mask),
                                                         selection.maskWidth, selection.maskHeight);
        const auto less = Cut(round.selection, round.collections);
        const auto more = Cut(morePaint, round.collections);
        for (std::size_t index = 0; index < less.size(); ++index)
        {
            EXPECT_TRUE(more[index].first || !less[index].first);
            for (std::size_t surfel = 0; surfel < less[index].second.size(); ++surfel)
            {
                EXPECT_TRUE(IsCut(more[index].second[surfel]) ||
                            !IsCut(less[index].second[surfel]));
            }
        }
    });
}

TEST(Metamorphic, FreezingTwiceIsFreezingOnce)
{
    // Without paint nothing is cut, and what changes is frozen.
    const CCutWithPixelMaskSyncableEntityCollectionModifyOperation operation(
        ScanAPI::shared_not_null<const Base::SRegionSelectionInfo>(
            Base::MakeRegionSelection({}, {}, {}, {}, 0, 0)),
        c_matIdentityD);
    ForEachRound(6, [&](SRound& round) {
        std::vector<Base::CEntityMapSyncEntry> entries;
        for (const SSurfels& surfels : round.collections)
        {
            Base::CEntityMapValue value;
            value.mask = std::make_shared<const Base::CSurfelCollectionMask>(Words(surfels.words));
            Base::CEntityMapSyncEntry entry{Base::CUniqueID::Nil(), {}};
            entry.value = value;
            entries.push_back(entry);
        }
        const auto once = operation.ComputeModifications(entries);
        for (std::size_t index = 0; index < once.messages.size(); ++index)
        {
            const auto& mask = once.messages[index].GetNewState().mask.GetValue();
            for (std::size_t surfel = 0; surfel < mask->GetBitMasks().size(); ++surfel)
            {
                const std::uint16_t before = round.collections[index].words[surfel].bits;
                EXPECT_EQ(mask->GetBitMasks()[surfel].bits,
                          (before & 0x0007) != 0 ? before | 0x0100 : before);
            }
            entries[index].value.GetValue().mask = mask;
        }
        EXPECT_TRUE(operation.ComputeModifications(entries).messages.empty());
    });
}

}  // namespace
}  // namespace DataLayer
