#include "Application/Pictures/CPictureProjection.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Application/View/CCamera.h"
#include "Base/Math/PointTransform.h"
#include "Tests/Support/Selections.h"

namespace
{

using Application::CCamera;
using Application::CPictureProjection;
using Application::CView;

/// From the -y side at distance 10, 90 degrees, 100 x 50 pixels.
CView MakeView(CCamera::Projection projection)
{
    CCamera::SParameters parameters;
    parameters.eye = {0, -10, 0};
    parameters.projection = projection;
    parameters.fieldOfView = 90;
    parameters.orthographicHeight = 20;
    parameters.nearDistance = 4;
    parameters.farDistance = 20;
    parameters.width = 100;
    parameters.height = 50;
    return CCamera(parameters).MakeView();
}

LqVector3f TurnNormal(const LqMatrix4Rd& trafo, const LqVector3f& normal)
{
    const CPictureProjection projection(MakeView(CCamera::Projection::Perspective), 1);
    const auto turned =
        TransformHomogeneous(projection.MakeNormalChain(trafo), normal.x, normal.y, normal.z);
    const float length = std::sqrt(turned.x * turned.x + turned.y * turned.y + turned.z * turned.z);
    return {turned.x / length, turned.y / length, turned.z / length};
}

void ExpectNear(const LqVector3f& actual, const LqVector3f& expected)
{
    EXPECT_NEAR(actual.x, expected.x, 1e-6F);
    EXPECT_NEAR(actual.y, expected.y, 1e-6F);
    EXPECT_NEAR(actual.z, expected.z, 1e-6F);
}

TEST(CPictureProjection, GetSampleSize_GrowsWithTheDepthInPerspective)
{
    const CPictureProjection projection(MakeView(CCamera::Projection::Perspective), 2);
    EXPECT_TRUE(projection.IsPerspective());
    EXPECT_EQ(projection.GetWidth(), 200U);
    EXPECT_EQ(projection.GetHeight(), 100U);
    // At distance 10, where 20 units fill the height.
    EXPECT_NEAR(projection.GetSampleSize(10.0F), 0.2F, 1e-6F);
    EXPECT_NEAR(projection.GetSampleSize(5.0F), 0.1F, 1e-6F);
}

TEST(CPictureProjection, GetSampleSize_IsInUnitsOfDeviceZInParallelProjection)
{
    const CPictureProjection projection(MakeView(CCamera::Projection::Orthographic), 2);
    EXPECT_FALSE(projection.IsPerspective());
    // A sample is 0.2 units wide, and 16 units lie between the near and the far plane.
    EXPECT_NEAR(projection.GetSampleSize(0.5F), 0.2F / 16.0F, 1e-7F);
}

TEST(CPictureProjection, MakeNormalChain_TurnsNormalsToRightUpAndViewer)
{
    ExpectNear(TurnNormal(c_matIdentityD, {1, 0, 0}), {1, 0, 0});
    ExpectNear(TurnNormal(c_matIdentityD, {0, 0, 1}), {0, 1, 0});
    ExpectNear(TurnNormal(c_matIdentityD, {0, -1, 0}), {0, 0, 1});
}

TEST(CPictureProjection, MakeNormalChain_KeepsNormalsPerpendicularUnderUnevenScaling)
{
    // The plane x + z = 0 becomes x / 2 + z = 0.
    const float length = std::sqrt(1.25F);
    ExpectNear(TurnNormal(TestSupport::MakeScale(2, 1, 1), {1, 0, 1}),
               {0.5F / length, 1.0F / length, 0});
}

TEST(CPictureProjection, MakeNormalChain_KeepsTheSideUnderMirroring)
{
    ExpectNear(TurnNormal(TestSupport::MakeScale(-1, 1, 1), {0, -1, 0}), {0, 0, 1});
    ExpectNear(TurnNormal(TestSupport::MakeScale(-1, 1, 1), {1, 0, 0}), {-1, 0, 0});
}

TEST(CPictureProjection, MakeChain_LeadsFromTheEntityToClipCoordinates)
{
    const CPictureProjection projection(MakeView(CCamera::Projection::Perspective), 1);
    const LqMatrix4Rf chain = projection.MakeChain(TestSupport::MakeTranslation(1, 2, 3));
    const auto clip = TransformHomogeneous(chain, -1.0F, -2.0F, 2.0F);
    EXPECT_NEAR(clip.x / clip.w, 0.0F, 1e-6F);
    EXPECT_NEAR(clip.y / clip.w, 0.5F, 1e-6F);
    EXPECT_NEAR(clip.w, 10.0F, 1e-6F);
}

}  // namespace
