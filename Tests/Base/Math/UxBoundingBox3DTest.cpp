#include "Base/Math/UxBoundingBox3D.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{

constexpr float c_infinity = std::numeric_limits<float>::infinity();

UxBoundingBox3D MakeBox(LqVector3f min, LqVector3f max)
{
    UxBoundingBox3D box;
    box.box.min = min;
    box.box.max = max;
    return box;
}

TEST(UxBoundingBox3D, DefaultConstructed_IsAnInvalidatedBox)
{
    Geometry::CBox3D invalidated;
    invalidated.Extend(1, 2, 3);
    invalidated.Invalidate();
    EXPECT_EQ(UxBoundingBox3D().box, invalidated);
}

TEST(UxBoundingBox3D, Copy_IsIndependentOfItsSource)
{
    UxBoundingBox3D source = MakeBox({0, 0, 0}, {1, 1, 1});
    UxBoundingBox3D assigned;
    assigned = source;
    const UxBoundingBox3D copied = source;
    source.box.Extend(9, 9, 9);
    EXPECT_EQ(copied, MakeBox({0, 0, 0}, {1, 1, 1}));
    EXPECT_EQ(assigned, copied);
}

TEST(UxBoundingBox3D, Transform_ByTheIdentityChangesNothing)
{
    UxBoundingBox3D box = MakeBox({-1, 2, -3}, {4, 5, 6});
    box.Transform(LqMatrix4Rf(c_matIdentityD));
    EXPECT_EQ(box, MakeBox({-1, 2, -3}, {4, 5, 6}));
}

TEST(UxBoundingBox3D, Transform_TakesTheTranslationFromRowThree)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(3, 0) = 10;
    matrix(3, 1) = 20;
    matrix(3, 2) = 30;
    UxBoundingBox3D box = MakeBox({0, 0, 0}, {1, 2, 3});
    box.Transform(matrix);
    EXPECT_EQ(box, MakeBox({10, 20, 30}, {11, 22, 33}));
}

TEST(UxBoundingBox3D, Transform_TakesAllEightCorners)
{
    // A quarter turn of a shear: the extremes lie on corners other than min and max.
    LqMatrix4Rf matrix;
    matrix(0, 0) = 1;
    matrix(1, 0) = -1;
    matrix(2, 0) = 1;
    matrix(0, 1) = 1;
    matrix(1, 1) = 1;
    matrix(2, 1) = -1;
    matrix(0, 2) = -1;
    matrix(1, 2) = 1;
    matrix(2, 2) = 1;
    matrix(3, 3) = 1;
    UxBoundingBox3D box = MakeBox({0, 0, 0}, {1, 2, 4});
    box.Transform(matrix);
    EXPECT_EQ(box, MakeBox({-2, -4, -1}, {5, 3, 6}));
}

TEST(UxBoundingBox3D, Transform_DividesEachCornerByItsOwnW)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(2, 3) = 1;
    matrix(3, 3) = 0;  // w = z
    UxBoundingBox3D box = MakeBox({-4, 2, 1}, {4, 8, 2});
    box.Transform(matrix);
    EXPECT_EQ(box, MakeBox({-4, 1, 1}, {4, 8, 1}));
}

TEST(UxBoundingBox3D, Transform_CornersBehindTheEyeAreDividedLikeAnyOther)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(2, 3) = 1;
    matrix(3, 3) = 0;  // w = z, from -1 to 2
    UxBoundingBox3D box = MakeBox({2, 2, -1}, {4, 4, 2});
    box.Transform(matrix);
    EXPECT_EQ(box, MakeBox({-4, -4, 1}, {2, 2, 1}));
}

TEST(UxBoundingBox3D, Transform_CornersAtTheEyePlaneMakeTheBoxInfinite)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(2, 3) = 1;
    matrix(3, 3) = 0;  // w = z, from 0 to 2; z / w has no value on the near side
    UxBoundingBox3D box = MakeBox({-2, 2, 0}, {2, 4, 2});
    box.Transform(matrix);
    EXPECT_EQ(box, MakeBox({-c_infinity, 1, 1}, {c_infinity, c_infinity, 1}));
}

TEST(UxBoundingBox3D, Transform_AnAxisWithoutANumberMakesTheBoxEmpty)
{
    UxBoundingBox3D box = MakeBox({0, 0, 0}, {1, 1, 1});
    box.Transform(LqMatrix4Rf(c_matInvalidD));
    EXPECT_TRUE(box.box.IsEmpty());
    EXPECT_FALSE(box.box.Intersects(MakeBox({-1, -1, -1}, {2, 2, 2}).box));
}

TEST(UxBoundingBox3D, Transform_AnEmptyBoxStaysEmpty)
{
    LqMatrix4Rf matrix(c_matIdentityD);
    matrix(0, 0) = -1;  // would turn the inverted corners round
    matrix(1, 1) = -1;
    matrix(2, 2) = -1;
    UxBoundingBox3D box;
    box.Transform(matrix);
    EXPECT_EQ(box, UxBoundingBox3D());
}

TEST(UxBoundingBox3D, Transform_ABoxEmptyOnOneAxisBecomesEmptyAsAWhole)
{
    UxBoundingBox3D box;
    box.box.min.z = 0;
    box.box.max.z = 1;
    box.Transform(LqMatrix4Rf(c_matIdentityD));
    EXPECT_EQ(box, UxBoundingBox3D());
}

}  // namespace
