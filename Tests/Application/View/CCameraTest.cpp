#include "Application/View/CCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "Application/Files/CInputError.h"
#include "Base/Math/PointTransform.h"

namespace
{

using Application::CCamera;
using Application::CInputError;
using Application::CView;

constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double c_infinity = std::numeric_limits<double>::infinity();

/// Ten units in front of the origin on the -y side, looking along +y, 90 degrees, 640 x 480.
CCamera::SParameters MakeParameters()
{
    CCamera::SParameters parameters;
    parameters.eye = {0, -10, 0};
    parameters.fieldOfView = 90;
    parameters.nearDistance = 5;
    parameters.farDistance = 20;
    parameters.width = 640;
    parameters.height = 480;
    return parameters;
}

struct SPixelPosition
{
    double column;
    double row;
    double depth;
};

/// The library's own steps: float matrices, division, viewport with row 0 at the top.
SPixelPosition Project(const CView& view, const std::array<double, 3>& world)
{
    const LqMatrix4Rd trafo = view.MakeRelativeTrafo(c_matIdentityD);
    const auto& transforms = view.GetTransforms();
    const LqMatrix4Rf chain =
        (LqMatrix4Rf(transforms[0]) * LqMatrix4Rf(transforms[1])) * LqMatrix4Rf(transforms[2]);
    const auto relative = TransformHomogeneous(trafo, world[0], world[1], world[2]);
    const LqVector3f device =
        TransformPoint(chain, {static_cast<float>(relative.x), static_cast<float>(relative.y),
                               static_cast<float>(relative.z)});
    return {(device.x + 1.0F) * static_cast<float>(view.GetWidth()) * 0.5F,
            (1.0F - device.y) * static_cast<float>(view.GetHeight()) * 0.5F, device.z};
}

void ExpectFailure(const std::function<void(CCamera::SParameters&)>& damage,
                   const std::string& message)
{
    CCamera::SParameters parameters = MakeParameters();
    damage(parameters);
    try
    {
        const CCamera camera(parameters);
        FAIL() << "expected: " << message;
    }
    catch (const CInputError& error)
    {
        EXPECT_THAT(error.what(), testing::HasSubstr(message));
        EXPECT_THAT(error.what(), testing::StartsWith("camera: "));
    }
}

TEST(CCamera, MakeView_TargetLandsInTheMiddle)
{
    const SPixelPosition pixel = Project(CCamera(MakeParameters()).MakeView(), {0, 0, 0});
    EXPECT_EQ(pixel.column, 320.0);
    EXPECT_EQ(pixel.row, 240.0);
}

TEST(CCamera, MakeView_UpperEdgeIsRowZero)
{
    const SPixelPosition pixel = Project(CCamera(MakeParameters()).MakeView(), {0, 0, 10});
    EXPECT_NEAR(pixel.row, 0.0, 1e-4);
    EXPECT_NEAR(pixel.column, 320.0, 1e-4);
}

TEST(CCamera, MakeView_RightHandSideIsTheLastColumn)
{
    const double halfWidth = 10.0 * 640.0 / 480.0;
    const SPixelPosition pixel = Project(CCamera(MakeParameters()).MakeView(), {halfWidth, 0, 0});
    EXPECT_NEAR(pixel.column, 640.0, 1e-4);
    EXPECT_NEAR(pixel.row, 240.0, 1e-4);
}

TEST(CCamera, MakeView_DepthIsZeroAtNearAndOneAtFar)
{
    const CView view = CCamera(MakeParameters()).MakeView();
    EXPECT_NEAR(Project(view, {0, -5, 0}).depth, 0.0, 1e-6);
    EXPECT_NEAR(Project(view, {0, 10, 0}).depth, 1.0, 1e-6);
}

TEST(CCamera, MakeView_PerspectiveMatricesAreTheOnesComputedByHand)
{
    const CView view = CCamera(MakeParameters()).MakeView();
    const LqMatrix4Rd placement(
        std::array<double, 16>{1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, -10, 1});
    EXPECT_EQ(view.GetTransforms()[0], placement);
    const LqMatrix4Rd& projection = view.GetTransforms()[1];
    EXPECT_NEAR(projection(0, 0), 0.75, 1e-15);
    EXPECT_NEAR(projection(1, 1), 1.0, 1e-15);
    EXPECT_EQ(projection(2, 2), 20.0 / -15.0);
    EXPECT_EQ(projection(2, 3), -1.0);
    EXPECT_DOUBLE_EQ(projection(3, 2), 5.0 * 20.0 / -15.0);
    EXPECT_EQ(projection(3, 3), 0.0);
    EXPECT_EQ(view.GetTransforms()[2], c_matIdentityD);
}

TEST(CCamera, MakeView_OrthographicMatrixIsTheOneComputedByHand)
{
    CCamera::SParameters parameters = MakeParameters();
    parameters.projection = CCamera::Projection::Orthographic;
    parameters.orthographicHeight = 8;
    const CView view = CCamera(parameters).MakeView();
    const LqMatrix4Rd projection(std::array<double, 16>{0.1875, 0, 0, 0, 0, 0.25, 0, 0, 0, 0,
                                                        1.0 / -15.0, 0, 0, 0, 5.0 / -15.0, 1});
    EXPECT_EQ(view.GetTransforms()[1], projection);
    EXPECT_NEAR(Project(view, {0, 3, 4}).row, 0.0, 1e-4);
    EXPECT_NEAR(Project(view, {0, -5, 0}).depth, 0.0, 1e-6);
    EXPECT_NEAR(Project(view, {0, 10, 0}).depth, 1.0, 1e-6);
}

TEST(CCamera, MakeView_OrthographicNearMayBeBehindTheEye)
{
    CCamera::SParameters parameters = MakeParameters();
    parameters.projection = CCamera::Projection::Orthographic;
    parameters.nearDistance = -5;
    EXPECT_NEAR(Project(CCamera(parameters).MakeView(), {0, -15, 0}).depth, 0.0, 1e-6);
}

TEST(CCamera, MakeView_OriginIsTheTargetSoThatLargeCoordinatesKeepTheirPixels)
{
    CCamera::SParameters parameters = MakeParameters();
    parameters.eye = {4.5e6, 5.3e6 - 10, 300};
    parameters.target = {4.5e6, 5.3e6, 300};
    const CView view = CCamera(parameters).MakeView();
    EXPECT_EQ(view.GetOrigin(), (CView::Origin{4.5e6, 5.3e6, 300}));
    const SPixelPosition pixel = Project(view, {4.5e6 + 1, 5.3e6, 300});
    EXPECT_NEAR(pixel.column, 344.0, 1e-3);
    EXPECT_EQ(pixel.row, 240.0);
}

TEST(CCamera, GetAxes_AreRightUpAndBackAndPerpendicular)
{
    CCamera::SParameters parameters = MakeParameters();
    parameters.eye = {3, -7, 5};
    parameters.up = {0.1, 0.2, 5};
    const auto axes = CCamera(parameters).GetAxes();
    for (std::size_t a = 0; a < 3; ++a)
    {
        for (std::size_t b = 0; b < 3; ++b)
        {
            const double dot =
                axes[a][0] * axes[b][0] + axes[a][1] * axes[b][1] + axes[a][2] * axes[b][2];
            EXPECT_NEAR(dot, a == b ? 1.0 : 0.0, 1e-14);
        }
    }
    EXPECT_GT(axes[1][2], 0.0);
}

TEST(CCamera, Construct_EyeAtTargetThrows)
{
    ExpectFailure([](auto& p) { p.eye = p.target; }, "the eye and the target are the same point");
}

TEST(CCamera, Construct_UpAlongTheViewThrows)
{
    ExpectFailure([](auto& p) { p.up = {0, 3, 0}; }, "up points along the viewing direction");
}

TEST(CCamera, Construct_UpOppositeToTheViewThrows)
{
    ExpectFailure([](auto& p) { p.up = {0, -3, 0}; }, "up points along the viewing direction");
}

TEST(CCamera, Construct_ZeroUpThrows)
{
    ExpectFailure([](auto& p) { p.up = {0, 0, 0}; }, "up: expected a direction");
}

TEST(CCamera, Construct_NonFiniteVectorsThrow)
{
    ExpectFailure([](auto& p) { p.eye[1] = c_nan; }, "eye: expected finite");
    ExpectFailure([](auto& p) { p.target[0] = c_infinity; }, "target: expected finite");
    ExpectFailure([](auto& p) { p.up[2] = c_nan; }, "up: expected finite");
}

TEST(CCamera, Construct_NearNotLessThanFarThrows)
{
    ExpectFailure([](auto& p) { p.nearDistance = 20; }, "is not less than far");
    ExpectFailure([](auto& p) { p.farDistance = 4; }, "is not less than far");
    ExpectFailure([](auto& p) { p.farDistance = c_infinity; }, "near and far: expected finite");
    ExpectFailure([](auto& p) { p.nearDistance = c_nan; }, "near and far: expected finite");
}

TEST(CCamera, Construct_PerspectiveNearAtOrBehindTheEyeThrows)
{
    ExpectFailure([](auto& p) { p.nearDistance = 0; }, "near: expected a distance above 0");
    ExpectFailure([](auto& p) { p.nearDistance = -1; }, "near: expected a distance above 0");
}

TEST(CCamera, Construct_FieldOfViewOutsideItsRangeThrows)
{
    for (const double angle : {0.0, -10.0, 180.0, c_nan})
    {
        ExpectFailure([&](auto& p) { p.fieldOfView = angle; }, "field of view");
    }
}

TEST(CCamera, Construct_OrthographicHeightOutsideItsRangeThrows)
{
    for (const double height : {0.0, -1.0, c_infinity, c_nan})
    {
        ExpectFailure(
            [&](auto& p) {
                p.projection = CCamera::Projection::Orthographic;
                p.orthographicHeight = height;
            },
            "orthographic height");
    }
}

TEST(CCamera, Construct_SizeOfZeroOrAboveTheLimitThrows)
{
    ExpectFailure([](auto& p) { p.width = 0; }, "expected 1 to 16384 pixels on each side, found 0");
    ExpectFailure([](auto& p) { p.height = 0; }, "found 0");
    ExpectFailure([](auto& p) { p.width = 16385; }, "found 16385");
}

TEST(CCamera, Construct_LargestSizeIsAccepted)
{
    CCamera::SParameters parameters = MakeParameters();
    parameters.width = 16384;
    EXPECT_EQ(CCamera(parameters).MakeView().GetWidth(), 16384U);
}

TEST(CCamera, Construct_EyeBeyondFloatThrows)
{
    ExpectFailure([](auto& p) { p.eye = {0, -1e39, 0}; }, "the eye is too far from the target");
    // Each coordinate is a float, their distance is not.
    ExpectFailure([](auto& p) { p.eye = {3e38, 3e38, 0}; }, "the eye is too far from the target");
}

TEST(CCamera, Construct_ScaleBeyondFloatThrows)
{
    ExpectFailure([](auto& p) { p.fieldOfView = 1e-300; }, "field of view: too small");
    ExpectFailure(
        [](auto& p) {
            p.projection = CCamera::Projection::Orthographic;
            p.orthographicHeight = 1e-300;
        },
        "orthographic height: too small");
    // The scale across is beyond float, that of the height is not.
    ExpectFailure(
        [](auto& p) {
            p.projection = CCamera::Projection::Orthographic;
            p.orthographicHeight = 1e-38;
            p.width = 1;
            p.height = 1000;
        },
        "orthographic height: too small");
}

TEST(CCamera, MakeView_PlanesBeyondFloatThrow)
{
    CCamera::SParameters parameters = MakeParameters();
    parameters.nearDistance = 1e39;
    parameters.farDistance = 2e39;
    EXPECT_THROW(static_cast<void>(CCamera(parameters).MakeView()), CInputError);
}

}  // namespace
