#include "Application/View/CCameraFit.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Base/Math/PointTransform.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace
{

using Application::CCamera;
using Application::CCameraFit;
using Application::CInputError;
using Application::CView;
using TestSupport::CMockSurfelCollection;

/// The points of a cube's surface grid, from -1 to 1.
std::vector<LqVector3f> MakeCube()
{
    std::vector<LqVector3f> points;
    for (int i = 0; i <= 10; ++i)
    {
        for (int j = 0; j <= 10; ++j)
        {
            const float a = -1.0F + 0.2F * static_cast<float>(i);
            const float b = -1.0F + 0.2F * static_cast<float>(j);
            for (const float side : {-1.0F, 1.0F})
            {
                points.insert(points.end(), {{side, a, b}, {a, side, b}, {a, b, side}});
            }
        }
    }
    return points;
}

std::vector<CCameraFit::SScan> MakeScans(const std::vector<LqVector3f>& points,
                                         const LqMatrix4Rd& trafo = c_matIdentityD)
{
    return {{std::make_shared<CMockSurfelCollection>(points), trafo}};
}

/// The extent of the points on the device, as the largest |x| and |y|, and their depth range.
struct SExtent
{
    float x = 0.0F;
    float y = 0.0F;
    float minDepth = std::numeric_limits<float>::infinity();
    float maxDepth = -std::numeric_limits<float>::infinity();
};

SExtent Measure(const CView& view, const std::vector<LqVector3f>& points,
                const LqMatrix4Rd& trafo = c_matIdentityD)
{
    const auto& transforms = view.GetTransforms();
    const LqMatrix4Rf chain = LqMatrix4Rf(view.MakeRelativeTrafo(trafo)) *
                              (LqMatrix4Rf(transforms[0]) * LqMatrix4Rf(transforms[1]));
    SExtent extent;
    for (const LqVector3f& point : points)
    {
        const LqVector3f device = TransformPoint(chain, point);
        extent.x = std::max(extent.x, std::abs(device.x));
        extent.y = std::max(extent.y, std::abs(device.y));
        extent.minDepth = std::min(extent.minDepth, device.z);
        extent.maxDepth = std::max(extent.maxDepth, device.z);
    }
    return extent;
}

void ExpectFramed(const SExtent& extent)
{
    EXPECT_LE(std::max(extent.x, extent.y), 0.93F);
    EXPECT_GE(std::max(extent.x, extent.y), 0.85F);
    EXPECT_GE(extent.minDepth, 0.0F);
    EXPECT_LE(extent.maxDepth, 1.0F);
}

TEST(CCameraFit, Compute_EveryNamedDirectionFramesACube)
{
    const auto cube = MakeCube();
    for (const char* name : {"front", "back", "left", "right", "top", "bottom", "iso"})
    {
        SCOPED_TRACE(name);
        CCameraFit fit;
        fit.direction = CCameraFit::FindDirection(name).value();
        ExpectFramed(Measure(fit.Compute(MakeScans(cube)).MakeView(), cube));
    }
}

TEST(CCameraFit, Compute_OrthographicAndTallPicturesFrameACube)
{
    const auto cube = MakeCube();
    CCameraFit fit;
    fit.projection = CCamera::Projection::Orthographic;
    fit.width = 300;
    fit.height = 900;
    ExpectFramed(Measure(fit.Compute(MakeScans(cube)).MakeView(), cube));
}

TEST(CCameraFit, Compute_FrontLooksAlongTheYAxisWithZUp)
{
    CCameraFit fit;
    fit.direction = CCameraFit::FindDirection("front").value();
    const CCamera camera = fit.Compute(MakeScans(MakeCube()));
    const auto& parameters = camera.GetParameters();
    EXPECT_LT(parameters.eye[1], -2.0);
    EXPECT_NEAR(parameters.eye[0], 0.0, 1e-9);
    EXPECT_EQ(camera.GetAxes()[1], (CCamera::Vector{0, 0, 1}));
}

TEST(CCameraFit, FindDirection_UnknownNameIsAbsent)
{
    EXPECT_FALSE(CCameraFit::FindDirection("sideways").has_value());
    EXPECT_FALSE(CCameraFit::FindDirection("").has_value());
}

TEST(CCameraFit, Compute_StrayPointsDoNotShrinkTheObject)
{
    const auto cube = MakeCube();
    auto withStrays = cube;
    withStrays.push_back({5000, 0, 0});
    withStrays.push_back({0, -3000, 4000});
    const CCameraFit fit;
    ExpectFramed(Measure(fit.Compute(MakeScans(withStrays)).MakeView(), cube));
}

TEST(CCameraFit, Compute_NoPointOfAScanBelowTheSampledSizeIsOverlooked)
{
    std::vector<LqVector3f> points = MakeCube();
    while (points.size() < 399999)
    {
        points.push_back(points[points.size() % 726]);
    }
    points[123457] = {1.5F, 0.0F, 0.0F};
    CCameraFit fit;
    fit.direction = CCameraFit::FindDirection("front").value();
    fit.width = fit.height = 500;
    ExpectFramed(Measure(fit.Compute(MakeScans(points)).MakeView(), points));
}

TEST(CCameraFit, Compute_SamplesAreFromAllPlacesOfAScansRows)
{
    CCameraFit fit;
    fit.direction = CCameraFit::FindDirection("front").value();
    fit.width = 300;
    fit.height = 900;
    // One of 25 points is looked at.
    constexpr std::size_t c_numPoints = 500000;
    for (const std::size_t rowLength : {5U, 25U, 50U, 500U})
    {
        const auto place = [](std::size_t index, std::size_t count) {
            return 2.0F * static_cast<float>(index) / static_cast<float>(count - 1) - 1.0F;
        };
        std::vector<LqVector3f> points;
        for (std::size_t index = 0; index < c_numPoints; ++index)
        {
            points.push_back({place(index % rowLength, rowLength), 0.0F,
                              place(index / rowLength, c_numPoints / rowLength)});
        }
        SCOPED_TRACE(rowLength);
        ExpectFramed(Measure(fit.Compute(MakeScans(points)).MakeView(), points));
    }
}

TEST(CCameraFit, Compute_SamplesOfSmallScansAreFromAllPlacesOfThem)
{
    // Each is less than the points of which one is looked at: all in a row, as wide as the picture.
    constexpr std::size_t c_numScans = 21000;
    std::vector<LqVector3f> row;
    for (int column = 0; column < 24; ++column)
    {
        row.push_back({static_cast<float>(column) / 11.5F - 1.0F, 0.0F, 0.0F});
    }
    const auto collection = std::make_shared<CMockSurfelCollection>(row);
    CCameraFit fit;
    fit.direction = CCameraFit::FindDirection("front").value();
    fit.width = 300;
    fit.height = 900;
    const CView view =
        fit.Compute(std::vector<CCameraFit::SScan>(c_numScans, {collection, c_matIdentityD}))
            .MakeView();
    ExpectFramed(Measure(view, row));
}

TEST(CCameraFit, Compute_FindsTheFewFinitePointsOfALargeScan)
{
    const auto cube = MakeCube();
    std::vector<LqVector3f> points(500000, {std::numeric_limits<float>::quiet_NaN(), 0, 0});
    std::copy_n(cube.begin(), 12, points.begin() + 250007);
    const std::vector<LqVector3f> finite(cube.begin(), cube.begin() + 12);
    const CCameraFit fit;
    ExpectFramed(Measure(fit.Compute(MakeScans(points)).MakeView(), finite));
}

TEST(CCameraFit, Compute_IsTheSameOnAnyNumberOfThreads)
{
    std::vector<LqVector3f> points;
    while (points.size() < 450001)
    {
        const auto number = static_cast<float>(points.size());
        points.push_back({std::sin(number), std::cos(number * 0.37F), number * 1e-6F});
    }
    const auto scans = MakeScans(points);
    const CCameraFit fit;
    const std::string expected = fit.Compute(scans).MakeView().ToJson();
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, 1);
    EXPECT_EQ(fit.Compute(scans).MakeView().ToJson(), expected);
}

TEST(CCameraFit, Compute_FarPlaneReachesStrayPoints)
{
    const CCameraFit fit{.direction = CCameraFit::FindDirection("front").value()};
    auto points = MakeCube();
    points.push_back({0, 500, 0});
    const SExtent extent = Measure(fit.Compute(MakeScans(points)).MakeView(), points);
    EXPECT_LE(extent.maxDepth, 1.0F);
    EXPECT_GE(extent.minDepth, 0.0F);
}

TEST(CCameraFit, Compute_PlanesThatLeaveNothingOutNeedNoBoxes)
{
    CCameraFit fit;
    const auto points = MakeCube();
    const CCamera enclosing = fit.Compute(MakeScans(points));
    fit.planes = CCameraFit::EPlanes::LeaveNothingOut;
    const auto collection = std::make_shared<CMockSurfelCollection>(points);
    const CCamera camera = fit.Compute({{collection}});
    EXPECT_EQ(collection->numGetPointCloudSupportCalls, 0U);
    const auto& parameters = camera.GetParameters();
    EXPECT_EQ(parameters.eye, enclosing.GetParameters().eye);
    EXPECT_EQ(parameters.target, enclosing.GetParameters().target);
    const double distance = std::hypot(parameters.eye[0] - parameters.target[0],
                                       parameters.eye[1] - parameters.target[1],
                                       parameters.eye[2] - parameters.target[2]);
    EXPECT_NEAR(parameters.nearDistance, 1e-3 * distance, 1e-9);
    EXPECT_EQ(parameters.nearDistance - parameters.farDistance, -parameters.farDistance);
}

TEST(CCameraFit, Compute_PlanesOfParallelProjectionsEncloseThePointsAnyway)
{
    CCameraFit fit;
    fit.projection = CCamera::Projection::Orthographic;
    const auto scans = MakeScans(MakeCube());
    const std::string expected = fit.Compute(scans).MakeView().ToJson();
    fit.planes = CCameraFit::EPlanes::LeaveNothingOut;
    EXPECT_EQ(fit.Compute(scans).MakeView().ToJson(), expected);
}

TEST(CCameraFit, Compute_SkipsPositionsThatAreNotFinite)
{
    const auto cube = MakeCube();
    auto damaged = cube;
    damaged.push_back({std::numeric_limits<float>::quiet_NaN(), 0, 0});
    damaged.push_back({std::numeric_limits<float>::infinity(), 0, 0});
    const CCameraFit fit;
    ExpectFramed(Measure(fit.Compute(MakeScans(damaged)).MakeView(), cube));
}

TEST(CCameraFit, Compute_OrderAndScanOfThePointsDoNotMatter)
{
    // Thinning out to both sides, so that it matters where the strays begin.
    std::vector<LqVector3f> points;
    for (int index = -15000; index <= 15000; ++index)
    {
        const auto value = static_cast<float>(index) / 15000.0F;
        points.push_back({value / (1.001F - std::abs(value)), value, value * value});
    }
    const CCameraFit fit{.direction = CCameraFit::FindDirection("front").value()};
    const std::string expected = fit.Compute(MakeScans(points)).MakeView().ToJson();
    const auto expectSame = [&](const std::vector<CCameraFit::SScan>& scans) {
        EXPECT_EQ(fit.Compute(scans).MakeView().ToJson(), expected);
    };
    // From one side on, but for one in sixteen, which are from the other side.
    for (const bool isFromLeft : {false, true})
    {
        std::vector<LqVector3f> mixed;
        std::deque<LqVector3f> rest(points.begin(), points.end());
        while (!rest.empty())
        {
            if ((mixed.size() % 16 == 0) == isFromLeft)
            {
                mixed.push_back(rest.back());
                rest.pop_back();
            }
            else
            {
                mixed.push_back(rest.front());
                rest.pop_front();
            }
        }
        expectSame(MakeScans(mixed));
    }
    const auto middle = points.begin() + 15000;
    std::vector<LqVector3f> withTwin = points;
    withTwin.push_back(*middle);
    expectSame(MakeScans(withTwin));

    std::vector<LqVector3f> damaged;
    for (auto point = middle; point != points.end(); ++point)
    {
        damaged.push_back({0.0F, std::numeric_limits<float>::quiet_NaN(), 0.0F});
        damaged.push_back(*point);
    }
    std::vector<CCameraFit::SScan> scans = MakeScans({points.begin(), middle});
    scans.push_back(MakeScans(damaged).front());
    expectSame(scans);
}

TEST(CCameraFit, Compute_GeographicCoordinatesAreFramedExactly)
{
    const auto cube = MakeCube();
    const LqMatrix4Rd trafo = TestSupport::MakeTranslation(4.5e6, 5.3e6, 300);
    const CCameraFit fit;
    ExpectFramed(Measure(fit.Compute(MakeScans(cube, trafo)).MakeView(), cube, trafo));
}

TEST(CCameraFit, Compute_SinglePointIsInTheMiddle)
{
    const CCameraFit fit;
    const std::vector<LqVector3f> point = {{3, 4, 5}};
    const SExtent extent = Measure(fit.Compute(MakeScans(point)).MakeView(), point);
    EXPECT_NEAR(extent.x, 0.0F, 1e-6F);
    EXPECT_NEAR(extent.y, 0.0F, 1e-6F);
}

TEST(CCameraFit, Compute_NothingToLookAtThrows)
{
    const CCameraFit fit;
    EXPECT_THROW(static_cast<void>(fit.Compute({})), CInputError);
    EXPECT_THROW(static_cast<void>(fit.Compute(MakeScans({}))), CInputError);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_THROW(static_cast<void>(fit.Compute(MakeScans({{nan, nan, nan}}))), CInputError);
}

TEST(CCameraFit, Compute_DirectionAlongUpThrows)
{
    CCameraFit fit;
    fit.direction = {{0, 0, 1}, {0, 0, 1}};
    EXPECT_THROW(static_cast<void>(fit.Compute(MakeScans(MakeCube()))), CInputError);
}

}  // namespace
