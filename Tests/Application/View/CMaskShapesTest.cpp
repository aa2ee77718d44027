#include "Application/View/CMaskShapes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "Application/Files/CInputError.h"

namespace
{

using Application::CInputError;
using Application::CMask;
using Application::CMaskShapes;
using Points = std::vector<CMaskShapes::SPoint>;

constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();

/// The rows of the mask, '#' where it is painted.
std::vector<std::string> Draw(const CMask& mask)
{
    std::vector<std::string> rows;
    for (std::uint32_t row = 0; row < mask.GetHeight(); ++row)
    {
        std::string text;
        for (std::uint32_t column = 0; column < mask.GetWidth(); ++column)
        {
            text += mask.IsPainted(column, row) ? '#' : '.';
        }
        rows.push_back(text);
    }
    return rows;
}

std::vector<std::string> DrawRectangle(const CMaskShapes::SRectangle& rectangle)
{
    CMask mask(5, 4);
    CMaskShapes(mask).AddRectangle(rectangle);
    return Draw(mask);
}

std::vector<std::string> DrawLasso(const Points& polygon)
{
    CMask mask(6, 5);
    CMaskShapes(mask).AddLasso(polygon);
    return Draw(mask);
}

std::vector<std::string> DrawBrush(const Points& line, double radius)
{
    CMask mask(7, 5);
    CMaskShapes(mask).AddBrush(line, radius);
    return Draw(mask);
}

using Rows = std::vector<std::string>;
const Rows c_emptyRectangle(4, ".....");
const Rows c_emptyLasso(5, "......");
const Rows c_emptyBrush(5, ".......");

TEST(CMaskShapes, AddRectangle_BothCornersArePainted)
{
    EXPECT_EQ(DrawRectangle({1, 1, 3, 2}), (Rows{".....", ".###.", ".###.", "....."}));
}

TEST(CMaskShapes, AddRectangle_CornersMayComeInAnyOrder)
{
    EXPECT_EQ(DrawRectangle({3, 1, 1, 2}), DrawRectangle({1, 1, 3, 2}));
    EXPECT_EQ(DrawRectangle({3, 2, 1, 1}), DrawRectangle({1, 1, 3, 2}));
}

TEST(CMaskShapes, AddRectangle_SameCornerTwiceIsOnePixel)
{
    EXPECT_EQ(DrawRectangle({4, 3, 4, 3}), (Rows{".....", ".....", ".....", "....#"}));
}

TEST(CMaskShapes, AddRectangle_PartsOutsideAreClipped)
{
    EXPECT_EQ(DrawRectangle({-7, -7, 1, 0}), (Rows{"##...", ".....", ".....", "....."}));
    EXPECT_EQ(DrawRectangle({3, 3, 99, 99}), (Rows{".....", ".....", ".....", "...##"}));
}

TEST(CMaskShapes, AddRectangle_WhollyOutsidePaintsNothing)
{
    EXPECT_EQ(DrawRectangle({-9, 0, -1, 3}), c_emptyRectangle);
    EXPECT_EQ(DrawRectangle({5, 0, 9, 3}), c_emptyRectangle);
    EXPECT_EQ(DrawRectangle({0, -9, 4, -1}), c_emptyRectangle);
    EXPECT_EQ(DrawRectangle({0, 4, 4, 9}), c_emptyRectangle);
}

TEST(CMaskShapes, AddRectangle_ExtremeIntegersPaintEverything)
{
    constexpr auto c_min = std::numeric_limits<std::int64_t>::min();
    constexpr auto c_max = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(DrawRectangle({c_min, c_max, c_max, c_min}), Rows(4, "#####"));
}

TEST(CMaskShapes, AddRectangle_AddsToWhatIsPainted)
{
    CMask mask(3, 1);
    CMaskShapes shapes(mask);
    shapes.AddRectangle({0, 0, 0, 0});
    shapes.AddRectangle({2, 0, 2, 0});
    EXPECT_EQ(Draw(mask), Rows{"#.#"});
}

TEST(CMaskShapes, AddLasso_PaintsPixelsWhoseCentreIsInside)
{
    EXPECT_EQ(DrawLasso({{1, 1}, {4, 1}, {4, 3}, {1, 3}}),
              (Rows{"......", ".###..", ".###..", "......", "......"}));
}

TEST(CMaskShapes, AddLasso_CentresOnLeftAndUpperEdgesAreInside)
{
    EXPECT_EQ(DrawLasso({{1.5, 1.5}, {3.5, 1.5}, {3.5, 3.5}, {1.5, 3.5}}),
              (Rows{"......", ".##...", ".##...", "......", "......"}));
}

TEST(CMaskShapes, AddLasso_DirectionDoesNotMatter)
{
    const Points clockwise = {{0.2, 0.1}, {5.7, 2.3}, {2.4, 4.9}};
    const Points reversed(clockwise.rbegin(), clockwise.rend());
    EXPECT_EQ(DrawLasso(clockwise), DrawLasso(reversed));
}

TEST(CMaskShapes, AddLasso_PolygonsThatShareAnEdgeShareNoPixelAndLeaveNoGap)
{
    const Points edge = {{0.7, -0.3}, {4.9, 5.6}};
    CMask left(6, 5);
    CMaskShapes(left).AddLasso({edge[0], edge[1], {-20, 6}, {-20, -1}});
    CMask right(6, 5);
    CMaskShapes(right).AddLasso({edge[1], edge[0], {20, -1}, {20, 6}});
    for (std::uint32_t row = 0; row < 5; ++row)
    {
        for (std::uint32_t column = 0; column < 6; ++column)
        {
            EXPECT_NE(left.IsPainted(column, row), right.IsPainted(column, row));
        }
    }
}

TEST(CMaskShapes, AddLasso_BothLoopsOfAnEightArePainted)
{
    EXPECT_EQ(DrawLasso({{0, 0}, {6, 5}, {6, 0}, {0, 5}}), (Rows{"#....#", "##..##",
                                                                 "###"
                                                                 "###",
                                                                 "##..##", "#....#"}));
}

TEST(CMaskShapes, AddLasso_LoopDrawnTwiceIsPainted)
{
    EXPECT_EQ(DrawLasso({{1, 1}, {4, 1}, {4, 3}, {1, 3}, {1, 1}, {4, 1}, {4, 3}, {1, 3}}),
              DrawLasso({{1, 1}, {4, 1}, {4, 3}, {1, 3}}));
}

TEST(CMaskShapes, AddLasso_ClosingPointGivenAgainChangesNothing)
{
    EXPECT_EQ(DrawLasso({{1, 1}, {4, 1}, {4, 3}, {1, 3}, {1, 1}}),
              DrawLasso({{1, 1}, {4, 1}, {4, 3}, {1, 3}}));
}

TEST(CMaskShapes, AddLasso_AroundEverythingPaintsEverything)
{
    EXPECT_EQ(DrawLasso({{-1e9, -1e9}, {1e9, -1e9}, {1e9, 1e9}, {-1e9, 1e9}}), Rows(5, "######"));
}

TEST(CMaskShapes, AddLasso_WhollyOutsidePaintsNothing)
{
    EXPECT_EQ(DrawLasso({{7, 0}, {9, 0}, {9, 4}}), c_emptyLasso);
    EXPECT_EQ(DrawLasso({{-9, 0}, {-1, 0}, {-1, 4}}), c_emptyLasso);
    EXPECT_EQ(DrawLasso({{0, -9}, {5, -9}, {5, -1}}), c_emptyLasso);
    EXPECT_EQ(DrawLasso({{0, 6}, {5, 6}, {5, 9}}), c_emptyLasso);
}

TEST(CMaskShapes, AddLasso_WithoutAreaPaintsNothing)
{
    EXPECT_EQ(DrawLasso({{0, 0}, {3, 3}, {6, 6}}), c_emptyLasso);
    EXPECT_EQ(DrawLasso({{2.5, 2.5}, {2.5, 2.5}, {2.5, 2.5}}), c_emptyLasso);
}

/// The winding number of the polygon around a point, by the plain definition.
int ComputeWinding(const Points& polygon, double x, double y)
{
    double angle = 0.0;
    for (std::size_t index = 0; index < polygon.size(); ++index)
    {
        const auto& a = polygon[index];
        const auto& b = polygon[(index + 1) % polygon.size()];
        const double cross = (a.x - x) * (b.y - y) - (a.y - y) * (b.x - x);
        const double dot = (a.x - x) * (b.x - x) + (a.y - y) * (b.y - y);
        angle += std::atan2(cross, dot);
    }
    return static_cast<int>(std::lround(angle / (2.0 * 3.14159265358979323846)));
}

TEST(CMaskShapes, AddLasso_AgreesWithTheWindingNumberOfEveryCentre)
{
    // Scribbles whose corners avoid the centres, from a linear congruential generator.
    std::uint32_t state = 7;
    const auto next = [&] {
        state = state * 1664525U + 1013904223U;
        return static_cast<double>(state >> 16U) / 65536.0 * 30.0 - 5.0 + 1e-4;
    };
    for (int round = 0; round < 50; ++round)
    {
        Points polygon(static_cast<std::size_t>(3 + round % 9));
        for (auto& point : polygon)
        {
            point = {next(), next()};
        }
        CMask mask(20, 20);
        CMaskShapes(mask).AddLasso(polygon);
        for (std::uint32_t row = 0; row < 20; ++row)
        {
            for (std::uint32_t column = 0; column < 20; ++column)
            {
                EXPECT_EQ(mask.IsPainted(column, row),
                          ComputeWinding(polygon, column + 0.5, row + 0.5) != 0)
                    << "round " << round << " column " << column << " row " << row;
            }
        }
    }
}

TEST(CMaskShapes, AddLasso_LessThanThreePointsThrow)
{
    CMask mask(4, 4);
    EXPECT_THROW(CMaskShapes(mask).AddLasso({}), CInputError);
    EXPECT_THROW(CMaskShapes(mask).AddLasso({{0, 0}, {4, 4}}), CInputError);
}

TEST(CMaskShapes, AddLasso_CoordinateOutOfRangeThrowsAndPaintsNothing)
{
    CMask mask(4, 4);
    for (const double bad : {c_nan, std::numeric_limits<double>::infinity(), 1.1e9, -1.1e9})
    {
        EXPECT_THROW(CMaskShapes(mask).AddLasso({{0, 0}, {4, 0}, {bad, 4}}), CInputError);
        EXPECT_THROW(CMaskShapes(mask).AddLasso({{0, 0}, {4, 0}, {4, bad}}), CInputError);
    }
    EXPECT_EQ(mask, CMask(mask.GetWidth(), mask.GetHeight()));
}

TEST(CMaskShapes, AddBrush_SinglePointIsARoundDot)
{
    EXPECT_EQ(DrawBrush({{3.5, 2.5}}, 1.5),
              (Rows{".......", "..###..", "..###..", "..###..", "......."}));
    EXPECT_EQ(DrawBrush({{3.5, 2.5}}, 1.0),
              (Rows{".......", "...#...", "..###..", "...#...", "......."}));
}

TEST(CMaskShapes, AddBrush_StrokeCoversABandWithRoundEnds)
{
    EXPECT_EQ(DrawBrush({{1.5, 2.5}, {5.5, 2.5}}, 1.0),
              (Rows{".......", ".#####.", "#######", ".#####.", "......."}));
}

TEST(CMaskShapes, AddBrush_EveryPieceOfTheLineIsPainted)
{
    EXPECT_EQ(DrawBrush({{0.5, 0.5}, {6.5, 0.5}, {6.5, 4.5}}, 0.5),
              (Rows{"#######", "......#", "......#", "......#", "......#"}));
}

TEST(CMaskShapes, AddBrush_PartsOutsideAreClipped)
{
    EXPECT_EQ(DrawBrush({{-1e9, 2.5}, {1e9, 2.5}}, 0.5),
              (Rows{".......", ".......", "#######", ".......", "......."}));
    EXPECT_EQ(DrawBrush({{3, 2}}, 1e9), Rows(5, "#######"));
}

TEST(CMaskShapes, AddBrush_WhollyOutsidePaintsNothing)
{
    EXPECT_EQ(DrawBrush({{-5, 2}, {-5, 3}}, 2), c_emptyBrush);
    EXPECT_EQ(DrawBrush({{3, 40}, {9, 50}}, 2), c_emptyBrush);
}

TEST(CMaskShapes, AddBrush_AgreesWithTheDistanceOfEveryCentre)
{
    const CMaskShapes::SPoint from{2.3, 17.9};
    const CMaskShapes::SPoint to{16.1, 3.2};
    CMask mask(20, 20);
    CMaskShapes(mask).AddBrush({from, to}, 2.25);
    for (std::uint32_t row = 0; row < 20; ++row)
    {
        for (std::uint32_t column = 0; column < 20; ++column)
        {
            // The distance to the nearest of many points of the line.
            double nearest = 1e9;
            for (int step = 0; step <= 20000; ++step)
            {
                const double t = step / 20000.0;
                nearest = std::min(nearest, std::hypot(from.x + t * (to.x - from.x) - column - 0.5,
                                                       from.y + t * (to.y - from.y) - row - 0.5));
            }
            if (std::abs(nearest - 2.25) > 1e-3)
            {
                EXPECT_EQ(mask.IsPainted(column, row), nearest <= 2.25);
            }
        }
    }
}

TEST(CMaskShapes, AddBrush_BadLineOrRadiusThrowsAndPaintsNothing)
{
    CMask mask(4, 4);
    CMaskShapes shapes(mask);
    EXPECT_THROW(shapes.AddBrush({}, 1), CInputError);
    EXPECT_THROW(shapes.AddBrush({{1, 1}, {c_nan, 1}}, 1), CInputError);
    for (const double radius : {0.0, -1.0, c_nan, 1.1e9})
    {
        EXPECT_THROW(shapes.AddBrush({{1, 1}}, radius), CInputError);
    }
    EXPECT_EQ(mask, CMask(mask.GetWidth(), mask.GetHeight()));
}

}  // namespace
