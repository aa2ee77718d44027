#include "DataLayer/PointCloud/ISurfelRuns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <random>
#include <span>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/PointCloud/CForeignCollection.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/CLastBytes.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CSurfelCollectionMinimal;
using DataLayer::CSurfelCollectionView;
using DataLayer::ISurfelRuns;
using DataLayer::SSurfelRun;
using DataLayer::SSurfelRuns;

std::shared_ptr<const ISurfelRuns> GetInterface(const Base::ISurfelCollection& collection)
{
    return std::dynamic_pointer_cast<const ISurfelRuns>(collection.GetPointCloudSupport());
}

/// What the second call of a collection that nobody has asked yet finds. The support is kept alive
/// by the collection.
const SSurfelRuns& FindRuns(const Base::ISurfelCollection& collection)
{
    EXPECT_EQ(GetInterface(collection)->FindSurfelRuns(), nullptr);
    const SSurfelRuns* const runs = GetInterface(collection)->FindSurfelRuns();
    EXPECT_NE(runs, nullptr);
    return *runs;
}

/// Positions \p stride bytes apart in memory that ends with the last one; between them lie NaN or
/// infinite floats.
class CScatteredPositions
{
public:
    CScatteredPositions(const std::vector<LqVector3f>& positions, std::size_t stride)
        : m_stride(stride), m_memory(positions.empty() ? 0 : (positions.size() - 1) * stride + 12)
    {
        const std::span<std::byte> bytes = m_memory.Get();
        const float filling[] = {c_nan, c_infinity, -c_infinity};
        for (std::size_t offset = 0; offset + sizeof(float) <= bytes.size(); ++offset)
        {
            std::memcpy(bytes.data() + offset, &filling[offset % 3], sizeof(float));
        }
        for (std::size_t index = 0; index < positions.size(); ++index)
        {
            std::memcpy(bytes.data() + index * stride, &positions[index], sizeof(LqVector3f));
        }
    }

    [[nodiscard]] std::unique_ptr<CSurfelCollectionView> View(std::size_t count) const
    {
        return std::make_unique<CSurfelCollectionView>(nullptr, count, m_memory.Get().data(),
                                                       m_stride);
    }

private:
    std::size_t m_stride;
    TestSupport::CLastBytes m_memory;
};

SSurfelRun BoundPlainly(const Base::ISurfelCollection& collection, std::size_t begin,
                        std::size_t end)
{
    SSurfelRun run;
    for (std::size_t index = begin; index < end; ++index)
    {
        const LqVector3f position = collection.GetPositions().At(index);
        if (std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z))
        {
            run.box.Extend(position);
        }
        else
        {
            run.isFinite = false;
        }
    }
    return run;
}

void ExpectPlainBounds(const Base::ISurfelCollection& collection, const SSurfelRuns& runs)
{
    const std::size_t count = collection.GetCount();
    ASSERT_EQ(runs.runs.size(), (count + 255) / 256);
    ASSERT_EQ(runs.groups.size(), (count + 4095) / 4096);
    for (std::size_t run = 0; run < runs.runs.size(); ++run)
    {
        const SSurfelRun expected =
            BoundPlainly(collection, run * 256, std::min(run * 256 + 256, count));
        ASSERT_EQ(runs.runs[run].box, expected.box) << run;
        ASSERT_EQ(runs.runs[run].isFinite, expected.isFinite) << run;
    }
    for (std::size_t group = 0; group < runs.groups.size(); ++group)
    {
        const SSurfelRun expected =
            BoundPlainly(collection, group * 4096, std::min(group * 4096 + 4096, count));
        ASSERT_EQ(runs.groups[group].whole.box, expected.box) << group;
        ASSERT_EQ(runs.groups[group].whole.isFinite, expected.isFinite) << group;
    }
}

/// A line of a scan: neighbours in memory are neighbours in space.
std::vector<LqVector3f> MakeLine(std::size_t count)
{
    std::vector<LqVector3f> positions(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        positions[index] = {0.01F * static_cast<float>(index), 1.0F, -2.0F};
    }
    return positions;
}

TEST(ISurfelRuns, RunsAndGroupsWithoutSurfels_AreEmptyAndNotToBeAskedFurther)
{
    EXPECT_TRUE(SSurfelRun().box.IsEmpty());
    EXPECT_TRUE(SSurfelRun().isFinite);
    EXPECT_TRUE(DataLayer::SSurfelRunGroup().whole.box.IsEmpty());
    EXPECT_FALSE(DataLayer::SSurfelRunGroup().hasSmallRuns);
}

TEST(ISurfelRuns, FindSurfelRuns_FirstCallFindsNone)
{
    const auto cloud = MakeCollection<CSurfelCollectionMinimal>(1000);
    EXPECT_EQ(GetInterface(*cloud)->FindSurfelRuns(), nullptr);
}

TEST(ISurfelRuns, FindSurfelRuns_LaterCallsFindTheSame)
{
    const auto cloud = MakeCollection<CSurfelCollectionMinimal>(1000);
    const SSurfelRuns& runs = FindRuns(*cloud);
    EXPECT_EQ(GetInterface(*cloud)->FindSurfelRuns(), &runs);
    EXPECT_EQ(GetInterface(*cloud)->FindSurfelRuns(), &runs);
}

TEST(ISurfelRuns, FindSurfelRuns_EveryKindOfCollectionHasThem)
{
    const auto foreign = std::make_unique<CForeignCollection>(std::vector<LqVector3f>(3),
                                                              std::vector<LqVector3f>(3));
    EXPECT_EQ(GetInterface(*foreign), nullptr);
    EXPECT_NE(GetInterface(*MakeCollection<DataLayer::CSurfelCollectionMinimal>(3)), nullptr);
    EXPECT_NE(GetInterface(*MakeCollection<DataLayer::CSurfelCollectionPosition>(3)), nullptr);
    EXPECT_NE(GetInterface(*MakeCollection<DataLayer::CSurfelCollectionPositionNormal>(3)),
              nullptr);
    EXPECT_NE(GetInterface(CSurfelCollectionView(nullptr, 0, nullptr, 12)), nullptr);
}

TEST(ISurfelRuns, FindSurfelRuns_OfNoSurfelsAreNone)
{
    const CSurfelCollectionMinimal cloud;
    const SSurfelRuns& runs = FindRuns(cloud);
    EXPECT_TRUE(runs.runs.empty());
    EXPECT_TRUE(runs.groups.empty());
}

TEST(ISurfelRuns, FindSurfelRuns_BoxesAreThoseOfAPlainLoopForEveryLayoutAndEnd)
{
    std::mt19937 random(5);
    for (const std::size_t stride : {0U, 1U, 3U, 4U, 5U, 8U, 11U, 12U, 13U, 16U, 40U})
    {
        for (const std::size_t count :
             {1U, 2U, 255U, 256U, 257U, 4095U, 4096U, 4097U, 65536U + 4096U + 300U})
        {
            std::vector<LqVector3f> positions(count);
            for (LqVector3f& position : positions)
            {
                for (float* const coordinate : {&position.x, &position.y, &position.z})
                {
                    // Overlapping positions become floats of any kind; one in 4096 is not finite.
                    *coordinate = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
                }
            }
            const CScatteredPositions memory(positions, stride);
            const auto view = memory.View(count);
            ExpectPlainBounds(*view, FindRuns(*view));
        }
    }
}

TEST(ISurfelRuns, FindSurfelRuns_PositionThatIsNotFiniteIsLeftOutAndTold)
{
    for (const float value : {c_nan, c_infinity, -c_infinity})
    {
        // Four positions at a time are looked at together.
        for (const std::size_t index : {0U, 1U, 2U, 3U, 255U, 256U, 700U, 999U})
        {
            for (float LqVector3f::*const coordinate :
                 {&LqVector3f::x, &LqVector3f::y, &LqVector3f::z})
            {
                std::vector<LqVector3f> positions = MakeLine(1000);
                positions[index] = {1e6F, 1e6F, 1e6F};
                positions[index].*coordinate = value;
                const CScatteredPositions memory(positions, 12);
                const auto view = memory.View(1000);
                const SSurfelRuns& runs = FindRuns(*view);
                ExpectPlainBounds(*view, runs);
                EXPECT_FALSE(runs.runs[index / 256].isFinite);
                EXPECT_TRUE(runs.runs[(index / 256 + 1) % 4].isFinite);
                EXPECT_LE(runs.groups[0].whole.box.max.x, 10.0F);
            }
        }
    }
}

/// The bounds of positions whose coordinates are all \p other but for two zeros in those
/// \p coordinates, the first of which has the sign of \p first.
void ExpectFirstZero(const std::vector<float LqVector3f::*>& coordinates, float other, float first)
{
    std::vector<LqVector3f> positions(300, LqVector3f{other, other, other});
    for (float LqVector3f::*const coordinate : coordinates)
    {
        positions[5].*coordinate = first;
        positions[8].*coordinate = -first;
    }
    const CScatteredPositions memory(positions, 12);
    const auto view = memory.View(300);
    const Geometry::CBox3D& box = FindRuns(*view).runs[0].box;
    for (float LqVector3f::*const coordinate : coordinates)
    {
        const float bound = (other > 0.0F ? box.min : box.max).*coordinate;
        EXPECT_EQ(std::signbit(bound), std::signbit(first));
    }
}

TEST(ISurfelRuns, FindSurfelRuns_FirstZeroOfTwoSignsIsTheBoundOfOneOrAllCoordinates)
{
    using Coordinates = std::vector<float LqVector3f::*>;
    const Coordinates all{&LqVector3f::x, &LqVector3f::y, &LqVector3f::z};
    for (const float other : {1.0F, -1.0F})
    {
        for (const float first : {0.0F, -0.0F})
        {
            for (float LqVector3f::*const coordinate : all)
            {
                ExpectFirstZero({coordinate}, other, first);
            }
            ExpectFirstZero(all, other, first);
        }
    }
}

TEST(ISurfelRuns, FindSurfelRuns_FirstZeroOfTwoSignsIsTheBound)
{
    for (const std::size_t stride : {12U, 16U})
    {
        for (const float first : {0.0F, -0.0F})
        {
            std::vector<LqVector3f> positions(300, LqVector3f{1.0F, 2.0F, -3.0F});
            positions[5] = {first, first, first};
            positions[8] = {-first, -first, -first};
            const CScatteredPositions memory(positions, stride);
            const auto view = memory.View(300);
            const Geometry::CBox3D& box = FindRuns(*view).runs[0].box;
            EXPECT_EQ(std::signbit(box.min.x), std::signbit(first));
            EXPECT_EQ(std::signbit(box.min.y), std::signbit(first));
            EXPECT_EQ(std::signbit(box.max.z), std::signbit(first));
        }
    }
}

TEST(ISurfelRuns, FindSurfelRuns_RunWithoutAFinitePositionIsEmpty)
{
    std::vector<LqVector3f> positions = MakeLine(600);
    std::fill(positions.begin() + 256, positions.begin() + 512, LqVector3f{c_nan, 0.0F, 0.0F});
    const CScatteredPositions memory(positions, 12);
    const auto view = memory.View(600);
    const SSurfelRuns& runs = FindRuns(*view);
    EXPECT_EQ(runs.runs[1].box, Geometry::CBox3D());
    EXPECT_FALSE(runs.runs[1].isFinite);
    EXPECT_EQ(runs.groups[0].whole.box.max.x, positions[599].x);
}

TEST(ISurfelRuns, FindSurfelRuns_ScanOrderHasSmallRunsAndShuffledOrderHasNot)
{
    std::vector<LqVector3f> positions = MakeLine(3 * 4096);
    {
        const CScatteredPositions memory(positions, 12);
        const auto view = memory.View(positions.size());
        for (const auto& group : FindRuns(*view).groups)
        {
            EXPECT_TRUE(group.hasSmallRuns);
        }
    }
    std::shuffle(positions.begin(), positions.end(), std::mt19937(1));
    const CScatteredPositions memory(positions, 12);
    const auto view = memory.View(positions.size());
    for (const auto& group : FindRuns(*view).groups)
    {
        EXPECT_FALSE(group.hasSmallRuns);
    }
}

/// Whether a group of two runs has small ones, which reach from one corner to the other each.
bool HasSmallRuns(const LqVector3f (&first)[2], const LqVector3f (&second)[2])
{
    std::vector<LqVector3f> positions(512, first[0]);
    positions[100] = first[1];
    std::fill(positions.begin() + 256, positions.end(), second[0]);
    positions[300] = second[1];
    const CScatteredPositions memory(positions, 12);
    return FindRuns(*memory.View(positions.size())).groups[0].hasSmallRuns;
}

TEST(ISurfelRuns, FindSurfelRuns_RunsOfThreeQuartersOfTheirGroupAreNotSmall)
{
    EXPECT_FALSE(HasSmallRuns({{10, 5, 7}, {13, 5, 7}}, {{11, 5, 7}, {14, 5, 7}}));
    EXPECT_FALSE(HasSmallRuns({{5, 10, 7}, {5, 13, 7}}, {{5, 11, 7}, {5, 14, 7}}));
    EXPECT_FALSE(HasSmallRuns({{5, 7, 10}, {5, 7, 13}}, {{5, 7, 11}, {5, 7, 14}}));
    EXPECT_FALSE(HasSmallRuns({{10, 10, 10}, {12, 13, 14}}, {{12, 11, 10}, {14, 14, 14}}));

    EXPECT_TRUE(HasSmallRuns({{10, 5, 7}, {13, 5, 7}}, {{11.25F, 5, 7}, {14, 5, 7}}));
    EXPECT_TRUE(HasSmallRuns({{5, 10, 7}, {5, 13, 7}}, {{5, 11.25F, 7}, {5, 14, 7}}));
    EXPECT_TRUE(HasSmallRuns({{5, 7, 10}, {5, 7, 13}}, {{5, 7, 11.25F}, {5, 7, 14}}));
    EXPECT_TRUE(HasSmallRuns({{10, 10, 10}, {12, 13, 14}}, {{12, 11.25F, 10}, {14, 14, 14}}));
}

TEST(ISurfelRuns, FindSurfelRuns_RunWithoutAFinitePositionHasNoSize)
{
    EXPECT_TRUE(HasSmallRuns({{c_nan, 0, 0}, {c_nan, 0, 0}}, {{1, 5, 7}, {3, 5, 7}}));
    EXPECT_FALSE(HasSmallRuns({{c_nan, 0, 0}, {c_nan, 0, 0}}, {{1, 5, 7}, {1, 5, 7}}));
}

TEST(ISurfelRuns, FindSurfelRuns_ChangedCollectionHasNewOnes)
{
    const auto cloud = MakeCollection<CSurfelCollectionMinimal>(1000);
    ExpectPlainBounds(*cloud, FindRuns(*cloud));

    cloud->AddSurfelNoReset({{-7e6F, 0.0F, 0.0F}, 0});
    ExpectPlainBounds(*cloud, FindRuns(*cloud));

    cloud->Append(*MakeCollection<CSurfelCollectionMinimal>(300), c_matIdentityD);
    ExpectPlainBounds(*cloud, FindRuns(*cloud));

    Base::ISurfelCollection::IndexPairs pairs;
    pairs.emplace_back(7, 900);
    cloud->ScatterCopy(*MakeCollection<CSurfelCollectionMinimal>(300), pairs, c_matIdentityD);
    ExpectPlainBounds(*cloud, FindRuns(*cloud));

    cloud->ForceUpdate();
    ExpectPlainBounds(*cloud, FindRuns(*cloud));
}

TEST(ISurfelRuns, FindSurfelRuns_ConcurrentCallersFindNoneOrTheSame)
{
    const auto cloud = MakeCollection<CSurfelCollectionMinimal>(c_manySurfels);
    std::vector<const SSurfelRuns*> found(TestSupport::c_numCallers);
    TestSupport::RunCallers([&](std::size_t caller) {
        const auto support = cloud->GetPointCloudSupport();
        const auto& runs = dynamic_cast<const ISurfelRuns&>(*support);
        static_cast<void>(runs.FindSurfelRuns());
        found[caller] = runs.FindSurfelRuns();
    });
    const SSurfelRuns* const runs = GetInterface(*cloud)->FindSurfelRuns();
    ASSERT_NE(runs, nullptr);
    ExpectPlainBounds(*cloud, *runs);
    for (const SSurfelRuns* const result : found)
    {
        EXPECT_TRUE(result == nullptr || result == runs);
    }
}

}  // namespace

}  // namespace DataLayerTest
