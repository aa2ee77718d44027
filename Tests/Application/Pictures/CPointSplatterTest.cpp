#include "Application/Pictures/CPointSplatter.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "Application/View/CCamera.h"

namespace
{

using Application::CCamera;
using Application::CDepthBuffer;
using Application::CDepthPlane;
using Application::CPictureProjection;
using Application::CPointSamples;
using Application::CPointSplatter;

constexpr std::uint32_t c_width = 41;
constexpr std::uint32_t c_height = 47;

CPictureProjection MakeProjection(CCamera::Projection projection, std::uint32_t height = c_height)
{
    CCamera::SParameters parameters;
    parameters.projection = projection;
    parameters.width = c_width;
    parameters.height = height;
    return CPictureProjection(CCamera(parameters).MakeView(), 1);
}

CPointSamples ToSamples(const CDepthBuffer& buffer)
{
    CDepthBuffer copy(buffer.GetWidth(), buffer.GetHeight());
    std::copy_n(buffer.GetWords(), std::size_t{buffer.GetWidth()} * buffer.GetHeight(),
                copy.GetWords());
    return {std::move(copy), CPointSplatter::FindReach(1)};
}

/// So many percent of the samples, at depths of two surfaces or in between.
CDepthBuffer StrewSamples(unsigned percent, float thickness, std::uint32_t height = c_height)
{
    std::mt19937 generator(percent);
    CDepthBuffer buffer(c_width, height);
    for (std::size_t index = 0; index < std::size_t{c_width} * height; ++index)
    {
        if (generator() % 100 < percent)
        {
            const float share = static_cast<float>(generator()) * 0x1p-32F;
            const float depth = (generator() % 2 == 0 ? 1.0F : 2.0F) + thickness * share;
            buffer.Draw(index, CDepthBuffer::Pack(depth, 0, {}));
        }
    }
    return buffer;
}

/// The distance of the sixth nearest sample of the same surface, within 18 samples.
std::uint8_t FindRadiusPlainly(const CPictureProjection& projection, const CDepthBuffer& buffer,
                               std::uint32_t column, std::uint32_t row)
{
    const float depth = CDepthBuffer::DepthOf(buffer.Get(buffer.IndexOf(column, row)));
    const float tolerance = 4.0F * projection.GetSampleSize(depth);
    std::vector<float> distances;
    for (std::uint32_t otherRow = 0; otherRow < c_height; ++otherRow)
    {
        for (std::uint32_t other = 0; other < c_width; ++other)
        {
            const int x = static_cast<int>(other) - static_cast<int>(column);
            const int y = static_cast<int>(otherRow) - static_cast<int>(row);
            const std::uint64_t word = buffer.Get(buffer.IndexOf(other, otherRow));
            const float distance = std::sqrt(static_cast<float>(x * x + y * y));
            if (word != CDepthBuffer::c_empty && (x != 0 || y != 0) && distance <= 18.0F &&
                std::abs(CDepthBuffer::DepthOf(word) - depth) <= tolerance * distance)
            {
                distances.push_back(distance);
            }
        }
    }
    std::sort(distances.begin(), distances.end());
    return static_cast<std::uint8_t>((distances.size() < 6 ? 0.75F : distances[5]) * 4.0F);
}

/// Draws one sample of a dot after the other.
CDepthBuffer SplatPlainly(const CPictureProjection& projection, const CDepthBuffer& points,
                          const CPointSplatter::SRadii& radii)
{
    CDepthBuffer surface(c_width, c_height);
    for (int index = 0; index < static_cast<int>(c_width * c_height); ++index)
    {
        const std::uint64_t word = points.Get(static_cast<std::size_t>(index));
        if (word == CDepthBuffer::c_empty)
        {
            continue;
        }
        const std::uint8_t own = radii.radii[static_cast<std::size_t>(index)];
        const float radius = static_cast<float>(std::min(own, radii.largest)) / 4.0F;
        const auto normal = CDepthBuffer::NormalOf(word);
        const float depth = CDepthBuffer::DepthOf(word);
        const float size = projection.GetSampleSize(depth);
        const float step = size / std::max(normal.z, 0.5F);
        for (int row = 0; row < static_cast<int>(c_height); ++row)
        {
            for (int column = 0; column < static_cast<int>(c_width); ++column)
            {
                const int x = column - index % static_cast<int>(c_width);
                const int y = row - index / static_cast<int>(c_width);
                const float distance = std::sqrt(static_cast<float>(x * x + y * y));
                if (x != 0 || y != 0 ? distance > radius : false)
                {
                    continue;
                }
                const float behind = (step * normal.x * static_cast<float>(x) +
                                      -step * normal.y * static_cast<float>(y)) +
                                     size * 0.25F * distance;
                surface.Draw(surface.IndexOf(static_cast<std::uint32_t>(column),
                                             static_cast<std::uint32_t>(row)),
                             CDepthBuffer::WithDepth(word, std::max(depth + behind, 0.0F)));
            }
        }
    }
    return surface;
}

TEST(CPointSplatter, FindRadii_AreThoseOfThePlainSearch)
{
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        const CPictureProjection projection = MakeProjection(kind);
        const CPointSplatter splatter(projection, 1);
        for (const unsigned percent : {1U, 10U, 50U, 100U})
        {
            for (const float thickness : {0.0F, 0.2F, 3.0F})
            {
                const CDepthBuffer buffer = StrewSamples(percent, thickness);
                const CPointSplatter::SRadii radii = splatter.FindRadii(ToSamples(buffer));
                for (std::uint32_t row = 0; row < c_height; ++row)
                {
                    for (std::uint32_t column = 0; column < c_width; ++column)
                    {
                        const std::size_t index = buffer.IndexOf(column, row);
                        const bool isEmpty = buffer.Get(index) == CDepthBuffer::c_empty;
                        ASSERT_EQ(radii.radii[index],
                                  isEmpty ? 0 : FindRadiusPlainly(projection, buffer, column, row))
                            << percent << ' ' << thickness << ' ' << column << ' ' << row;
                    }
                }
            }
        }
    }
}

TEST(CPointSplatter, Splat_SamplesOfOneSurfaceGetItsNormalUpToTheEdge)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Orthographic);
    const CPointSplatter splatter(projection, 1);
    CDepthBuffer buffer(c_width, c_height);
    const float step = projection.GetSampleSize(1.0F);
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        for (std::uint32_t column = 0; column < c_width; ++column)
        {
            const float depth = 1.0F + step * static_cast<float>(column);
            buffer.Draw(buffer.IndexOf(column, row), CDepthBuffer::Pack(depth, 0, {}));
        }
    }
    CDepthBuffer surface(c_width, c_height);
    const CPointSamples samples = ToSamples(buffer);
    splatter.Splat(samples, splatter.FindRadii(samples), surface);
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        for (std::uint32_t column = 0; column < c_width; ++column)
        {
            const auto normal = CDepthBuffer::NormalOf(surface.Get(surface.IndexOf(column, row)));
            ASSERT_TRUE(normal.isPresent);
            ASSERT_NEAR(normal.x, std::sqrt(0.5F), 0.01F) << column << ' ' << row;
            ASSERT_NEAR(normal.y, 0.0F, 0.01F) << column << ' ' << row;
        }
    }
}

TEST(CPointSplatter, Splat_SamplesOfAPlaneWithGapsGetItsNormal)
{
    // Inverse depths are linear over the picture where perspective shows a plane.
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const CPointSplatter splatter(projection, 1);
    CDepthBuffer buffer(c_width, c_height);
    std::mt19937 generator(9);
    const float perColumn = 0.4F * projection.GetSampleSize(1.0F);
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        for (std::uint32_t column = 0; column < c_width; ++column)
        {
            if (generator() % 8 != 0)
            {
                const float depth =
                    1.0F / (0.5F + perColumn * (static_cast<float>(column) - 20.0F));
                buffer.Draw(buffer.IndexOf(column, row), CDepthBuffer::Pack(depth, 0, {}));
            }
        }
    }
    CDepthBuffer surface(c_width, c_height);
    const CPointSamples samples = ToSamples(buffer);
    splatter.Splat(samples, splatter.FindRadii(samples), surface);
    // The plane of all places whose inverse depth is 0.5 + 0.4 x / depth.
    const float length = std::sqrt(0.4F * 0.4F + 0.5F * 0.5F);
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        for (std::uint32_t column = 0; column < c_width; ++column)
        {
            const auto normal = CDepthBuffer::NormalOf(surface.Get(surface.IndexOf(column, row)));
            ASSERT_TRUE(normal.isPresent);
            ASSERT_NEAR(normal.x, -0.4F / length, 0.02F) << column << ' ' << row;
            ASSERT_NEAR(normal.y, 0.0F, 0.02F) << column << ' ' << row;
        }
    }
}

/// A plane over a large picture. Its inverse depths in perspective, else its depths, are linear.
struct SPlane
{
    /// In the middle.
    float value;
    // By how much it recedes per size of a sample at depth 1.
    float perColumn;
    float perRow;

    static constexpr std::uint32_t c_size = 300;

    [[nodiscard]] float FindDepth(const CPictureProjection& projection, std::uint32_t column,
                                  std::uint32_t row) const
    {
        const auto toMiddle = [](std::uint32_t place) {
            return static_cast<float>(place) - 0.5F * static_cast<float>(c_size);
        };
        const float here = value + (perColumn * toMiddle(column) + perRow * toMiddle(row)) *
                                       projection.GetSampleSize(1.0F);
        return projection.IsPerspective() ? 1.0F / here : here;
    }
    /// Whether \p normal is this plane's, but perhaps for its direction.
    [[nodiscard]] bool Has(const CPictureProjection& projection,
                           const CDepthBuffer::SNormal& normal, float tolerance) const
    {
        const float length =
            std::hypot(perColumn, perRow, projection.IsPerspective() ? value : 1.0F);
        return std::abs(std::abs(normal.x) - perColumn / length) < tolerance &&
               std::abs(std::abs(normal.y) - perRow / length) < tolerance;
    }
};

/// So many points of \p planes, each of one of them; its look says of which.
CDepthBuffer StrewPoints(const CPictureProjection& projection, const std::vector<SPlane>& planes,
                         std::uint32_t numPoints)
{
    std::mt19937 generator(numPoints);
    CDepthBuffer buffer(SPlane::c_size, SPlane::c_size);
    for (std::uint32_t point = 0; point < numPoints; ++point)
    {
        const auto column = static_cast<std::uint32_t>(generator() % SPlane::c_size);
        const auto row = static_cast<std::uint32_t>(generator() % SPlane::c_size);
        const auto plane = static_cast<std::uint32_t>(generator() % planes.size());
        buffer.Draw(
            buffer.IndexOf(column, row),
            CDepthBuffer::Pack(planes[plane].FindDepth(projection, column, row), plane, {}));
    }
    return buffer;
}

TEST(CPointSplatter, Splat_SparseSamplesOfPlanesGetTheirNormals)
{
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        CCamera::SParameters parameters;
        parameters.projection = kind;
        parameters.width = SPlane::c_size;
        parameters.height = SPlane::c_size;
        const CPictureProjection projection(CCamera(parameters).MakeView(), 1);
        const CPointSplatter splatter(projection, 1);
        const auto findShareOfRight = [&](const std::vector<SPlane>& planes,
                                          std::uint32_t numPoints, float tolerance) {
            const CDepthBuffer buffer = StrewPoints(projection, planes, numPoints);
            const CPointSamples samples = ToSamples(buffer);
            CDepthBuffer surface(SPlane::c_size, SPlane::c_size);
            splatter.Splat(samples, splatter.FindRadii(samples), surface);
            std::size_t numSamples = 0;
            std::size_t numRight = 0;
            for (std::size_t index = 0; index < SPlane::c_size * SPlane::c_size; ++index)
            {
                const std::uint64_t point = buffer.Get(index);
                const std::uint64_t word = surface.Get(index);
                // A dot's centre is the sample itself, unless another dot hides it.
                if (point != CDepthBuffer::c_empty &&
                    CDepthBuffer::DepthOf(point) == CDepthBuffer::DepthOf(word))
                {
                    const SPlane& plane = planes.at(CDepthBuffer::LookOf(point));
                    ++numSamples;
                    numRight +=
                        plane.Has(projection, CDepthBuffer::NormalOf(word), tolerance) ? 1 : 0;
                }
            }
            EXPECT_GT(numSamples, 500U);
            return static_cast<double>(numRight) / static_cast<double>(numSamples);
        };
        for (const std::uint32_t numPoints : {3000U, 18000U})
        {
            EXPECT_GT(findShareOfRight({{0.25F, 0.3F, 0.4F}}, numPoints, 0.005F), 0.98);
        }
        // One is seen through the other.
        for (const std::uint32_t numPoints : {4500U, 18000U})
        {
            EXPECT_GT(findShareOfRight({{0.25F, 0.0F, 0.4F}, {0.5F, 0.4F, 0.0F}}, numPoints, 0.02F),
                      0.95);
        }
    }
}

TEST(CPointSplatter, Splat_SparseSamplesBesideDenseOnesGetTheirNormals)
{
    CCamera::SParameters parameters;
    parameters.projection = CCamera::Projection::Orthographic;
    parameters.width = SPlane::c_size;
    parameters.height = SPlane::c_size;
    const CPictureProjection projection(CCamera(parameters).MakeView(), 1);
    const CPointSplatter splatter(projection, 1);
    const SPlane plane{0.25F, 0.3F, 0.4F};
    // So many of the rows and of the columns have samples, on the right of a filled area that makes
    // all dots small.
    constexpr std::uint32_t c_endOfDense = 200;
    for (const std::uint32_t pitch : {4U, 5U})
    {
        CDepthBuffer buffer(SPlane::c_size, SPlane::c_size);
        const auto isSparse = [&](std::uint32_t column, std::uint32_t row) {
            return column >= c_endOfDense + 10 && column % pitch == 0 && row % pitch == 0;
        };
        for (std::uint32_t row = 0; row < SPlane::c_size; ++row)
        {
            for (std::uint32_t column = 0; column < SPlane::c_size; ++column)
            {
                if (column < c_endOfDense || isSparse(column, row))
                {
                    buffer.Draw(
                        buffer.IndexOf(column, row),
                        CDepthBuffer::Pack(plane.FindDepth(projection, column, row), 0, {}));
                }
            }
        }
        const CPointSamples samples = ToSamples(buffer);
        const CPointSplatter::SRadii radii = splatter.FindRadii(samples);
        ASSERT_EQ(radii.largest, 8);
        CDepthBuffer surface(SPlane::c_size, SPlane::c_size);
        splatter.Splat(samples, radii, surface);
        for (std::uint32_t row = 0; row < SPlane::c_size; ++row)
        {
            for (std::uint32_t column = 0; column < SPlane::c_size; ++column)
            {
                const std::uint64_t word = surface.Get(surface.IndexOf(column, row));
                ASSERT_TRUE(!isSparse(column, row) ||
                            plane.Has(projection, CDepthBuffer::NormalOf(word), 0.02F))
                    << pitch << ' ' << column << ' ' << row;
            }
        }
    }
}

TEST(CPointSplatter, Splat_IsTheNearestOfAllDotsInEachSample)
{
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        const CPictureProjection projection = MakeProjection(kind);
        const CPointSplatter splatter(projection, 1);
        for (const unsigned percent : {5U, 60U, 100U})
        {
            std::mt19937 generator(percent);
            const auto next = [&] { return static_cast<float>(generator()) * 0x1p-32F; };
            CDepthBuffer buffer(c_width, c_height);
            for (std::size_t index = 0; index < std::size_t{c_width} * c_height; ++index)
            {
                if (generator() % 100 < percent)
                {
                    const float x = next() - 0.5F;
                    const float y = next() - 0.5F;
                    const float z = std::sqrt(1.0F - x * x - y * y);
                    buffer.Draw(index,
                                CDepthBuffer::Pack(1.0F + next() * 0.1F, 0, {x, y, z, true}));
                }
            }
            const CPointSplatter::SRadii radii = splatter.FindRadii(ToSamples(buffer));
            CDepthBuffer surface(c_width, c_height);
            splatter.Splat(ToSamples(buffer), radii, surface);
            const CDepthBuffer expected = SplatPlainly(projection, buffer, radii);
            for (std::size_t index = 0; index < std::size_t{c_width} * c_height; ++index)
            {
                ASSERT_EQ(surface.Get(index), expected.Get(index)) << percent << ' ' << index;
            }
        }
    }
}

TEST(CPointSplatter, Splat_BareSamplesAreDrawnAsThoseOfEqualWords)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const CPointSplatter splatter(projection, 1);
    const CPointSamples samples = ToSamples(StrewSamples(60, 0.1F));
    const CPointSamples bare(
        [&] {
            CDepthPlane plane(c_width, c_height, CPointSplatter::FindReach(1));
            for (std::uint32_t row = 0; row < c_height; ++row)
            {
                std::copy_n(samples.GetDepths().GetFirst() + row * plane.GetStride(), c_width,
                            plane.GetFirst() + row * plane.GetStride());
            }
            return plane;
        }(),
        CDepthBuffer::Pack(0.0F, 0, {}));
    CDepthBuffer expected(c_width, c_height);
    splatter.Splat(samples, splatter.FindRadii(samples), expected);
    CDepthBuffer surface(c_width, c_height);
    splatter.Splat(bare, splatter.FindRadii(bare), surface);
    for (std::size_t index = 0; index < std::size_t{c_width} * c_height; ++index)
    {
        ASSERT_EQ(surface.Get(index), expected.Get(index)) << index;
    }
}

TEST(CPointSplatter, Splat_ForgetsWhatTheTargetHeldInPicturesOfAnyHeight)
{
    for (std::uint32_t height = 1; height <= 50; ++height)
    {
        const CPictureProjection projection =
            MakeProjection(CCamera::Projection::Perspective, height);
        const CPointSplatter splatter(projection, 1);
        const CPointSamples samples = ToSamples(StrewSamples(10, 0.1F, height));
        CPointSplatter::SRadii radii = splatter.FindRadii(samples);
        for (const int largest : {4, 19, 72})
        {
            radii.largest = static_cast<std::uint8_t>(largest);
            CDepthBuffer expected(c_width, height);
            splatter.Splat(samples, radii, expected);
            CDepthBuffer surface(c_width, height);
            std::fill_n(surface.GetWords(), std::size_t{c_width} * height, 0);
            splatter.Splat(samples, radii, surface);
            for (std::size_t index = 0; index < std::size_t{c_width} * height; ++index)
            {
                ASSERT_EQ(surface.Get(index), expected.Get(index)) << height << ' ' << index;
            }
        }
    }
}

TEST(CPointSplatter, Splat_IsTheSameOnAnyNumberOfThreads)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const CPointSplatter splatter(projection, 1);
    const CPointSamples samples = ToSamples(StrewSamples(30, 3.0F));
    const CPointSplatter::SRadii radii = splatter.FindRadii(samples);
    const auto splat = [&](std::size_t numThreads) {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        tbb::task_arena arena(static_cast<int>(numThreads));
        CDepthBuffer surface(c_width, c_height);
        arena.execute([&] { splatter.Splat(samples, radii, surface); });
        return std::vector<std::uint64_t>(surface.GetWords(),
                                          surface.GetWords() + std::size_t{c_width} * c_height);
    };
    const std::vector<std::uint64_t> expected = splat(1);
    for (int run = 0; run < 20; ++run)
    {
        ASSERT_EQ(splat(7), expected);
    }
}

}  // namespace
