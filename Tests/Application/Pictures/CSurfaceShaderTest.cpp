#include "Application/Pictures/CSurfaceShader.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "Application/View/CCamera.h"

namespace
{

using Application::CCamera;
using Application::CDepthBuffer;
using Application::CPicture;
using Application::CPictureProjection;
using Application::CSurfaceShader;
using Application::SColor;
using SNormal = CDepthBuffer::SNormal;

CSurfaceShader::SColors MakeColors()
{
    std::vector<SColor> looks;
    for (std::uint32_t look = 0; look < CDepthBuffer::c_numLooks; ++look)
    {
        looks.push_back({static_cast<std::uint8_t>(look % 251), static_cast<std::uint8_t>(look / 4),
                         static_cast<std::uint8_t>(255 - look % 250)});
    }
    return {looks, {250, 240, 230}, {200, 210, 220}};
}

Application::CView MakeView(CCamera::Projection kind, std::uint32_t width, std::uint32_t height)
{
    CCamera::SParameters parameters;
    parameters.eye = {0, -10, 0};
    parameters.projection = kind;
    parameters.orthographicHeight = 4;
    parameters.nearDistance = 1;
    parameters.farDistance = 20;
    parameters.width = width;
    parameters.height = height;
    return CCamera(parameters).MakeView();
}

/// A rough surface with holes and steps, some of it without normals.
CDepthBuffer MakeBuffer(const CPictureProjection& projection)
{
    std::mt19937 random(3);
    const auto next = [&] { return static_cast<float>(random() % 10000) / 10000.0F; };
    CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
    const float depth = projection.IsPerspective() ? 10.0F : 0.5F;
    const float step = projection.GetSampleSize(depth);
    for (std::size_t index = 0; index < std::size_t{projection.GetWidth()} * projection.GetHeight();
         ++index)
    {
        const float x = next() - 0.5F;
        const float y = next() - 0.5F;
        const SNormal normal{x, y, std::sqrt(1.0F - x * x - y * y), random() % 10 != 0};
        if (random() % 5 != 0)
        {
            const float roughness = random() % 4 == 0 ? 40.0F : 3.0F;
            buffer.Draw(index, CDepthBuffer::Pack(depth + step * roughness * next(),
                                                  random() % CDepthBuffer::c_numLooks, normal));
        }
    }
    return buffer;
}

/// The shading of one sample after the other.
class CPlainShader
{
public:
    CPlainShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                 std::int64_t samplesPerSide)
        : m_projection(projection), m_buffer(buffer), m_samplesPerSide(samplesPerSide)
    {}

    [[nodiscard]] SColor ShadePixel(std::int64_t column, std::int64_t row) const
    {
        std::array<unsigned, 3> sums{};
        for (std::int64_t sample = 0; sample < m_samplesPerSide * m_samplesPerSide; ++sample)
        {
            const SColor color = shadeSample(column * m_samplesPerSide + sample % m_samplesPerSide,
                                             row * m_samplesPerSide + sample / m_samplesPerSide);
            sums = {sums[0] + color.red, sums[1] + color.green, sums[2] + color.blue};
        }
        const auto numSamples = static_cast<unsigned>(m_samplesPerSide * m_samplesPerSide);
        const auto mean = [&](unsigned sum) {
            return static_cast<std::uint8_t>((sum + numSamples / 2) / numSamples);
        };
        return {mean(sums[0]), mean(sums[1]), mean(sums[2])};
    }

private:
    /// The word there; empty outside the picture.
    [[nodiscard]] std::uint64_t wordAt(std::int64_t column, std::int64_t row) const
    {
        if (column < 0 || row < 0 || column >= m_buffer.GetWidth() || row >= m_buffer.GetHeight())
        {
            return CDepthBuffer::c_empty;
        }
        return m_buffer.Get(
            m_buffer.IndexOf(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row)));
    }

    [[nodiscard]] SColor shadeSample(std::int64_t column, std::int64_t row) const
    {
        constexpr std::array<float, 16> c_pattern = {0, 8,  2, 10, 12, 4, 14, 6,
                                                     3, 11, 1, 9,  15, 7, 13, 5};
        const float threshold =
            (c_pattern[static_cast<std::size_t>(row % 4 * 4 + column % 4)] + 0.5F) / 16.0F;
        const CSurfaceShader::SColors colors = MakeColors();
        const std::uint64_t word = wordAt(column, row);
        if (word == CDepthBuffer::c_empty)
        {
            const float share =
                (static_cast<float>(row) + 0.5F) / static_cast<float>(m_buffer.GetHeight());
            const float part = std::floor(share * 31.0F + threshold) / 31.0F;
            const auto mix = [&](std::uint8_t top, std::uint8_t bottom) {
                return static_cast<std::uint8_t>(
                    (static_cast<float>(top) * (1.0F - part) + static_cast<float>(bottom) * part) +
                    0.5F);
            };
            return {mix(colors.top.red, colors.bottom.red),
                    mix(colors.top.green, colors.bottom.green),
                    mix(colors.top.blue, colors.bottom.blue)};
        }
        const float tone =
            std::floor(std::min(findBrightness(column, row) * 96.0F, 119.0F) + threshold);
        const auto light = static_cast<unsigned>(256.0F * std::min(tone / 96.0F, 1.0F) + 0.5F);
        const auto gloss =
            static_cast<unsigned>(256.0F * 214.0F * std::max(tone / 96.0F - 1.0F, 0.0F));
        const SColor& color = colors.looks[CDepthBuffer::LookOf(word)];
        const auto shine = [&](std::uint8_t sample) {
            return static_cast<std::uint8_t>(
                std::min((sample * light + gloss + 128U) / 256U, 255U));
        };
        return {shine(color.red), shine(color.green), shine(color.blue)};
    }

    [[nodiscard]] float findBrightness(std::int64_t column, std::int64_t row) const
    {
        const SNormal normal = averageNormals(column, row);
        const auto cosine = [&](float x, float y, float z) {
            return std::max(0.0F, (normal.x * x + normal.y * y) + normal.z * z);
        };
        const float highlight = cosine(-0.247F, 0.329F, 0.911F);
        const float highlight4 = (highlight * highlight) * (highlight * highlight);
        const float highlight16 = (highlight4 * highlight4) * (highlight4 * highlight4);
        const float occlusion = 0.07F * findOcclusion(column, row, m_samplesPerSide) +
                                0.05F * findOcclusion(column, row, 4 * m_samplesPerSide);
        const float light = (((0.42F + 0.06F * normal.y) + 0.56F * cosine(-0.45F, 0.60F, 0.66F)) +
                             0.16F * cosine(0.80F, 0.10F, 0.59F)) /
                            (1.0F + occlusion);
        return light + 0.12F * highlight16 / (1.0F + 2.0F * occlusion);
    }

    [[nodiscard]] SNormal averageNormals(std::int64_t column, std::int64_t row) const
    {
        const float depth = CDepthBuffer::DepthOf(wordAt(column, row));
        SNormal sum;
        for (std::int64_t y = row - 1; y <= row + 1; ++y)
        {
            for (std::int64_t x = column - 1; x <= column + 1; ++x)
            {
                const std::uint64_t word = wordAt(x, y);
                if (word != CDepthBuffer::c_empty &&
                    std::abs(CDepthBuffer::DepthOf(word) - depth) <=
                        5.0F * m_projection.GetSampleSize(depth))
                {
                    const SNormal normal = CDepthBuffer::NormalOf(word);
                    sum.x += normal.x;
                    sum.y += normal.y;
                    sum.z += normal.z;
                }
            }
        }
        const float length = std::sqrt((sum.x * sum.x + sum.y * sum.y) + sum.z * sum.z);
        return length > 0.0F ? SNormal{sum.x / length, sum.y / length, sum.z / length, true}
                             : SNormal{0.0F, 0.0F, 1.0F, true};
    }

    [[nodiscard]] float findOcclusion(std::int64_t column, std::int64_t row,
                                      std::int64_t distance) const
    {
        constexpr std::array<std::array<std::int64_t, 2>, 8> c_directions = {
            {{4, 0}, {3, 3}, {0, 4}, {-3, 3}, {-4, 0}, {-3, -3}, {0, -4}, {3, -3}}};
        const float depth = CDepthBuffer::DepthOf(wordAt(column, row));
        const float scale =
            1.0F / (m_projection.GetSampleSize(depth) * static_cast<float>(distance));
        float sum = 0.0F;
        float largest = 0.0F;
        for (const auto& direction : c_directions)
        {
            const std::uint64_t word =
                wordAt(column + direction[0] * distance / 4, row + direction[1] * distance / 4);
            if (word != CDepthBuffer::c_empty)
            {
                const float step =
                    std::clamp((depth - CDepthBuffer::DepthOf(word)) * scale - 1.5F, 0.0F, 6.0F);
                sum += step;
                largest = std::max(largest, step);
            }
        }
        return sum - largest;
    }

    const CPictureProjection& m_projection;
    const CDepthBuffer& m_buffer;
    std::int64_t m_samplesPerSide;
};

TEST(CSurfaceShader, Shade_GivesThePictureOfThePlainLoopToTheBit)
{
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        for (const std::uint32_t samplesPerSide : {1U, 2U})
        {
            for (const std::uint32_t width : {1U, 4U, 37U})
            {
                const CPictureProjection projection(MakeView(kind, width, 35), samplesPerSide);
                const CDepthBuffer buffer = MakeBuffer(projection);
                const CPicture picture =
                    CSurfaceShader(projection, buffer, samplesPerSide, MakeColors()).Shade();
                const CPlainShader plain(projection, buffer, samplesPerSide);
                for (std::uint32_t row = 0; row < picture.GetHeight(); ++row)
                {
                    for (std::uint32_t column = 0; column < picture.GetWidth(); ++column)
                    {
                        ASSERT_EQ(picture.GetPixel(column, row), plain.ShadePixel(column, row))
                            << column << " " << row << " of " << width;
                    }
                }
            }
        }
    }
}

TEST(CSurfaceShader, Shade_SamplesWhoseDepthIsNoNumberAreBackground)
{
    const CPictureProjection projection(MakeView(CCamera::Projection::Perspective, 32, 12), 1);
    CDepthBuffer buffer(32, 12);
    for (std::uint32_t column = 0; column < 32; ++column)
    {
        buffer.Draw(buffer.IndexOf(column, 0), CDepthBuffer::Pack(10.0F, 7, {0, 0, 1, true}));
    }
    const auto shade = [&] { return CSurfaceShader(projection, buffer, 1, MakeColors()).Shade(); };
    const CPicture expected = shade();

    const float nan = std::numeric_limits<float>::quiet_NaN();
    buffer.Draw(buffer.IndexOf(5, 2), CDepthBuffer::Pack(nan, 0, {0, 0, 1, true}));
    EXPECT_NE(buffer.Get(buffer.IndexOf(5, 2)), CDepthBuffer::c_empty);

    EXPECT_EQ(shade(), expected);
}

TEST(CSurfaceShader, ShadeIndexed_IsThePictureOfShade)
{
    CSurfaceShader::SColors colors = MakeColors();
    colors.looks.resize(1);
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        for (const std::uint32_t width : {1U, 4U, 37U, 64U})
        {
            const CPictureProjection projection(MakeView(kind, width, 35), 1);
            CDepthBuffer buffer = MakeBuffer(projection);
            for (std::size_t index = 0; index < std::size_t{width} * 35; ++index)
            {
                constexpr std::uint64_t c_look = std::uint64_t{CDepthBuffer::c_numLooks - 1} << 22U;
                std::uint64_t& word = buffer.GetWords()[index];
                word = word == CDepthBuffer::c_empty ? word : word & ~c_look;
            }
            const CSurfaceShader shader(projection, buffer, 1, colors);
            ASSERT_TRUE(shader.IsIndexed());
            std::atomic<int> numCalls = 0;
            const auto indexed = shader.ShadeIndexed([&] { ++numCalls; });
            EXPECT_EQ(numCalls, 1);
            CPicture::Pixels pixels;
            for (const std::uint8_t index : indexed.GetIndices())
            {
                pixels.push_back(indexed.GetPalette().at(index));
            }
            EXPECT_EQ(pixels, shader.Shade().GetPixels()) << width;
        }
    }
}

TEST(CSurfaceShader, IsIndexed_OfOneLookOrNoneWithASampleToAPixel)
{
    const CPictureProjection projection(MakeView(CCamera::Projection::Perspective, 4, 4), 1);
    const CDepthBuffer buffer(4, 4);
    for (const std::uint32_t samplesPerSide : {1U, 2U})
    {
        for (const std::size_t numLooks : {0U, 1U, 2U})
        {
            CSurfaceShader::SColors colors = MakeColors();
            colors.looks.resize(numLooks);
            EXPECT_EQ(CSurfaceShader(projection, buffer, samplesPerSide, colors).IsIndexed(),
                      samplesPerSide == 1 && numLooks < 2);
        }
    }
}

TEST(CSurfaceShader, Shade_CallsOnceWhenAThreadIsIdle)
{
    for (const std::uint32_t height : {1U, 16U, 17U, 300U})
    {
        const CPictureProjection projection(MakeView(CCamera::Projection::Perspective, 12, height),
                                            1);
        const CDepthBuffer buffer = MakeBuffer(projection);
        const CSurfaceShader shader(projection, buffer, 1, MakeColors());
        for (const std::size_t numThreads : {1U, 2U, 5U})
        {
            const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                              numThreads);
            std::atomic<int> numCalls = 0;
            const CPicture picture = shader.Shade([&] { ++numCalls; });
            EXPECT_EQ(picture, shader.Shade());
            EXPECT_EQ(numCalls, 1) << height;
        }
    }
}

}  // namespace
