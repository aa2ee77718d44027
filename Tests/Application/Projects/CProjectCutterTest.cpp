#include "Application/Projects/CProjectCutter.h"

#include <gmock/gmock.h>

#include <random>
#include <sstream>

#include "Application/Projects/Stations.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Tests/Support/Selections.h"

namespace
{

using Application::CProjectCutter;
using Application::CSurfelCutter;
using Application::SCutRegion;
using Application::SStation;
using TestSupport::SPixel;
using Reach = CSurfelCutter::Reach;
using Side = CSurfelCutter::Side;
using Words = std::vector<Base::CSurfelBitMask>;

constexpr std::uint32_t c_size = 8;

SStation MakeStation(const std::vector<LqVector3f>& points, Words flags = {})
{
    std::ostringstream text;
    text.precision(9);
    text << "ply\nformat ascii 1.0\nelement vertex " << points.size()
         << "\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
    for (const LqVector3f& point : points)
    {
        text << point.x << ' ' << point.y << ' ' << point.z << '\n';
    }
    const auto owned = std::make_shared<std::string>(text.str());
    return Application::MakeStation(
        Application::CScanFile::Parse({"scan.ply", std::as_bytes(std::span(*owned)), owned}),
        std::move(flags));
}

SStation MakeSkeleton(SStation station)
{
    station.entity = std::make_shared<const Application::CScanEntity>(
        Base::CEntityID(), station.scan.GetSurfelCollection(), true);
    return station;
}

LqVector3f AtPixel(std::uint32_t column, std::uint32_t row)
{
    const auto device = [](std::uint32_t index) {
        return static_cast<float>(index) / (c_size / 2.0F) - 1.0F;
    };
    return {device(column), -device(row), 0.5F};
}

SCutRegion Paint(const std::vector<SPixel>& pixels)
{
    return {TestSupport::MakeDeviceSelection(c_size, c_size, pixels), c_matIdentityD};
}

Words WordsOf(const CProjectCutter::SResult& result)
{
    return result.mask ? result.mask->GetBitMasks() : Words();
}

std::vector<CProjectCutter::SResult> Cut(const std::vector<SCutRegion>& regions,
                                         const std::vector<SStation>& stations,
                                         Side side = Side::Painted, Reach reach = Reach::FrontOfEye)
{
    return CProjectCutter(regions, reach, side).Apply(stations);
}

TEST(CProjectCutterTest, Apply_CutsEveryScanWithOneStroke)
{
    SStation moved = MakeStation({AtPixel(0, 0), AtPixel(4, 4)});
    const LqVector3f shift = AtPixel(2, 2);
    moved.trafo = TestSupport::MakeTranslation(shift.x + 1.0, shift.y - 1.0, 0.0);
    const auto results =
        Cut({Paint({{2, 2}})}, {MakeStation({AtPixel(2, 2), AtPixel(5, 5)}), moved});
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(WordsOf(results[0]), (Words{{8}, {0}}));
    EXPECT_EQ(WordsOf(results[1]), (Words{{8}, {0}}));
    EXPECT_EQ(results[0].numNewlyCut, 1U);
}

TEST(CProjectCutterTest, Apply_AScanThatDoesNotChangeHasNoNewMask)
{
    const auto results = Cut(
        {Paint({{2, 2}})}, {MakeStation({AtPixel(2, 2)}), MakeStation({AtPixel(5, 5)}, {{0x10}})});
    EXPECT_NE(results[0].mask, nullptr);
    EXPECT_EQ(results[1].mask, nullptr);
    EXPECT_EQ(results[1].numNewlyCut, 0U);
}

TEST(CProjectCutterTest, Apply_SeveralRegionsFormTheirUnion)
{
    const auto results = Cut({Paint({{2, 2}}), Paint({{2, 2}, {4, 4}})},
                             {MakeStation({AtPixel(2, 2), AtPixel(4, 4), AtPixel(5, 5)})});
    EXPECT_EQ(WordsOf(results[0]), (Words{{8}, {8}, {0}}));
    EXPECT_EQ(results[0].numNewlyCut, 2U);
}

TEST(CProjectCutterTest, Apply_LeavesASkeletonWholeOnBothSides)
{
    const std::vector<SStation> stations{MakeSkeleton(MakeStation({AtPixel(2, 2), AtPixel(5, 5)}))};
    EXPECT_EQ(Cut({Paint({{2, 2}})}, stations)[0].mask, nullptr);
    EXPECT_EQ(Cut({Paint({{2, 2}})}, stations, Side::Unpainted)[0].mask, nullptr);
}

TEST(CProjectCutterTest, Apply_FreezesOutliersOfAllScans)
{
    const auto results =
        Cut({Paint({{2, 2}})},
            {MakeSkeleton(MakeStation({AtPixel(2, 2), AtPixel(5, 5)}, {{0x0002}, {0x0000}}))});
    EXPECT_EQ(WordsOf(results[0]), (Words{{0x0102}, {0}}));
    EXPECT_EQ(results[0].numNewlyCut, 0U);
    EXPECT_EQ(results[0].numNewlyFrozen, 1U);
}

TEST(CProjectCutterTest, Apply_UnpaintedCutsTheRestAndKeepsOlderCuts)
{
    const auto results =
        Cut({Paint({{2, 2}})},
            {MakeStation({AtPixel(2, 2), AtPixel(2, 2), AtPixel(5, 5)}, {{0x0008}, {0x0010}, {0}}),
             MakeStation({AtPixel(6, 6)})},
            Side::Unpainted);
    EXPECT_EQ(WordsOf(results[0]), (Words{{0x0008}, {0x0010}, {0x0008}}));
    EXPECT_EQ(WordsOf(results[1]), (Words{{0x0008}}));
    EXPECT_EQ(results[0].numNewlyCut, 1U);
}

TEST(CProjectCutterTest, Apply_LeavesTheStationsAlone)
{
    const std::vector<SStation> stations{MakeStation({AtPixel(2, 2)}, {{0x0010}})};
    (void)Cut({Paint({{2, 2}})}, stations);
    EXPECT_EQ(stations[0].GetFlags(), (Words{{0x0010}}));
}

/// Random points all around the eye, cut with random paint: the project's way through the operation
/// and the single scan's way answer the same to the last bit.
TEST(CProjectCutterTest, Apply_AnswersLikeTheCutterOfASingleScan)
{
    std::mt19937 random(20240521);
    std::uniform_real_distribution<float> coordinate(-20.0F, 20.0F);
    const LqMatrix4Rf projection(TestSupport::MakePerspective(1.0, 1.0, 0.5, 100.0));
    int numCut = 0;
    for (int run = 0; run < 60; ++run)
    {
        std::vector<SStation> stations;
        for (int scan = 0; scan < 3; ++scan)
        {
            std::vector<LqVector3f> points(50);
            for (LqVector3f& point : points)
            {
                point = {coordinate(random), coordinate(random), coordinate(random)};
            }
            Words flags(points.size());
            for (Base::CSurfelBitMask& word : flags)
            {
                word.bits = static_cast<std::uint16_t>(random() & 0x0118U);
            }
            stations.push_back(MakeStation(points, flags));
            stations.back().trafo =
                TestSupport::MakeTranslation(coordinate(random), 0.5, coordinate(random));
        }
        std::vector<SPixel> painted;
        for (int pixel = 0; pixel < 1 + run % 20; ++pixel)
        {
            painted.push_back({static_cast<std::uint32_t>(random() % 8),
                               static_cast<std::uint32_t>(random() % 8)});
        }
        const auto selection = Base::MakeRegionSelection(
            TestSupport::MakeIdentity(), projection, TestSupport::MakeIdentity(),
            TestSupport::MakeMask(8, 8, painted), 8, 8);
        const Reach reach = run % 2 == 0 ? Reach::FrontOfEye : Reach::ThroughEye;
        const Side side = run % 3 == 0 ? Side::Unpainted : Side::Painted;
        const LqMatrix4Rd toView = TestSupport::MakeTranslation(0.25, 0.0, 0.0);

        const auto results = Cut({{selection, toView}}, stations, side, reach);
        for (std::size_t scan = 0; scan < stations.size(); ++scan)
        {
            const CSurfelCutter cutter({{selection, stations[scan].trafo * toView}}, reach, side);
            const CSurfelCutter::SResult expected =
                cutter.Apply(stations[scan].scan.GetSurfelCollection(), stations[scan].GetFlags(),
                             CSurfelCutter::Answer::Flags);
            EXPECT_EQ(results[scan].mask ? WordsOf(results[scan]) : stations[scan].GetFlags(),
                      Words(expected.flags.begin(), expected.flags.end()));
            EXPECT_EQ(results[scan].numNewlyCut, expected.numNewlyCut);
            numCut += static_cast<int>(expected.numNewlyCut);
        }
    }
    EXPECT_GT(numCut, 100);
}

TEST(CProjectCutterTest, Apply_NoScansAnswerNothing)
{
    EXPECT_TRUE(Cut({Paint({{2, 2}})}, {}).empty());
}

}  // namespace
