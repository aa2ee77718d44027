#include "DataLayer/Base3D/PointCloudEditing/Kernels/PaintedBands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

constexpr float c_infinity = std::numeric_limits<float>::infinity();

enum class Verdict
{
    Unpainted,
    Painted,
    Open
};

/// What bands tell of a surfel in the rectangle of the painted pixels.
Verdict Judge(const SPaintedBands& bands, float x, float y)
{
    const float place = std::fma(y, bands.bandsPerDevice, bands.bandOfZero);
    const std::uint32_t band =
        static_cast<std::uint32_t>(static_cast<std::int32_t>(place)) % c_numBands;
    const float left = std::fma(bands.left.slopes[band], y, x);
    const float right = std::fma(bands.right.slopes[band], y, -x);
    if (left > bands.left.inner[band] && right > bands.right.inner[band])
    {
        return Verdict::Painted;
    }
    return left >= bands.left.outer[band] && right >= bands.right.outer[band] ? Verdict::Open
                                                                              : Verdict::Unpainted;
}

using Paint = std::function<bool(float column, float row)>;

/// A mask, for instance one whose pixels are painted where a function says so of their centres.
class CPainted
{
public:
    explicit CPainted(std::shared_ptr<const Base::SRegionSelectionInfo> selection)
        : m_selection(std::move(selection)), m_mask(*m_selection, BoundPaintedPixels(*m_selection))
    {}
    CPainted(std::uint32_t width, std::uint32_t height, const Paint& paint)
        : CPainted(TestSupport::MakeDeviceSelection(makeBytes(width, height, paint), width, height))
    {}

    [[nodiscard]] const SCutMask& Get() const { return m_mask.Get(); }
    [[nodiscard]] bool IsPainted(std::uint32_t column, std::uint32_t row) const
    {
        return m_selection->maskData[std::size_t{row} * m_selection->maskWidth + column] == 1;
    }
    /// What the bands tell of the centre of a pixel.
    [[nodiscard]] Verdict JudgePixel(std::uint32_t column, std::uint32_t row) const
    {
        const auto centreOf = [](std::uint32_t pixel, float size) {
            return (2.0F * static_cast<float>(pixel) + 1.0F) / size - 1.0F;
        };
        return Judge(Get().bands, centreOf(column, Get().width), centreOf(row, Get().height));
    }

private:
    static std::vector<std::uint8_t> makeBytes(std::uint32_t width, std::uint32_t height,
                                               const Paint& paint)
    {
        std::vector<std::uint8_t> bytes;
        for (std::uint32_t row = 0; row < height; ++row)
        {
            for (std::uint32_t column = 0; column < width; ++column)
            {
                bytes.push_back(
                    paint(static_cast<float>(column) + 0.5F, static_cast<float>(row) + 0.5F) ? 1
                                                                                             : 0);
            }
        }
        return bytes;
    }

    std::shared_ptr<const Base::SRegionSelectionInfo> m_selection;
    CCutMask m_mask;
};

Paint Ellipse(float column, float row, float halfWidth, float halfHeight)
{
    return [=](float x, float y) {
        return std::hypot((x - column) / halfWidth, (y - row) / halfHeight) < 1.0F;
    };
}

/// The device coordinates of a range at which a pixel of a view of so many begins, and those
/// beside them.
std::vector<float> FindBorders(const SDeviceRange& range, std::uint32_t first, std::uint32_t end,
                               float size)
{
    std::set<float> values{range.first, std::nextafter(range.end, -c_infinity)};
    for (std::uint32_t pixel = first; pixel <= end; ++pixel)
    {
        // The last one before the border, by halving.
        float value = 2.0F * static_cast<float>(pixel) / size - 1.0F - 1e-5F;
        for (float step = 1e-5F; value + step != value; step /= 2.0F)
        {
            if (DeviceToPixelX(value + step, size) < static_cast<float>(pixel))
            {
                value += step;
            }
        }
        value = std::nextafter(value, -c_infinity);
        for (unsigned step = 0; step < 4; ++step)
        {
            if (value >= range.first && value < range.end)
            {
                values.insert(value);
            }
            value = std::nextafter(value, c_infinity);
        }
    }
    return {values.begin(), values.end()};
}

/// Expects that what the bands tell of surfels at all borders of pixels is true. A whole rectangle
/// has none.
void ExpectTrue(const CPainted& painted)
{
    const SCutMask& mask = painted.Get();
    if (mask.isWhole)
    {
        return;
    }
    const auto columns =
        FindBorders(mask.deviceColumns, mask.firstColumn, mask.endColumn, mask.width);
    for (const float y : FindBorders(mask.deviceRows, mask.firstRow, mask.endRow, mask.height))
    {
        const auto row = static_cast<std::uint32_t>(DeviceToPixelX(y, mask.height));
        for (const float x : columns)
        {
            const Verdict verdict = Judge(mask.bands, x, y);
            if (verdict != Verdict::Open)
            {
                const auto column = static_cast<std::uint32_t>(DeviceToPixelX(x, mask.width));
                ASSERT_EQ(verdict == Verdict::Painted, painted.IsPainted(column, row))
                    << x << ", " << y << ": pixel " << column << ", " << row;
            }
        }
    }
}

/// So many pixels of the rectangle are painted and unpainted by their centres.
struct SCounts
{
    unsigned painted = 0;
    unsigned unpainted = 0;
};

SCounts Count(const CPainted& painted)
{
    SCounts counts;
    const SCutMask& mask = painted.Get();
    for (std::uint32_t row = mask.firstRow; row < mask.endRow; ++row)
    {
        for (std::uint32_t column = mask.firstColumn; column < mask.endColumn; ++column)
        {
            const Verdict verdict = painted.JudgePixel(column, row);
            counts.painted += verdict == Verdict::Painted ? 1 : 0;
            counts.unpainted += verdict == Verdict::Unpainted ? 1 : 0;
        }
    }
    return counts;
}

TEST(PaintedBands, TellTheTruthOfEllipsesOfEverySize)
{
    std::mt19937 random(1);
    for (unsigned round = 0; round < 300; ++round)
    {
        const auto width = static_cast<std::uint32_t>(2 + random() % 150);
        const auto height = static_cast<std::uint32_t>(2 + random() % 150);
        const auto part = [&](std::uint32_t size) {
            return static_cast<float>(size) * static_cast<float>(random() % 1000) / 1000.0F;
        };
        ExpectTrue(
            CPainted(width, height, Ellipse(part(width), part(height), part(width), part(height))));
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

TEST(PaintedBands, TellTheTruthOfPaintWithHolesAndGaps)
{
    std::mt19937 random(2);
    for (unsigned round = 0; round < 300; ++round)
    {
        const auto width = static_cast<std::uint32_t>(2 + random() % 100);
        const auto height = static_cast<std::uint32_t>(2 + random() % 60);
        const std::uint64_t rarity = 1 + random() % 200;
        const bool isInverse = random() % 2 == 0;
        ExpectTrue(CPainted(width, height, [&](float /*column*/, float row) {
            const bool isEmptyRow = static_cast<unsigned>(row) % 11 == round % 13;
            return !isEmptyRow && (random() % rarity == 0) != isInverse;
        }));
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

TEST(PaintedBands, TellTheTruthOfLargeViews)
{
    // Sizes whose pixels begin at rounded device coordinates.
    for (const std::uint32_t size : {1920U, 3001U, 10007U})
    {
        const auto middle = static_cast<float>(size) / 2.0F;
        ExpectTrue(CPainted(size, 37, Ellipse(middle, 18.0F, middle * 0.9F, 15.5F)));
        ExpectTrue(CPainted(37, size, Ellipse(18.0F, middle, 15.5F, middle * 0.9F)));
    }
}

TEST(PaintedBands, LeaveLittleOfAnEllipseOpen)
{
    const CPainted painted(1280, 720, Ellipse(500.0F, 360.0F, 240.0F, 260.0F));
    const SCounts counts = Count(painted);
    // All but a fiftieth of the rectangle, of 249,600 pixels.
    EXPECT_GT(counts.painted, 192700U);
    EXPECT_GT(counts.unpainted, 51400U);
}

TEST(PaintedBands, LeaveOnlyTheBordersOfStraightPaintOpen)
{
    for (const float slope : {0.125F, 0.25F, -0.25F, 1.0F, -1.0F})
    {
        const auto distanceToBorder = [&](float column, float row) {
            const float first = 150.0F + slope * (row - 50.0F);
            return std::min(column - first, first + 100.0F - column);
        };
        const CPainted painted(400, 120, [&](float column, float row) {
            return row > 10.0F && row < 110.0F && distanceToBorder(column, row) > 0.0F;
        });
        const SCutMask& mask = painted.Get();
        for (std::uint32_t row = mask.firstRow; row < mask.endRow; ++row)
        {
            for (std::uint32_t column = mask.firstColumn; column < mask.endColumn; ++column)
            {
                const float distance = distanceToBorder(static_cast<float>(column) + 0.5F,
                                                        static_cast<float>(row) + 0.5F);
                if (std::abs(distance) > 2.0F)
                {
                    ASSERT_EQ(painted.JudgePixel(column, row),
                              distance > 0.0F ? Verdict::Painted : Verdict::Unpainted)
                        << slope << ": pixel " << column << ", " << row;
                }
            }
        }
    }
}

TEST(PaintedBands, LeaveOnlyTheBandsOfHolesOpen)
{
    const CPainted painted(200, 200, [](float column, float row) {
        const bool isHole = column == 100.5F && row == 100.5F;
        return column > 20.0F && column < 180.0F && row > 20.0F && row < 180.0F && !isHole;
    });
    EXPECT_EQ(painted.JudgePixel(100, 100), Verdict::Open);
    EXPECT_EQ(painted.JudgePixel(30, 100), Verdict::Open);
    EXPECT_EQ(painted.JudgePixel(100, 85), Verdict::Painted);
    EXPECT_EQ(painted.JudgePixel(100, 115), Verdict::Painted);
}

TEST(PaintedBands, PayWhereFewRowsHaveGaps)
{
    const auto doPay = [](const Paint& paint) {
        return CPainted(200, 170, paint).Get().bands.doPay;
    };
    // Rows 5 to 165, ten to a band, from some row on with a gap or without paint.
    const auto square = [](float gap, float empty) {
        return [=](float column, float row) {
            const bool isGap = row > gap && column > 90.0F && column < 110.0F;
            return std::abs(column - 100.0F) < 80.0F && std::abs(row - 85.0F) < 80.0F && !isGap &&
                   (row < empty || row > 160.0F);
        };
    };
    EXPECT_TRUE(doPay(Ellipse(100.0F, 85.0F, 80.0F, 80.0F)));
    EXPECT_TRUE(doPay(square(102.0F, 170.0F)));
    EXPECT_FALSE(doPay(square(72.0F, 170.0F)));
    EXPECT_TRUE(doPay(square(170.0F, 102.0F)));
    EXPECT_FALSE(doPay(square(170.0F, 72.0F)));
    EXPECT_FALSE(doPay(square(5.0F, 170.0F)));
}

TEST(PaintedBands, TellTheTruthOfTheLargestViews)
{
    // Here an error of device coordinates is as large as pixels.
    constexpr std::uint32_t c_largest = 1U << 24;
    constexpr std::pair<std::uint32_t, std::uint32_t> c_pixels[] = {{1, 0}, {3, 0}, {2, 1}};
    for (const std::uint32_t first : {1U, c_largest / 2 - 1, c_largest - 3})
    {
        std::vector<TestSupport::SPixel> rows;
        std::vector<TestSupport::SPixel> columns;
        for (const auto& [along, across] : c_pixels)
        {
            rows.push_back({along, first + across});
            columns.push_back({first + across, along});
        }
        ExpectTrue(CPainted(TestSupport::MakeDeviceSelection(5, c_largest, rows)));
        ExpectTrue(CPainted(TestSupport::MakeDeviceSelection(c_largest, 5, columns)));
    }
}

}  // namespace

}  // namespace DataLayer
