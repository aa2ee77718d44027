#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/RandomCuts.h"
#include "Tests/Support/ReferenceCut.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using Cutter = CCutPointCloudWithPixelMask;
using TestSupport::SReferenceResult;

std::vector<Cutter::SInputData> ToInputData(const std::vector<SRandomInput>& inputs)
{
    std::vector<Cutter::SInputData> data;
    for (const SRandomInput& input : inputs)
    {
        data.push_back({input.collection, input.bitMasks, input.trafo});
    }
    return data;
}

SReferenceResult Reference(const Base::SRegionSelectionInfo& selection, const SRandomInput& input)
{
    const Geometry::CBox3D& box = input.collection->GetPointCloudSupport()->GetBoundingBox().box;
    return TestSupport::ReferenceCut(selection, input.positions, box.min, box.max, input.bitMasks,
                                     input.trafo);
}

bool ReferenceIntersects(const Base::SRegionSelectionInfo& selection, const SRandomInput& input)
{
    const Geometry::CBox3D& box = input.collection->GetPointCloudSupport()->GetBoundingBox().box;
    return TestSupport::ReferenceIntersectsRegion(selection, box.min, box.max, input.trafo);
}

TEST(CCutPointCloudWithPixelMaskDifferential, SmallCollectionsOfEveryLayoutEqualTheReference)
{
    unsigned numChanged = 0;
    unsigned numIntersecting = 0;
    constexpr unsigned c_numSelections = 1500;
    constexpr unsigned c_numInputs = 4;
    for (std::uint64_t seed = 0; seed < c_numSelections; ++seed)
    {
        CRandomCuts random(seed);
        const auto selection = random.MakeSelection();
        std::vector<SRandomInput> inputs;
        for (unsigned index = 0; index < c_numInputs; ++index)
        {
            inputs.push_back(random.MakeInput(*selection));
        }
        const Cutter cutter(selection);
        Cutter::Results results;
        cutter.Compute(ToInputData(inputs), results);
        for (unsigned index = 0; index < c_numInputs; ++index)
        {
            const SReferenceResult expected = Reference(*selection, inputs[index]);
            ASSERT_EQ(results[index].first, expected.hasChanged) << seed << ", " << index;
            ASSERT_EQ(results[index].second, expected.words) << seed << ", " << index;
            const bool intersects = ReferenceIntersects(*selection, inputs[index]);
            ASSERT_EQ(cutter.IntersectsRegion(inputs[index].trafo, *inputs[index].collection),
                      intersects)
                << seed << ", " << index;
            numChanged += expected.hasChanged ? 1 : 0;
            numIntersecting += intersects ? 1 : 0;
        }
    }
    // The cases are worth nothing if nearly all of them end the same way.
    EXPECT_GT(numChanged, c_numSelections);
    EXPECT_GT(numIntersecting, numChanged);
    EXPECT_LT(numIntersecting, c_numSelections * c_numInputs * 9 / 10);
}

TEST(CCutPointCloudWithPixelMaskDifferential, CollectionsAboutBlockEndsEqualTheReference)
{
    CRandomCuts random(7);
    for (const std::size_t count : {16383U, 16384U, 16385U, 32767U, 32768U, 32769U, 200001U})
    {
        for (const std::size_t stride : {12U, 13U, 16U})
        {
            const auto selection = TestSupport::MakeFullyPaintedDeviceSelection(61, 47);
            const SRandomInput input = random.MakeLargeInput(count, stride);
            Cutter::Results results;
            Cutter(selection).Compute({{input.collection, input.bitMasks, input.trafo}}, results);
            const SReferenceResult expected = Reference(*selection, input);
            EXPECT_EQ(results[0].first, expected.hasChanged) << count << ", " << stride;
            EXPECT_TRUE(results[0].second == expected.words) << count << ", " << stride;
        }
    }
}

TEST(CCutPointCloudWithPixelMaskDifferential, ChangeInAnyBlockIsAChange)
{
    const Cutter cutter(TestSupport::MakeFullyPaintedDeviceSelection(4, 4));
    constexpr std::size_t c_count = 200000;
    for (const std::size_t cutIndex : {0UL, 16383UL, 16384UL, 32768UL, c_count - 1})
    {
        std::vector<LqVector3f> positions(c_count, {-0.9F, 0.9F, 0.5F});
        positions[cutIndex] = {0, 0, 0.5F};
        const auto collection = std::make_shared<TestSupport::CMockSurfelCollection>(positions);
        Cutter::Results results;
        cutter.Compute({{collection, {}, c_matIdentityD}}, results);
        std::vector<Base::CSurfelBitMask> expected(c_count);
        expected[cutIndex].bits = 8;
        EXPECT_TRUE(results[0].first);
        EXPECT_TRUE(results[0].second == expected) << cutIndex;
    }
}

TEST(CCutPointCloudWithPixelMaskDifferential, EveryNumberOfThreadsGivesTheSameBits)
{
    CRandomCuts random(11);
    const Cutter cutter(random.MakeSelection());
    const Cutter device(TestSupport::MakeFullyPaintedDeviceSelection(33, 29));
    std::vector<SRandomInput> inputs;
    for (const std::size_t count : {300000U, 10U, 65537U, 0U, 1000U, 140000U})
    {
        inputs.push_back(random.MakeLargeInput(count, 12));
    }
    const std::vector<Cutter::SInputData> data = ToInputData(inputs);
    const auto computeWith = [&](std::size_t numThreads) {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        std::pair<Cutter::Results, Cutter::Results> results;
        cutter.Compute(data, results.first);
        device.Compute(data, results.second);
        return results;
    };
    const auto serial = computeWith(1);
    EXPECT_TRUE(serial.second[0].first);
    for (const std::size_t numThreads : {2U, 3U, 8U})
    {
        EXPECT_TRUE(computeWith(numThreads) == serial) << numThreads;
    }
}

/// FNV-1a, 64 bits.
class CHash
{
public:
    void Add(std::uint16_t value)
    {
        for (const unsigned byte : {value & 0xFFU, static_cast<unsigned>(value) >> 8})
        {
            m_state = (m_state ^ byte) * 0x100000001B3ULL;
        }
    }
    [[nodiscard]] std::uint64_t Get() const { return m_state; }

private:
    std::uint64_t m_state = 0xCBF29CE484222325ULL;
};

TEST(CCutPointCloudWithPixelMaskDifferential, ResultsAreTheSameBitsInEveryBuild)
{
    CHash hash;
    for (std::uint64_t seed = 100000; seed < 101000; ++seed)
    {
        CRandomCuts random(seed);
        const auto selection = random.MakeSelection();
        const std::vector<SRandomInput> inputs{random.MakeInput(*selection),
                                               random.MakeInput(*selection)};
        Cutter::Results results;
        Cutter(selection).Compute(ToInputData(inputs), results);
        for (const auto& [hasChanged, words] : results)
        {
            hash.Add(hasChanged ? 1 : 0);
            hash.Add(static_cast<std::uint16_t>(words.size()));
            for (const Base::CSurfelBitMask word : words)
            {
                hash.Add(word.bits);
            }
        }
    }
    // Whatever compiler, optimisation, processor and number of threads: a change of this number is
    // a change of what people's scans look like after a cut.
    EXPECT_EQ(hash.Get(), 0xF67F77B7C2318C0CULL) << std::hex << hash.Get();
}

}  // namespace

}  // namespace DataLayer
