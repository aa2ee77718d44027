#include "Application/Scans/CCoordinateShift.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace
{

using Application::CCoordinateShift;
using Precision = CCoordinateShift::Precision;
using Points = std::vector<std::array<double, 3>>;

[[nodiscard]] CCoordinateShift Choose(const Points& points, Precision precision)
{
    CCoordinateShift shift;
    for (const auto& [x, y, z] : points)
    {
        shift.Extend(x, y, z);
    }
    shift.Choose(precision);
    return shift;
}

[[nodiscard]] std::array<double, 3> OffsetOf(const CCoordinateShift& shift)
{
    const LqMatrix4Rd transform = shift.GetTransform();
    return {transform(3, 0), transform(3, 1), transform(3, 2)};
}

TEST(CCoordinateShift, Choose_NothingGivesTheIdentity)
{
    EXPECT_EQ(Choose({}, Precision::Double).GetTransform(), c_matIdentityD);
}

TEST(CCoordinateShift, Choose_ExactFloatsAreNotShifted)
{
    EXPECT_EQ(Choose({{16777216, 0.5, -3}, {1, 2, 3}}, Precision::Double).GetTransform(),
              c_matIdentityD);
}

TEST(CCoordinateShift, Choose_OffsetIsAMultipleOfAPowerOfTwoAboveTheExtent)
{
    const CCoordinateShift shift =
        Choose({{1000.1, -1000, 1}, {1003.3, -998, 2}}, Precision::Double);

    EXPECT_EQ(OffsetOf(shift), (std::array<double, 3>{1000, -1000, 0}));
}

TEST(CCoordinateShift, Choose_DoublesAroundTheOriginStayAroundIt)
{
    EXPECT_EQ(Choose({{-1.1, -1, 0}, {1.1, 1, 0.3}}, Precision::Double).GetTransform(),
              c_matIdentityD);
}

TEST(CCoordinateShift, Choose_TextIsShiftedOnlyWhereSinglePrecisionIsTooCoarse)
{
    // At 16 times the extent, half a float's step is 2^-20 of the extent.
    EXPECT_EQ(Choose({{15, 0.1, 0}, {16, 0.1, 0}}, Precision::Text).GetTransform(), c_matIdentityD);
    EXPECT_EQ(Choose({{15.01, 0.1, 0}, {16, 0.1, 0}}, Precision::Text).GetTransform()(3, 0), 16);
    EXPECT_EQ(Choose({{15, 0.1, 0}, {16, 0.1, 0}}, Precision::Double).GetTransform()(3, 0), 16);
}

TEST(CCoordinateShift, Choose_OnePointBecomesTheOrigin)
{
    const CCoordinateShift shift = Choose({{0.1, 5e6 + 0.1, 7}}, Precision::Double);

    EXPECT_EQ(OffsetOf(shift), (std::array<double, 3>{0.1, 5e6 + 0.1, 7}));
    EXPECT_EQ(shift.Apply(0.1, 5e6 + 0.1, 7), (LqVector3f{0, 0, 0}));
}

TEST(CCoordinateShift, Choose_NonFiniteCoordinatesDoNotCount)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const CCoordinateShift shift = Choose(
        {{nan, infinity, -infinity}, {1000.1, 1000, 1000}, {1003.3, nan, 1001}}, Precision::Double);

    EXPECT_EQ(OffsetOf(shift), (std::array<double, 3>{1000, 1000, 1000}));
    EXPECT_EQ(shift.Apply(1, infinity, 2).y, std::numeric_limits<float>::infinity());
}

TEST(CCoordinateShift, Choose_ExtentBeyondDoubleIsLeftAlone)
{
    const double most = std::numeric_limits<double>::max();

    EXPECT_EQ(Choose({{-most, 0, 0}, {most, 0, 0}}, Precision::Double).GetTransform(),
              c_matIdentityD);
}

}  // namespace
