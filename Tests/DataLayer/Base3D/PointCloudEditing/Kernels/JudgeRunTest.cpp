#include "DataLayer/Base3D/PointCloudEditing/Kernels/JudgeRun.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

constexpr std::uint32_t c_many = 1000;

/// A view whose pixel (column, row) is reached by the position (column, row, 0).
class CPixelView
{
public:
    CPixelView(std::uint32_t width, std::uint32_t height,
               const std::vector<TestSupport::SPixel>& painted)
        : CPixelView(TestSupport::MakeMask(width, height, painted), width, height)
    {}
    CPixelView(std::vector<std::uint8_t> pixels, std::uint32_t width, std::uint32_t height)
        : m_selection(TestSupport::MakeDeviceSelection(std::move(pixels), width, height)),
          m_mask(*m_selection, BoundPaintedPixels(*m_selection))
    {
        // Powers of two as sizes keep this exact.
        m_task.clipX[0] = 2.0F / static_cast<float>(width);
        m_task.clipX[3] = -1.0F;
        m_task.clipY[1] = -2.0F / static_cast<float>(height);
        m_task.clipY[3] = 1.0F;
        m_task.clipW[3] = 1.0F;
        m_task.mask = &m_mask.Get();
    }

    [[nodiscard]] ERunPlace Judge(float minColumn, float minRow, float maxColumn, float maxRow,
                                  std::uint32_t maxNumWords = c_many, bool isFinite = true) const
    {
        SSurfelRun run;
        run.box.Extend(minColumn, minRow, 0.0F);
        run.box.Extend(maxColumn, maxRow, 0.0F);
        run.isFinite = isFinite;
        return JudgeRun(m_task, run, maxNumWords);
    }
    [[nodiscard]] ERunPlace JudgeRunOf(const SSurfelRun& run) const
    {
        return JudgeRun(m_task, run, c_many);
    }

private:
    std::shared_ptr<const Base::SRegionSelectionInfo> m_selection;
    CCutMask m_mask;
    SCutSurfelsTask m_task;
};

/// 128 x 64 pixels, painted from (20, 10) to (90, 30), and with it the pixel (100, 40).
CPixelView MakeView()
{
    std::vector<TestSupport::SPixel> painted{{100, 40}};
    for (std::uint32_t row = 10; row <= 30; ++row)
    {
        for (std::uint32_t column = 20; column <= 90; ++column)
        {
            painted.push_back({column, row});
        }
    }
    return {128, 64, painted};
}

/// Just below \p number, by a step that the projection keeps.
float Below(float number)
{
    return number - 0x1p-12F;
}

TEST(JudgeRun, RunWithinThePaintIsPainted)
{
    const CPixelView view = MakeView();
    EXPECT_EQ(view.Judge(30, 15, 80, 25), ERunPlace::Painted);
    EXPECT_EQ(view.Judge(20, 10, Below(91), Below(31)), ERunPlace::Painted);
    EXPECT_EQ(view.Judge(100, 40, Below(101), Below(41)), ERunPlace::Painted);
}

TEST(JudgeRun, RunThatLeavesThePaintByAPixelIsUnknown)
{
    const CPixelView view = MakeView();
    EXPECT_EQ(view.Judge(Below(20), 10, 50, 25), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(20, Below(10), 50, 25), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(20, 10, 91, 25), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(20, 10, 50, 31), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(100, 40, 101, Below(41)), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(100, 40, Below(101), 41), ERunPlace::Unknown);
}

TEST(JudgeRun, RunBesideTheBoundsOfThePaintIsUnpainted)
{
    const CPixelView view = MakeView();
    EXPECT_EQ(view.Judge(0, 0, Below(20), 63), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(0, 0, 127, Below(10)), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(0, 0, 127, 5), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(101, 0, 5000, 63), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(0, 41, 127, 5000), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(-50, -50, -10, -10), ERunPlace::Unpainted);
}

TEST(JudgeRun, RunBetweenPaintedPixelsIsUnpainted)
{
    const CPixelView view = MakeView();
    EXPECT_EQ(view.Judge(20, 31, Below(100), 40), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(91, 10, 100, Below(40)), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(91, -50, 5000, Below(40)), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(20, 31, 100, 40), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(91, 10, 100, 40), ERunPlace::Unknown);
}

TEST(JudgeRun, UnpaintedPixelAtTheBeginOfTheLastWordLeavesARunUnknown)
{
    std::vector<TestSupport::SPixel> painted;
    for (std::uint32_t column = 1; column <= 64; ++column)
    {
        painted.push_back({column, 4});
        if (column != 33)
        {
            painted.push_back({column, 5});
        }
    }
    const CPixelView view(128, 8, painted);
    EXPECT_EQ(view.Judge(1, 4, Below(65), Below(5)), ERunPlace::Painted);
    EXPECT_EQ(view.Judge(1, 5, Below(65), Below(6)), ERunPlace::Unknown);
}

TEST(JudgeRun, PixelsBesideARunInItsWordsDoNotMatter)
{
    std::vector<TestSupport::SPixel> painted{{1, 4}, {96, 4}};
    for (std::uint32_t column = 4; column <= 90; ++column)
    {
        painted.push_back({column, 5});
    }
    const CPixelView view(128, 8, painted);
    EXPECT_EQ(view.Judge(4, 5, Below(91), Below(6)), ERunPlace::Painted);
}

TEST(JudgeRun, RunThatEndsBehindThePaintDoesNotSeeTheNextRow)
{
    // A row is one whole word.
    const CPixelView view(64, 4, {{1, 1}, {1, 2}, {32, 2}});
    EXPECT_EQ(view.Judge(20, 1, 33, Below(2)), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(20, 1, 40, Below(2)), ERunPlace::Unpainted);
}

TEST(JudgeRun, RunThatBeginsJustBehindThePaintIsUnpainted)
{
    const CPixelView view(64, 4, {{1, 1}, {32, 2}});
    EXPECT_EQ(view.Judge(33, 1, 40, Below(3)), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(1, 3, 40, 4), ERunPlace::Unpainted);
}

TEST(JudgeRun, RunAroundThePaintIsUnknown)
{
    EXPECT_EQ(MakeView().Judge(-1000, -1000, 1000, 1000), ERunPlace::Unknown);
}

TEST(JudgeRun, RowAndColumnZeroAreNeverPainted)
{
    const CPixelView view(std::vector<std::uint8_t>(64 * 64, 1), 64, 64);
    EXPECT_EQ(view.Judge(1, 1, Below(64), Below(64)), ERunPlace::Painted);
    EXPECT_EQ(view.Judge(Below(1), 1, 5, 5), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(1, Below(1), 5, 5), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(1, 1, 64, 5), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(1, 1, 5, 64), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(-5, 0, Below(1), 63), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(0, -5, 63, Below(1)), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(64, 1, 64, 5), ERunPlace::Unpainted);
}

TEST(JudgeRun, NothingPaintedLeavesEveryRunUnpainted)
{
    const CPixelView view(64, 64, {});
    EXPECT_EQ(view.Judge(-1000, -1000, 1000, 1000), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(1, 1, 5, 5), ERunPlace::Unpainted);
}

TEST(JudgeRun, PositionThatIsNotFiniteKeepsARunFromBeingPaintedOnly)
{
    const CPixelView view = MakeView();
    EXPECT_EQ(view.Judge(30, 15, 80, 25, c_many, false), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(0, 0, 10, 63, c_many, false), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(20, 31, 90, 39, c_many, false), ERunPlace::Unpainted);
}

TEST(JudgeRun, RunWithoutAFinitePositionIsUnpainted)
{
    SSurfelRun run;
    run.isFinite = false;
    EXPECT_EQ(MakeView().JudgeRunOf(run), ERunPlace::Unpainted);
}

TEST(JudgeRun, RunWithoutPixelBoundsIsUnknown)
{
    const float largest = std::numeric_limits<float>::max();
    SSurfelRun run;
    run.box.Extend(-largest, -largest, -largest);
    run.box.Extend(largest, largest, largest);
    const CPixelView view(4, 4, {{1, 1}});
    EXPECT_EQ(view.JudgeRunOf(run), ERunPlace::Unknown);
}

TEST(JudgeRun, RunThatTakesMoreWordsThanAllowedIsUnknown)
{
    const CPixelView view = MakeView();
    // Two words to a row, from column 20 on.
    EXPECT_EQ(view.Judge(30, 15, 80, 18, 8), ERunPlace::Painted);
    EXPECT_EQ(view.Judge(30, 15, 80, 18, 7), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(30, 31, 80, 34, 8), ERunPlace::Unpainted);
    EXPECT_EQ(view.Judge(30, 31, 80, 34, 7), ERunPlace::Unknown);
    EXPECT_EQ(view.Judge(0, 0, 10, 10, 0), ERunPlace::Unpainted);
}

}  // namespace

}  // namespace DataLayer
