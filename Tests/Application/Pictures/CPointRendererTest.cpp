#include "Application/Pictures/CPointRenderer.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "Application/Demo/CDemoScene.h"
#include "Application/Files/CInputError.h"
#include "Application/View/CCamera.h"
#include "Application/View/CCameraFit.h"
#include "Application/View/CPngDecoder.h"
#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace
{

using Application::CCamera;
using Application::CInputError;
using Application::CMask;
using Application::CPicture;
using Application::CPointRenderer;
using Application::CView;
using Application::SColor;
using Base::CSurfelBitMask;
using Points = std::vector<LqVector3f>;

constexpr SColor c_red{220, 40, 40};
constexpr SColor c_green{40, 200, 40};

/// Seen from the -y side in parallel projection: a unit is a pixel, column = x + size / 2 and
/// row = size / 2 - z.
CCamera::SParameters MakeParameters(std::uint32_t size)
{
    CCamera::SParameters parameters;
    parameters.eye = {0, -100, 0};
    parameters.projection = CCamera::Projection::Orthographic;
    parameters.orthographicHeight = size;
    parameters.nearDistance = 1;
    parameters.farDistance = 200;
    parameters.width = size;
    parameters.height = size;
    return parameters;
}

CView MakeView(std::uint32_t size)
{
    return CCamera(MakeParameters(size)).MakeView();
}

std::shared_ptr<Base::ISurfelCollection> MakeCollection(const Points& positions,
                                                        const Points& normals = {})
{
    const auto buffers = std::make_shared<std::array<Points, 2>>(std::array{positions, normals});
    return std::make_shared<DataLayer::CSurfelCollectionView>(
        buffers, positions.size(), (*buffers)[0].data(), sizeof(LqVector3f),
        normals.empty() ? nullptr : (*buffers)[1].data(), sizeof(LqVector3f));
}

CPointRenderer::SScan MakeScan(const Points& positions, SColor color = c_red)
{
    CPointRenderer::SScan scan;
    scan.collection = MakeCollection(positions);
    scan.color = color;
    return scan;
}

bool IsBackground(const CPicture& picture, std::uint32_t column, std::uint32_t row)
{
    const SColor color = picture.GetPixel(column, row);
    return color.red >= 218 && color.green >= 223 && color.blue >= 230;
}

bool IsRed(const CPicture& picture, std::uint32_t column, std::uint32_t row)
{
    const SColor color = picture.GetPixel(column, row);
    return color.red > 60 && color.red > 2 * color.green;
}

bool IsGreen(const CPicture& picture, std::uint32_t column, std::uint32_t row)
{
    const SColor color = picture.GetPixel(column, row);
    return color.green > 60 && color.green > 2 * color.red;
}

void ExpectAllBackground(const CPicture& picture)
{
    for (std::uint32_t row = 0; row < picture.GetHeight(); ++row)
    {
        for (std::uint32_t column = 0; column < picture.GetWidth(); ++column)
        {
            EXPECT_TRUE(IsBackground(picture, column, row)) << column << " " << row;
        }
    }
}

/// Points strewn at random over a square of the given half side that faces the viewer, but is
/// tilted: depth y = slope . (x, z).
Points StrewPlane(std::size_t count, float halfSide, float depth, float slopeX = 0.0F,
                  float slopeZ = 0.0F)
{
    std::uint32_t state = 5;
    const auto next = [&] {
        state = state * 1664525U + 1013904223U;
        return (static_cast<float>(state >> 8U) * 0x1p-24F * 2.0F - 1.0F) * halfSide;
    };
    Points points(count);
    for (LqVector3f& point : points)
    {
        point.x = next();
        point.z = next();
        point.y = depth + slopeX * point.x + slopeZ * point.z;
    }
    return points;
}

TEST(CPointRenderer, Render_NothingGivesTheBackground)
{
    const CPicture picture = CPointRenderer(MakeView(64)).Render({});
    ASSERT_EQ(picture.GetWidth(), 64U);
    ASSERT_EQ(picture.GetHeight(), 64U);
    ExpectAllBackground(picture);
    EXPECT_NEAR(picture.GetPixel(0, 0).red, 250, 1);
    EXPECT_NEAR(picture.GetPixel(63, 63).red, 219, 1);
}

TEST(CPointRenderer, Render_EmptyScanGivesTheBackground)
{
    ExpectAllBackground(CPointRenderer(MakeView(8)).Render({MakeScan({})}));
}

TEST(CPointRenderer, Render_SurfelLandsOnItsPixel)
{
    const CPicture picture = CPointRenderer(MakeView(8)).Render({MakeScan({{1.4F, 0, 2.4F}})});
    EXPECT_TRUE(IsRed(picture, 5, 1));
    for (std::uint32_t row = 0; row < 8; ++row)
    {
        for (std::uint32_t column = 0; column < 8; ++column)
        {
            if (std::abs(static_cast<int>(column) - 5) > 1 ||
                std::abs(static_cast<int>(row) - 1) > 1)
            {
                EXPECT_TRUE(IsBackground(picture, column, row)) << column << " " << row;
            }
        }
    }
}

TEST(CPointRenderer, Render_SurfaceThatFacesTheViewerHasTheColorOfItsLight)
{
    CPointRenderer::SScan scan = MakeScan(StrewPlane(4000, 8, 0));
    scan.collection = MakeCollection(StrewPlane(4000, 8, 0), Points(4000, {0, -1, 0}));
    const CPicture picture = CPointRenderer(MakeView(16)).Render({scan});
    // Ambient, key and fill light on a surface that faces the viewer, and the highlight.
    const double light = 0.42 + 0.56 * 0.66 + 0.16 * 0.59;
    const double brightness = light + 0.12 * std::pow(0.911, 16);
    const SColor color = picture.GetPixel(8, 8);
    EXPECT_NEAR(color.red, c_red.red * brightness, 1.5);
    EXPECT_NEAR(color.green, c_red.green * brightness, 1.5);
    EXPECT_NEAR(color.blue, c_red.blue * brightness, 1.5);
}

TEST(CPointRenderer, Render_NearerSurfelHidesTheOneBehind)
{
    const CPointRenderer renderer(MakeView(8));
    const auto nearScan = MakeScan({{0.6F, -5, 0.6F}}, c_green);
    const auto farScan = MakeScan({{0.6F, 5, 0.6F}}, c_red);
    EXPECT_TRUE(IsGreen(renderer.Render({nearScan, farScan}), 4, 3));
    EXPECT_TRUE(IsGreen(renderer.Render({farScan, nearScan}), 4, 3));
}

TEST(CPointRenderer, Render_SurfelsOutsideTheViewAreNotDrawn)
{
    const CPointRenderer renderer(MakeView(8));
    for (const LqVector3f& point : {LqVector3f{-4.1F, 0, 0},
                                    {4.1F, 0, 0},
                                    {0, 0, -4.1F},
                                    {0, 0, 4.1F},
                                    {0, -99.5F, 0},
                                    {0, 101, 0}})
    {
        ExpectAllBackground(renderer.Render({MakeScan({point})}));
    }
}

TEST(CPointRenderer, Render_SurfelsBehindTheEyeAreNotDrawnInPerspective)
{
    CCamera::SParameters parameters = MakeParameters(8);
    parameters.projection = CCamera::Projection::Perspective;
    const CPointRenderer renderer(CCamera(parameters).MakeView());
    ExpectAllBackground(renderer.Render({MakeScan({{0, -150, 0}, {0, -100, 0}})}));
    EXPECT_TRUE(IsRed(renderer.Render({MakeScan({{0.5F, 0, 0.5F}})}), 4, 3));
}

TEST(CPointRenderer, Render_PositionsThatAreNotFiniteAreNotDrawn)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const CPicture picture =
        CPointRenderer(MakeView(8))
            .Render({MakeScan(
                {{nan, 0, 0}, {0, nan, 0}, {0, 0, nan}, {infinity, 0, 0}, {0, -infinity, 0}})});
    ExpectAllBackground(picture);
}

TEST(CPointRenderer, Render_NormalsThatAreNoDirectionsCountAsNone)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // Dense ones and sparse ones.
    for (const std::uint32_t size : {8U, 300U})
    {
        const Points points = StrewPlane(2000, 0.5F * static_cast<float>(size), 0, 0.4F);
        const CPointRenderer renderer(MakeView(size));
        const CPicture expected = renderer.Render({MakeScan(points)});
        for (const LqVector3f& normal : {LqVector3f{0, 0, 0}, {nan, 0, 0}})
        {
            CPointRenderer::SScan scan = MakeScan(points);
            scan.collection = MakeCollection(points, Points(points.size(), normal));
            EXPECT_EQ(renderer.Render({scan}), expected) << size;
        }
    }
}

TEST(CPointRenderer, Render_NormalsOfEitherSideGiveTheSamePicture)
{
    const Points points = StrewPlane(2000, 4, 0);
    CPointRenderer::SScan front = MakeScan(points);
    front.collection = MakeCollection(points, Points(points.size(), {0.5F, -1, 0.25F}));
    CPointRenderer::SScan back = MakeScan(points);
    back.collection = MakeCollection(points, Points(points.size(), {-0.5F, 1, -0.25F}));
    const CPointRenderer renderer(MakeView(8));
    EXPECT_EQ(renderer.Render({front}), renderer.Render({back}));
}

TEST(CPointRenderer, Render_SurfacesOfAnyDensityLookClosed)
{
    // From 16 surfels a pixel to one in 9 pixels.
    for (const std::size_t count : {65536U, 4096U, 1024U, 455U})
    {
        SCOPED_TRACE(count);
        const CPicture picture =
            CPointRenderer(MakeView(64)).Render({MakeScan(StrewPlane(count, 32, 0))});
        std::size_t numOpen = 0;
        for (std::uint32_t row = 8; row < 56; ++row)
        {
            for (std::uint32_t column = 8; column < 56; ++column)
            {
                numOpen += IsBackground(picture, column, row) ? 1 : 0;
            }
        }
        EXPECT_LE(numOpen, 48U * 48U / 100U);
    }
}

TEST(CPointRenderer, Render_SurfaceBehindDoesNotShineThroughTheGaps)
{
    const auto front = MakeScan(StrewPlane(4096, 32, -20), c_green);
    const auto behind = MakeScan(StrewPlane(65536, 32, 20), c_red);
    const CPicture picture = CPointRenderer(MakeView(64)).Render({behind, front});
    std::size_t numRed = 0;
    for (std::uint32_t row = 8; row < 56; ++row)
    {
        for (std::uint32_t column = 8; column < 56; ++column)
        {
            numRed += IsRed(picture, column, row) ? 1 : 0;
        }
    }
    EXPECT_LE(numRed, 48U * 48U / 100U);
}

TEST(CPointRenderer, Render_SurfaceWithoutNormalsIsLitLikeOneWithThem)
{
    for (const auto kind : {CCamera::Projection::Orthographic, CCamera::Projection::Perspective})
    {
        for (const auto& [slopeX, slopeZ] :
             {std::pair{0.0F, 0.0F}, {0.7F, 0.0F}, {-0.7F, 0.0F}, {0.0F, 0.7F}, {0.0F, -0.7F}})
        {
            CCamera::SParameters parameters = MakeParameters(64);
            parameters.projection = kind;
            const CPointRenderer renderer(CCamera(parameters).MakeView());
            const Points points = StrewPlane(20000, 60, 0, slopeX, slopeZ);
            const auto without = MakeScan(points, {200, 200, 200});
            auto with = without;
            with.collection =
                MakeCollection(points, Points(points.size(), {slopeX, -1.0F, slopeZ}));
            const SColor expected = renderer.Render({with}).GetPixel(40, 20);
            const SColor actual = renderer.Render({without}).GetPixel(40, 20);
            EXPECT_NEAR(actual.red, expected.red, 6) << slopeX << " " << slopeZ;
        }
    }
}

TEST(CPointRenderer, Render_CutAndSmallComponentsHaveTheirColors)
{
    CPointRenderer::SSettings settings;
    settings.cutColor = c_green;
    settings.smallComponentColor = {40, 40, 220};
    const CPointRenderer renderer(MakeView(8), settings);
    const std::array<CSurfelBitMask, 4> flags = {
        CSurfelBitMask{CSurfelBitMask::SurfelFlagCut},
        CSurfelBitMask{CSurfelBitMask::SurfelFlagSmallComponent},
        CSurfelBitMask{CSurfelBitMask::SurfelFlagCut | CSurfelBitMask::SurfelFlagSmallComponent},
        CSurfelBitMask{CSurfelBitMask::SurfelFlagExcluded}};
    auto scan = MakeScan({{-2.5F, 0, 2.5F}, {1.5F, 0, 2.5F}, {-2.5F, 0, -1.5F}, {1.5F, 0, -1.5F}});
    scan.flags = flags;
    const CPicture picture = renderer.Render({scan});
    EXPECT_TRUE(IsGreen(picture, 1, 1));
    EXPECT_GT(picture.GetPixel(5, 1).blue, 2 * picture.GetPixel(5, 1).red);
    EXPECT_TRUE(IsGreen(picture, 1, 5));
    EXPECT_TRUE(IsRed(picture, 5, 5));
}

TEST(CPointRenderer, Render_HideCutLeavesTheCutOut)
{
    CPointRenderer::SSettings settings;
    settings.hideCut = true;
    const std::array<CSurfelBitMask, 2> flags = {CSurfelBitMask{CSurfelBitMask::SurfelFlagCut},
                                                 CSurfelBitMask{}};
    auto scan = MakeScan({{-2.5F, 0, 2.5F}, {1.5F, 0, -1.5F}});
    scan.flags = flags;
    EXPECT_EQ(CPointRenderer(MakeView(8), settings).Render({scan}),
              CPointRenderer(MakeView(8)).Render({MakeScan({{1.5F, 0, -1.5F}})}));
}

TEST(CPointRenderer, Render_HidingTheDenserPartLeavesTheOtherDotsAsTheyWere)
{
    Points positions;
    std::vector<CSurfelBitMask> flags;
    const auto addGrid = [&](float left, float right, float spacing, std::uint16_t bits) {
        for (float x = left; x < right; x += spacing)
        {
            for (float z = -28; z < 28; z += spacing)
            {
                positions.push_back({x, 0, z});
                flags.push_back({bits});
            }
        }
    };
    addGrid(-30, -10, 0.5F, CSurfelBitMask::SurfelFlagCut);
    addGrid(10, 30, 6, 0);
    auto scan = MakeScan(positions);
    scan.flags = flags;
    CPointRenderer::SSettings settings;
    settings.hideCut = true;
    const CPicture before = CPointRenderer(MakeView(64)).Render({scan});
    const CPicture after = CPointRenderer(MakeView(64), settings).Render({scan});
    for (std::uint32_t row = 0; row < 64; ++row)
    {
        for (std::uint32_t column = 36; column < 64; ++column)
        {
            EXPECT_EQ(before.GetPixel(column, row), after.GetPixel(column, row))
                << column << " " << row;
        }
    }
}

TEST(CPointRenderer, Render_PaintedPixelsAreTintedAndNoOthers)
{
    const CPointRenderer renderer(MakeView(8));
    CMask mask(8, 8);
    mask.PaintSpan(2, 3, 6);
    const auto scan = MakeScan(StrewPlane(1000, 3, 0));
    const CPicture plain = renderer.Render({scan});
    const CPicture tinted = renderer.Render({scan}, &mask);
    for (std::uint32_t row = 0; row < 8; ++row)
    {
        for (std::uint32_t column = 0; column < 8; ++column)
        {
            EXPECT_EQ(plain.GetPixel(column, row) == tinted.GetPixel(column, row),
                      !mask.IsPainted(column, row));
        }
    }
}

TEST(CPointRenderer, Render_MaskOfAnotherSizeThrows)
{
    const CMask mask(8, 9);
    EXPECT_THROW(static_cast<void>(CPointRenderer(MakeView(8)).Render({}, &mask)), CInputError);
}

TEST(CPointRenderer, Render_CollectionWithoutPositionsThrows)
{
    const auto collection = std::make_shared<TestSupport::CMockSurfelCollection>(Points{{0, 0, 0}});
    collection->SetPositionAccess(nullptr);
    CPointRenderer::SScan scan;
    scan.collection = collection;
    EXPECT_THROW(static_cast<void>(CPointRenderer(MakeView(8)).Render({scan})), VekoException);
}

TEST(CPointRenderer, Render_GeographicCoordinatesGiveTheSamePicture)
{
    const Points points = StrewPlane(3000, 8, 0, 0.3F, 0.2F);
    const CPicture expected = CPointRenderer(MakeView(16)).Render({MakeScan(points)});
    CCamera::SParameters parameters = MakeParameters(16);
    parameters.eye = {4.5e6, 5.3e6 - 100, 300};
    parameters.target = {4.5e6, 5.3e6, 300};
    auto scan = MakeScan(points);
    scan.trafo = TestSupport::MakeTranslation(4.5e6, 5.3e6, 300);
    EXPECT_EQ(CPointRenderer(CCamera(parameters).MakeView()).Render({scan}), expected);
}

TEST(CPointRenderer, Render_SplitOfTheViewIntoTransformsDoesNotMatter)
{
    const CView view = MakeView(16);
    const auto& transforms = view.GetTransforms();
    const CView joined(
        16, 16, view.GetOrigin(),
        {c_matIdentityD, c_matIdentityD, transforms[0] * transforms[1] * transforms[2]});
    const auto scan = MakeScan(StrewPlane(3000, 8, 0, 0.3F, 0.2F));
    EXPECT_EQ(CPointRenderer(joined).Render({scan}), CPointRenderer(view).Render({scan}));
}

TEST(CPointRenderer, Render_MoreColorsThanThereIsRoomForAreShared)
{
    std::vector<CPointRenderer::SScan> scans;
    for (unsigned index = 0; index < 300; ++index)
    {
        const auto shade = static_cast<std::uint8_t>(index % 100);
        scans.push_back(
            MakeScan({{0, 0, 0}}, {200, shade, static_cast<std::uint8_t>(index / 100)}));
    }
    EXPECT_TRUE(IsRed(CPointRenderer(MakeView(8)).Render(scans), 4, 4));
}

TEST(CPointRenderer, Render_DoesNotDependOnTheNumberOfThreads)
{
    const auto demo = Application::CDemoScene({.numPoints = 60000}).Generate();
    std::vector<CPointRenderer::SScan> scans;
    Application::CCameraFit fit;
    fit.width = 320;
    fit.height = 200;
    std::vector<Application::CCameraFit::SScan> placed;
    for (const auto& scan : demo)
    {
        const bool hasNormals = scans.size() % 2 == 0;
        CPointRenderer::SScan item;
        item.collection = MakeCollection(scan.positions, hasNormals ? scan.normals : Points{});
        item.trafo = scan.trafo;
        scans.push_back(item);
        placed.push_back({item.collection, item.trafo});
    }
    const CPointRenderer renderer(fit.Compute(placed).MakeView());
    const CPicture expected = renderer.Render(scans);
    for (const std::size_t numThreads : {1U, 2U, 7U})
    {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        EXPECT_EQ(renderer.Render(scans), expected) << numThreads << " threads";
    }
}

TEST(CPointRenderer, Render_PlanesThatLeaveNothingOutShowTheSame)
{
    // Far from the origin, where depths are differences of large numbers.
    std::mt19937 generator(1);
    const auto next = [&] { return static_cast<float>(generator()) * 0x1p-32F; };
    Points points;
    for (int index = 0; index < 400; ++index)
    {
        points.push_back({5e5F + 50.0F * next(), 5.4e6F + 50.0F * next(), 300.0F + 15.0F * next()});
    }
    CPointRenderer::SScan scan;
    scan.collection = MakeCollection(points, {});
    Application::CCameraFit fit;
    fit.direction = Application::CCameraFit::FindDirection("front").value();
    fit.width = 80;
    fit.height = 60;
    for (int round = 0; round < 100; ++round)
    {
        const double angle = 6.0 * next();
        scan.trafo(0, 0) = std::cos(angle);
        scan.trafo(0, 1) = std::sin(angle);
        scan.trafo(1, 0) = -std::sin(angle);
        scan.trafo(1, 1) = std::cos(angle);
        const auto makeRenderer = [&](Application::CCameraFit::EPlanes planes) {
            fit.planes = planes;
            return CPointRenderer(fit.Compute({{scan.collection, scan.trafo}}).MakeView());
        };
        const auto enclosing = makeRenderer(Application::CCameraFit::EPlanes::EnclosePoints);
        const auto endless = makeRenderer(Application::CCameraFit::EPlanes::LeaveNothingOut);
        EXPECT_EQ(endless.Render({scan}), enclosing.Render({scan})) << angle;
        EXPECT_FALSE(endless.Render({scan}) == endless.Render({})) << angle;
    }
}

TEST(CPointRenderer, RenderPng_HasThePixelsOfThePicture)
{
    const auto decode = [](const std::vector<std::byte>& png) {
        return Application::CPngDecoder(
                   std::string_view(reinterpret_cast<const char*>(png.data()), png.size()), "x")
            .Decode();
    };
    const CPointRenderer::SScan scan = MakeScan(StrewPlane(9000, 40.0F, 0.0F, 0.5F));
    CPointRenderer::SScan flagged = scan;
    const std::vector<CSurfelBitMask> flags(9000, {CSurfelBitMask::SurfelFlagSmallComponent});
    flagged.flags = flags;
    const CPointRenderer::SScan other = MakeScan(StrewPlane(50, 30.0F, -5.0F), c_green);
    // Pictures of the larger size have a sample to a pixel.
    for (const std::uint32_t size : {90U, 2100U})
    {
        const CPointRenderer renderer(MakeView(size));
        for (const std::vector<CPointRenderer::SScan>& scans :
             {std::vector<CPointRenderer::SScan>(), {scan}, {flagged}, {scan, other}})
        {
            const auto png = renderer.RenderPng(scans, [] {});
            EXPECT_TRUE(decode(png) == decode(renderer.Render(scans).ToPng()))
                << size << ' ' << scans.size();
            // What the background and one colour have: a palette that nobody had to look for.
            constexpr std::size_t c_paletteLength = 36;
            const bool hasOneLook = scans.size() == 1 && scans.front().flags.empty();
            EXPECT_EQ(png.at(c_paletteLength) == std::byte{152 * 3 % 256},
                      size == 2100 && hasOneLook)
                << size << ' ' << scans.size();
            for (const std::size_t numThreads : {1U, 2U, 7U})
            {
                const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                                  numThreads);
                EXPECT_EQ(renderer.RenderPng(scans, [] {}), png);
            }
        }
    }
}

TEST(CPointRenderer, RenderPng_LetsGoOfTheScansBeforeItTellsSo)
{
    CPointRenderer::SScan scan = MakeScan({{1, 0, 1}});
    const std::weak_ptr<const Base::ISurfelCollection> collection = scan.collection;
    std::vector<CPointRenderer::SScan> scans;
    scans.push_back(std::move(scan));
    scan.collection.reset();
    int numCalls = 0;
    static_cast<void>(CPointRenderer(MakeView(8)).RenderPng(std::move(scans), [&] {
        ++numCalls;
        EXPECT_TRUE(collection.expired());
    }));
    EXPECT_EQ(numCalls, 1);
}

TEST(CPointRenderer, RenderPng_WhatTheCallThrowsLeaves)
{
    const CPointRenderer renderer(MakeView(8));
    EXPECT_THROW(static_cast<void>(renderer.RenderPng(
                     {MakeScan({{1, 0, 1}})}, [] { throw CInputError("scan", "has changed"); })),
                 CInputError);
}

}  // namespace
