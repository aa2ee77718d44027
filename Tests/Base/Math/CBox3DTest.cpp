#include "Base/Math/CBox3D.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

namespace
{

using Geometry::CBox3D;

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

CBox3D MakeBox(LqVector3f min, LqVector3f max)
{
    CBox3D box;
    box.min = min;
    box.max = max;
    return box;
}

const CBox3D c_unitBox = MakeBox({0, 0, 0}, {1, 1, 1});

TEST(CBox3D, Layout_IsSixFloatsMinThenMax)
{
    const CBox3D box = MakeBox({1, 2, 3}, {4, 5, 6});
    float values[6];
    static_assert(sizeof values == sizeof box);
    std::memcpy(values, &box, sizeof box);
    for (int index = 0; index < 6; ++index)
    {
        EXPECT_EQ(values[index], static_cast<float>(index + 1));
    }
}

TEST(CBox3D, DefaultConstructed_IsEmpty)
{
    EXPECT_TRUE(CBox3D().IsEmpty());
}

TEST(CBox3D, Invalidate_GivesTheStateOfADefaultConstructedBox)
{
    CBox3D box = c_unitBox;
    box.Invalidate();
    EXPECT_EQ(box, CBox3D());
}

TEST(CBox3D, Equal_OnlyWhenBothCornersAre)
{
    EXPECT_TRUE(c_unitBox == MakeBox({0, 0, 0}, {1, 1, 1}));
    EXPECT_FALSE(c_unitBox == MakeBox({0, 0, 9}, {1, 1, 1}));
    EXPECT_FALSE(c_unitBox == MakeBox({0, 0, 0}, {1, 1, 9}));
}

TEST(CBox3D, IsEmpty_FalseForASinglePoint)
{
    EXPECT_FALSE(MakeBox({1, 2, 3}, {1, 2, 3}).IsEmpty());
}

TEST(CBox3D, IsEmpty_TrueWhenOneAxisIsInverted)
{
    EXPECT_TRUE(MakeBox({0, 0, 1}, {1, 1, std::nextafter(1.0F, 0.0F)}).IsEmpty());
    EXPECT_TRUE(MakeBox({0, 1, 0}, {1, 0, 1}).IsEmpty());
    EXPECT_TRUE(MakeBox({1, 0, 0}, {0, 1, 1}).IsEmpty());
}

TEST(CBox3D, IsEmpty_TrueWhenACornerIsNotANumber)
{
    EXPECT_TRUE(MakeBox({0, c_nan, 0}, {1, 1, 1}).IsEmpty());
    EXPECT_TRUE(MakeBox({0, 0, 0}, {1, 1, c_nan}).IsEmpty());
}

TEST(CBox3D, Extend_FirstPointSetsBothCorners)
{
    CBox3D box;
    box.Extend(-3.5F, 2, 7);
    EXPECT_EQ(box, MakeBox({-3.5F, 2, 7}, {-3.5F, 2, 7}));
}

TEST(CBox3D, Extend_FirstPointAfterInvalidateSetsBothCorners)
{
    CBox3D box = MakeBox({-100, -100, -100}, {100, 100, 100});
    box.Invalidate();
    box.Extend(1, 2, 3);
    EXPECT_EQ(box, MakeBox({1, 2, 3}, {1, 2, 3}));
}

TEST(CBox3D, Extend_GrowsEachAxisByItself)
{
    CBox3D box = c_unitBox;
    box.Extend(-1, 0.5F, 2);
    EXPECT_EQ(box, MakeBox({-1, 0, 0}, {1, 1, 2}));
}

TEST(CBox3D, Extend_PointInsideChangesNothing)
{
    CBox3D box = c_unitBox;
    box.Extend(0.25F, 0.5F, 0.75F);
    EXPECT_EQ(box, c_unitBox);
}

TEST(CBox3D, Extend_VectorDoesTheSameAsThreeCoordinates)
{
    CBox3D byVector = c_unitBox;
    byVector.Extend(LqVector3f{-4, 5, -6});
    CBox3D byCoordinates = c_unitBox;
    byCoordinates.Extend(-4, 5, -6);
    EXPECT_EQ(byVector, byCoordinates);
    EXPECT_EQ(byVector, MakeBox({-4, 0, -6}, {1, 5, 1}));
}

TEST(CBox3D, Extend_OfZerosOfEitherSignTheFirstStays)
{
    for (const float first : {0.0F, -0.0F})
    {
        CBox3D box;
        box.Extend(first, first, first);
        box.Extend(-first, -first, -first);
        for (const float bound : {box.min.x, box.min.y, box.min.z, box.max.x, box.max.y, box.max.z})
        {
            EXPECT_EQ(std::signbit(bound), std::signbit(first));
        }
    }
}

TEST(CBox3D, Extend_NotANumberLeavesItsAxisAlone)
{
    CBox3D box = c_unitBox;
    box.Extend(c_nan, 3, c_nan);
    EXPECT_EQ(box, MakeBox({0, 0, 0}, {1, 3, 1}));
}

TEST(CBox3D, Extend_OnlyNotANumberLeavesAnEmptyBoxEmpty)
{
    CBox3D box;
    box.Extend(1, c_nan, 3);
    EXPECT_TRUE(box.IsEmpty());
    EXPECT_EQ(box.min.x, 1);
    EXPECT_EQ(box.max.x, 1);
}

TEST(CBox3D, Extend_InfinitePointIsAPoint)
{
    CBox3D box;
    box.Extend(c_infinity, -c_infinity, 0);
    EXPECT_FALSE(box.IsEmpty());
    EXPECT_EQ(box, MakeBox({c_infinity, -c_infinity, 0}, {c_infinity, -c_infinity, 0}));
}

TEST(CBox3D, Extend_LargestFloatsAreKept)
{
    const float largest = std::numeric_limits<float>::max();
    CBox3D box;
    box.Extend(largest, -largest, largest);
    EXPECT_EQ(box, MakeBox({largest, -largest, largest}, {largest, -largest, largest}));
}

TEST(CBox3D, Intersects_BoxesThatTouchOverlap)
{
    for (const CBox3D& other : {MakeBox({1, 0, 0}, {2, 1, 1}), MakeBox({0, 1, 0}, {1, 2, 1}),
                                MakeBox({0, 0, 1}, {1, 1, 2})})
    {
        EXPECT_TRUE(c_unitBox.Intersects(other));
        EXPECT_TRUE(other.Intersects(c_unitBox));
    }
    EXPECT_TRUE(c_unitBox.Intersects(MakeBox({1, 1, 1}, {2, 2, 2})));
}

TEST(CBox3D, Intersects_FalseWhenApartOnASingleAxis)
{
    const float above = std::nextafter(1.0F, 2.0F);
    const float below = -std::numeric_limits<float>::denorm_min();
    EXPECT_FALSE(c_unitBox.Intersects(MakeBox({above, 0, 0}, {2, 1, 1})));
    EXPECT_FALSE(c_unitBox.Intersects(MakeBox({0, above, 0}, {1, 2, 1})));
    EXPECT_FALSE(c_unitBox.Intersects(MakeBox({0, 0, above}, {1, 1, 2})));
    EXPECT_FALSE(c_unitBox.Intersects(MakeBox({-1, 0, 0}, {below, 1, 1})));
    EXPECT_FALSE(c_unitBox.Intersects(MakeBox({0, -1, 0}, {1, below, 1})));
    EXPECT_FALSE(c_unitBox.Intersects(MakeBox({0, 0, -1}, {1, 1, below})));
}

TEST(CBox3D, Intersects_TrueWhenOneContainsTheOther)
{
    const CBox3D inner = MakeBox({0.25F, 0.25F, 0.25F}, {0.5F, 0.5F, 0.5F});
    EXPECT_TRUE(c_unitBox.Intersects(inner));
    EXPECT_TRUE(inner.Intersects(c_unitBox));
}

TEST(CBox3D, Intersects_EmptyBoxOverlapsNothing)
{
    const CBox3D everything =
        MakeBox({-c_infinity, -c_infinity, -c_infinity}, {c_infinity, c_infinity, c_infinity});
    EXPECT_FALSE(CBox3D().Intersects(everything));
    EXPECT_FALSE(everything.Intersects(CBox3D()));
    EXPECT_FALSE(CBox3D().Intersects(CBox3D()));
}

TEST(CBox3D, Intersects_BoxEmptyOnOneAxisOverlapsNothing)
{
    CBox3D onlyDepth;
    onlyDepth.min.z = 0;
    onlyDepth.max.z = 1;
    EXPECT_FALSE(onlyDepth.Intersects(c_unitBox));
    EXPECT_FALSE(c_unitBox.Intersects(onlyDepth));
}

TEST(CBox3D, Intersects_InfiniteBoxOverlapsEveryBoxThatIsNotEmpty)
{
    const CBox3D everything =
        MakeBox({-c_infinity, -c_infinity, -c_infinity}, {c_infinity, c_infinity, c_infinity});
    EXPECT_TRUE(everything.Intersects(c_unitBox));
    EXPECT_TRUE(c_unitBox.Intersects(everything));
}

}  // namespace
