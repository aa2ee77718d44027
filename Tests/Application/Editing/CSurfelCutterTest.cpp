#include "Application/Editing/CSurfelCutter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace
{

using Application::CSurfelCutter;
using Application::SCutRegion;
using TestSupport::CMockSurfelCollection;
using TestSupport::SPixel;
using Answer = CSurfelCutter::Answer;
using Reach = CSurfelCutter::Reach;
using Side = CSurfelCutter::Side;
using Words = std::vector<Base::CSurfelBitMask>;

constexpr std::uint32_t c_size = 8;

std::shared_ptr<const CMockSurfelCollection> MakeScan(const std::vector<LqVector3f>& positions)
{
    return std::make_shared<CMockSurfelCollection>(positions);
}

/// The upper left corner of a pixel of a c_size x c_size view whose device coordinates are world
/// coordinates; the bounds of the paint reach no further than there.
LqVector3f AtPixel(std::uint32_t column, std::uint32_t row)
{
    const auto device = [](std::uint32_t index) {
        return static_cast<float>(index) / (c_size / 2.0F) - 1.0F;
    };
    return {device(column), -device(row), 0.5F};
}

SCutRegion PaintDevicePixels(const std::vector<SPixel>& pixels)
{
    return {TestSupport::MakeDeviceSelection(c_size, c_size, pixels), c_matIdentityD};
}

/// A view from the origin along -z with a right angle from edge to edge.
SCutRegion LookFromOrigin(std::vector<std::uint8_t> mask, std::uint32_t size)
{
    const LqMatrix4Rf projection(TestSupport::MakePerspective(1.0, 1.0, 0.5, 100.0));
    return {Base::MakeRegionSelection(TestSupport::MakeIdentity(), projection,
                                      TestSupport::MakeIdentity(), std::move(mask), size, size),
            c_matIdentityD};
}

SCutRegion LookFromOrigin(std::uint32_t size, const std::vector<SPixel>& painted)
{
    return LookFromOrigin(TestSupport::MakeMask(size, size, painted), size);
}

/// Gives \p flags what the cut gives, and returns how many surfels are newly cut.
std::uint64_t Apply(const CSurfelCutter& cutter,
                    const std::shared_ptr<const Base::ISurfelCollection>& scan, Words& flags)
{
    const CSurfelCutter::SResult result = cutter.Apply(scan, flags, Answer::Flags);
    const CSurfelCutter::SResult counts = cutter.Apply(scan, flags, Answer::Counts);
    EXPECT_EQ(counts.numKept, result.numKept);
    EXPECT_EQ(counts.numNewlyCut, result.numNewlyCut);
    EXPECT_FALSE(counts.kept.has_value());
    flags.assign(result.flags.begin(), result.flags.end());
    const Application::CKeptPoints kept(flags);
    const Application::CKeptPoints& answered = result.kept.value();
    EXPECT_EQ(answered.GetWordCount(), flags.size());
    EXPECT_EQ(result.numKept, kept.CountKept(flags.size()));
    for (std::uint64_t group = 0; group * kept.c_groupSize < flags.size(); ++group)
    {
        EXPECT_EQ(answered.GetGroup(group), kept.GetGroup(group)) << group;
    }
    return result.numNewlyCut;
}

std::vector<unsigned> ToBits(const Words& words)
{
    std::vector<unsigned> bits;
    for (const Base::CSurfelBitMask& word : words)
    {
        bits.push_back(word.bits);
    }
    return bits;
}

/// Corners of a cube around the origin, so that the bounding box reaches behind the eye there; none
/// of them lies in a view from there along -z with a right angle of view.
std::vector<LqVector3f> SurroundOrigin()
{
    return {{-30.0F, -30.0F, -20.0F},
            {30.0F, 30.0F, -20.0F},
            {-30.0F, 30.0F, 20.0F},
            {30.0F, -30.0F, 20.0F}};
}

TEST(CSurfelCutterTest, Apply_CutsUnderThePaintAndCounts)
{
    const auto scan = MakeScan({AtPixel(2, 3), AtPixel(3, 3), AtPixel(2, 3)});
    Words flags;
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 2U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 0, 8}));
}

TEST(CSurfelCutterTest, Apply_KeepsOtherBitsAndDoesNotCountOlderCuts)
{
    const auto scan = MakeScan({AtPixel(2, 3), AtPixel(2, 3), AtPixel(3, 3)});
    Words flags{{0x0102}, {0x0018}, {0x0009}};
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 1U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{0x010A, 0x0018, 0x0009}));
}

TEST(CSurfelCutterTest, Apply_ThroughEyeCountsOnlyNewCuts)
{
    const auto scan = MakeScan({AtPixel(2, 3), AtPixel(2, 3), AtPixel(3, 3)});
    Words flags{{0}, {8}, {8}};
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::ThroughEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 1U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 8, 8}));
}

TEST(CSurfelCutterTest, Apply_SeveralRegionsFormTheirUnionAndCountASurfelOnce)
{
    const auto scan = MakeScan({AtPixel(2, 3), AtPixel(4, 4), AtPixel(5, 5)});
    Words flags;
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}}), PaintDevicePixels({{4, 4}, {2, 3}})},
                               Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 2U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 8, 0}));
}

TEST(CSurfelCutterTest, Apply_WithoutRegionsCutsNothingAndMakesFlags)
{
    Words flags;
    const CSurfelCutter cutter({}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, MakeScan({AtPixel(2, 3)}), flags), 0U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{0}));
}

TEST(CSurfelCutterTest, Apply_EmptyScanHasNothingToCut)
{
    for (const Reach reach : {Reach::FrontOfEye, Reach::ThroughEye})
    {
        Words flags;
        const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, reach, Side::Unpainted);
        EXPECT_EQ(Apply(cutter, MakeScan({}), flags), 0U);
        EXPECT_TRUE(flags.empty());
    }
}

TEST(CSurfelCutterTest, Apply_KeptPointsAloneAreTheSameWithoutWords)
{
    std::vector<LqVector3f> positions(20000, AtPixel(3, 3));
    positions[70] = positions[19999] = AtPixel(2, 3);
    Words flags(positions.size());
    flags[71].bits = 8;
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::FrontOfEye, Side::Painted);
    const CSurfelCutter::SResult result =
        cutter.Apply(MakeScan(positions), flags, Answer::KeptPoints);
    EXPECT_TRUE(result.flags.empty());
    EXPECT_EQ(result.numNewlyCut, 2U);
    const Application::CKeptPoints& kept = result.kept.value();
    EXPECT_EQ(kept.CountKept(positions.size()), positions.size() - 3);
    EXPECT_FALSE(kept.IsKept(70));
    EXPECT_FALSE(kept.IsKept(71));
    EXPECT_FALSE(kept.IsKept(19999));
}

TEST(CSurfelCutterTest, Apply_UnpaintedCutsTheOthers)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto scan = MakeScan({AtPixel(2, 3), AtPixel(3, 3), {nan, nan, nan}});
    Words flags{{0x0100}, {0x0100}, {0}};
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::FrontOfEye, Side::Unpainted);
    EXPECT_EQ(Apply(cutter, scan, flags), 2U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{0x0100, 0x0108, 8}));
}

TEST(CSurfelCutterTest, Apply_UnpaintedLeavesOlderCutsCutUnderThePaintToo)
{
    const auto scan = MakeScan({AtPixel(2, 3), AtPixel(3, 3)});
    Words flags{{8}, {8}};
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::FrontOfEye, Side::Unpainted);
    EXPECT_EQ(Apply(cutter, scan, flags), 0U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 8}));
}

TEST(CSurfelCutterTest, Apply_UnpaintedTellsOlderCutsApartAcrossManyBlocks)
{
    std::vector<LqVector3f> positions(200000, AtPixel(3, 3));
    positions[131071] = AtPixel(2, 3);
    Words flags(positions.size());
    flags[63].bits = flags[65536].bits = flags[199999].bits = 8;
    const CSurfelCutter cutter({PaintDevicePixels({{2, 3}})}, Reach::FrontOfEye, Side::Unpainted);
    EXPECT_EQ(Apply(cutter, MakeScan(positions), flags), 200000U - 4U);
    EXPECT_EQ(flags[131071].bits, 0);
    EXPECT_EQ(flags[199999].bits, 8);
}

TEST(CSurfelCutterTest, Apply_FlagsOfAnotherLengthAreRefused)
{
    Words flags(2);
    const CSurfelCutter cutter({}, Reach::FrontOfEye, Side::Painted);
    EXPECT_THROW((void)Apply(cutter, MakeScan({AtPixel(2, 3)}), flags), std::invalid_argument);
}

TEST(CSurfelCutterTest, Apply_ScanOfTooManySurfelsIsRefused)
{
    const auto scan = std::make_shared<CMockSurfelCollection>();
    scan->SetCount(std::uint64_t{1} << 32);
    Words flags;
    const CSurfelCutter cutter({}, Reach::FrontOfEye, Side::Painted);
    EXPECT_THROW((void)Apply(cutter, scan, flags), std::length_error);
}

// Both surfels project to pixel (5, 4): one in front of the eye, its mirror image behind it.
TEST(CSurfelCutterTest, Apply_FrontOfEyeLeavesWhatLiesBehind)
{
    const auto scan = MakeScan({{3.75F, -1.25F, -10.0F}, {-3.75F, 1.25F, 10.0F}});
    Words flags;
    const CSurfelCutter cutter({LookFromOrigin(c_size, {{5, 4}})}, Reach::FrontOfEye,
                               Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 1U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 0}));
}

TEST(CSurfelCutterTest, Apply_ThroughEyeCutsWhatLandsOnThePaintFromBehind)
{
    auto scan = std::make_shared<CMockSurfelCollection>(
        std::vector<LqVector3f>{{3.75F, -1.25F, -10.0F}, {-3.75F, 1.25F, 10.0F}});
    // A box that passes the test, so that the positions are looked at.
    scan->SetBoundingBox({-50.0F, -50.0F, -10.0F}, {50.0F, 50.0F, -1.0F});
    Words flags;
    const CSurfelCutter cutter({LookFromOrigin(c_size, {{5, 4}})}, Reach::ThroughEye,
                               Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 2U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 8}));
}

TEST(CSurfelCutterTest, Apply_BehindTheEyeOlderCutsAreNotTakenBack)
{
    const auto scan = MakeScan({{3.75F, -1.25F, -10.0F}, {-3.75F, 1.25F, 10.0F}});
    Words flags{{0}, {8}};
    const CSurfelCutter cutter({LookFromOrigin(c_size, {{5, 4}})}, Reach::FrontOfEye,
                               Side::Painted);
    EXPECT_EQ(Apply(cutter, scan, flags), 1U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{8, 8}));
}

/// A scan around the eye that the library rejects by its projected bounding box.
struct SRejectedScan
{
    SCutRegion region = LookFromOrigin(c_size, {{5, 4}});
    std::shared_ptr<CMockSurfelCollection> scan;

    explicit SRejectedScan(const LqVector3f& underThePaint)
    {
        std::vector<LqVector3f> positions = SurroundOrigin();
        positions.push_back(underThePaint);
        scan = std::make_shared<CMockSurfelCollection>(positions);
        // Its corners project to the corners of a small square in the middle of the picture.
        scan->SetBoundingBox({-30.0F, -30.0F, -1000.0F}, {30.0F, 30.0F, 1000.0F});
        const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
        EXPECT_FALSE(cutter.IntersectsRegion(region.trafo, *scan));
    }
};

TEST(CSurfelCutterTest, Apply_FrontOfEyeCutsAScanThatSurroundsTheEye)
{
    const SRejectedScan rejected({3.75F, -1.25F, -10.0F});
    Words flags;
    const CSurfelCutter cutter({rejected.region}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, rejected.scan, flags), 1U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>{0, 0, 0, 0, 8}));
}

TEST(CSurfelCutterTest, Apply_ThroughEyeMissesAScanThatSurroundsTheEye)
{
    const SRejectedScan rejected({3.75F, -1.25F, -10.0F});
    Words flags;
    const CSurfelCutter cutter({rejected.region}, Reach::ThroughEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, rejected.scan, flags), 0U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>(5, 0)));
}

TEST(CSurfelCutterTest, Apply_FrontOfEyeReachesASurfelNearerThanTheNearPlane)
{
    const SRejectedScan rejected({0.1F * 0.375F, -0.1F * 0.125F, -0.1F});
    Words flags;
    const CSurfelCutter cutter({rejected.region}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, rejected.scan, flags), 1U);
}

TEST(CSurfelCutterTest, Apply_NothingInFrontUnderThePaintCutsNothing)
{
    const SRejectedScan rejected({-3.75F, 1.25F, 10.0F});
    Words flags;
    const CSurfelCutter cutter({rejected.region}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, rejected.scan, flags), 0U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>(5, 0)));
}

TEST(CSurfelCutterTest, Apply_MaskWithoutPaintCutsNothingAroundTheEye)
{
    SRejectedScan rejected({3.75F, -1.25F, -10.0F});
    rejected.region = LookFromOrigin(c_size, {});
    Words flags;
    const CSurfelCutter cutter({rejected.region}, Reach::FrontOfEye, Side::Painted);
    EXPECT_EQ(Apply(cutter, rejected.scan, flags), 0U);
}

TEST(CSurfelCutterTest, Apply_ScanWithoutAFinitePositionCutsNothing)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Words flags;
    const CSurfelCutter cutter({LookFromOrigin(c_size, {{5, 4}})}, Reach::FrontOfEye,
                               Side::Painted);
    EXPECT_EQ(Apply(cutter, MakeScan({{nan, nan, nan}, {nan, 0.0F, 0.0F}}), flags), 0U);
}

/// In plain loops: the surfels in front of the eye whose pixel is painted.
std::vector<unsigned> RestateFrontCut(const SCutRegion& region,
                                      const std::vector<LqVector3f>& positions)
{
    const auto& selection = *region.selection;
    const LqMatrix4Rf r = LqMatrix4Rf(region.trafo) *
                          ((selection.transform1 * selection.transform2) * selection.transform3);
    std::vector<unsigned> bits;
    for (const LqVector3f& p : positions)
    {
        const float x = ((p.x * r(0, 0) + p.y * r(1, 0)) + p.z * r(2, 0)) + r(3, 0);
        const float y = ((p.x * r(0, 1) + p.y * r(1, 1)) + p.z * r(2, 1)) + r(3, 1);
        const float w = ((p.x * r(0, 3) + p.y * r(1, 3)) + p.z * r(2, 3)) + r(3, 3);
        const float width = static_cast<float>(selection.maskWidth);
        const float height = static_cast<float>(selection.maskHeight);
        const float column = std::trunc(((x / w + 1.0F) * width) * 0.5F);
        const float row = std::trunc(((1.0F - y / w) * height) * 0.5F);
        const bool isInside =
            w > 0.0F && row > 0.0F && row < height && column > 0.0F && column < width &&
            selection.maskData[static_cast<std::size_t>(row) * selection.maskWidth +
                               static_cast<std::size_t>(column)] == 1;
        bits.push_back(isInside ? 8U : 0U);
    }
    return bits;
}

TEST(CSurfelCutterTest, Apply_RandomScansAroundTheEyeAgreeWithAPlainRestatement)
{
    std::mt19937 random(20);
    std::uniform_real_distribution<float> coordinate(-10.0F, 10.0F);
    unsigned numCutRuns = 0;
    for (int run = 0; run < 200; ++run)
    {
        std::vector<LqVector3f> positions;
        for (int index = 0; index < 300; ++index)
        {
            // Every other scan is a long tunnel, whose box projects to the middle of the picture.
            const float length = run % 2 == 0 ? 1.0F : 50.0F;
            const float x = coordinate(random);
            const float y = coordinate(random);
            positions.push_back({x, y, length * coordinate(random)});
        }
        // From a single painted pixel to all of them.
        const std::uint32_t size = 5 + static_cast<std::uint32_t>(run) % 60;
        std::vector<std::uint8_t> mask(std::size_t{size} * size);
        const std::uint32_t numPainted =
            run % 4 == 0 ? 1 : static_cast<std::uint32_t>(run) % (size * size) + 1;
        for (std::uint32_t index = 0; index < numPainted; ++index)
        {
            mask[random() % mask.size()] = 1;
        }
        const SCutRegion region = LookFromOrigin(std::move(mask), size);
        Words flags;
        const CSurfelCutter cutter({region}, Reach::FrontOfEye, Side::Painted);
        const std::uint64_t numCut = Apply(cutter, MakeScan(positions), flags);
        ASSERT_EQ(ToBits(flags), RestateFrontCut(region, positions)) << "run " << run;
        numCutRuns += numCut > 0 ? 1 : 0;
    }
    EXPECT_GT(numCutRuns, 100U);
}

/// As the library cuts a collection as a whole.
std::vector<unsigned> CutAsAWhole(const SCutRegion& region,
                                  const std::shared_ptr<const Base::ISurfelCollection>& scan)
{
    const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
    DataLayer::CCutPointCloudWithPixelMask::Results results;
    cutter.Compute({{scan, {}, region.trafo}}, results);
    return ToBits(results[0].second);
}

/// A scan as files give it, which shows its bounding box only while it is read.
std::shared_ptr<const Base::ISurfelCollection> MakeView(const std::vector<LqVector3f>& positions)
{
    const auto owner = std::make_shared<std::vector<LqVector3f>>(positions);
    return std::make_shared<DataLayer::CSurfelCollectionView>(owner, owner->size(), owner->data(),
                                                              sizeof(LqVector3f));
}

TEST(CSurfelCutterTest, Apply_ViewOfSeveralBlocksIsCutAsAWhole)
{
    std::mt19937 random(21);
    std::uniform_real_distribution<float> coordinate(-1.5F, 1.5F);
    for (const std::size_t count : {1, 16383, 16384, 16385, 50000})
    {
        std::vector<LqVector3f> positions;
        while (positions.size() < count)
        {
            positions.push_back({coordinate(random), coordinate(random), coordinate(random)});
        }
        const auto region = PaintDevicePixels({{2, 3}, {4, 4}, {5, 6}, {7, 7}});
        for (const Reach reach : {Reach::FrontOfEye, Reach::ThroughEye})
        {
            const auto scan = MakeView(positions);
            Words flags;
            static_cast<void>(Apply(CSurfelCutter({region}, reach, Side::Painted), scan, flags));
            EXPECT_EQ(ToBits(flags), CutAsAWhole(region, scan)) << count;
        }
    }
}

TEST(CSurfelCutterTest, Apply_ViewThatLiesInStretchesBehindTheEyeIsCutInFront)
{
    std::mt19937 random(22);
    std::uniform_real_distribution<float> coordinate(-2.0F, 2.0F);
    std::vector<LqVector3f> positions;
    while (positions.size() < 22000)
    {
        const float z = positions.size() / 1500 % 3 == 1 ? 2.0F : -2.0F;
        positions.push_back({coordinate(random), coordinate(random), z});
    }
    // The last stretch lies in front, all but its last surfel.
    positions.push_back({-1.5F, 0.5F, 2.0F});
    const auto region = LookFromOrigin(c_size, {{2, 2}, {5, 4}, {6, 4}});
    const auto scan = MakeView(positions);
    Words flags;
    EXPECT_GT(Apply(CSurfelCutter({region}, Reach::FrontOfEye, Side::Painted), scan, flags), 0U);
    EXPECT_EQ(ToBits(flags), RestateFrontCut(region, positions));
}

TEST(CSurfelCutterTest, Apply_ViewThatIsRejectedByItsBoxKeepsItsFlags)
{
    // The box projects to a small square in the middle; only the last surfel lies under the paint.
    std::vector<LqVector3f> positions(20000, {0.0F, 0.0F, -1.0F});
    positions.front() = {-30.0F, -30.0F, -1000.0F};
    positions[1] = {30.0F, 30.0F, 1000.0F};
    positions.back() = {3.75F, -1.25F, -10.0F};
    const auto scan = MakeView(positions);
    const auto region = LookFromOrigin(c_size, {{5, 4}});
    const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
    ASSERT_FALSE(cutter.IntersectsRegion(region.trafo, *scan));
    Words flags(positions.size(), {2});
    EXPECT_EQ(Apply(CSurfelCutter({region}, Reach::ThroughEye, Side::Painted), scan, flags), 0U);
    EXPECT_EQ(ToBits(flags), (std::vector<unsigned>(positions.size(), 2)));
    EXPECT_EQ(Apply(CSurfelCutter({region}, Reach::FrontOfEye, Side::Painted), scan, flags), 1U);
    EXPECT_EQ(flags.back().bits, 10U);
}

TEST(CSurfelCutterTest, Apply_RegionThatRejectsAViewLeavesTheCutsOfOthers)
{
    std::vector<LqVector3f> positions(20000, {0.0F, 0.0F, -1.0F});
    positions.front() = {-30.0F, -30.0F, -1000.0F};
    positions[1] = {30.0F, 30.0F, 1000.0F};
    positions.back() = {3.75F, -1.25F, -10.0F};
    const auto scan = MakeView(positions);
    const auto rejecting = LookFromOrigin(c_size, {{5, 4}});
    const auto taking = PaintDevicePixels({{4, 4}});
    const CSurfelCutter cutter({rejecting, taking}, Reach::ThroughEye, Side::Painted);
    Words flags;
    EXPECT_EQ(Apply(cutter, scan, flags), 19997U);
    EXPECT_EQ(ToBits(flags), CutAsAWhole(taking, scan));
}

}  // namespace
