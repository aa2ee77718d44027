#include "Application/Pictures/CSurfaceShader.h"

#include "Application/Pictures/RowBands.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Application
{

namespace
{

using SNormal = CDepthBuffer::SNormal;

/// How steep, as the tangent of its angle to the picture, a surface may be to count as one.
constexpr float c_maxSlope = 5.0F;

SNormal normalized(float x, float y, float z)
{
    const float length = std::sqrt((x * x + y * y) + z * z);
    if (!(length > 0.0F))
    {
        return {0.0F, 0.0F, 1.0F, true};
    }
    return {x / length, y / length, z / length, true};
}

float cosine(const SNormal& normal, const std::array<float, 3>& direction)
{
    return std::max(0.0F,
                    (normal.x * direction[0] + normal.y * direction[1]) + normal.z * direction[2]);
}

/// A fixed pattern of thresholds that hides the steps of soft gradients.
float findThreshold(std::uint32_t column, std::uint32_t row)
{
    constexpr std::array<float, 16> c_pattern = {0, 8,  2, 10, 12, 4, 14, 6,
                                                 3, 11, 1, 9,  15, 7, 13, 5};
    return (c_pattern[row % 4 * 4 + column % 4] + 0.5F) / 16.0F;
}

std::uint8_t toSample(float value, float threshold)
{
    return static_cast<std::uint8_t>(std::min(std::max(value, 0.0F) + threshold, 255.0F));
}

}  // namespace

CSurfaceShader::CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                               std::uint32_t samplesPerSide, SColors colors)
    : m_projection(projection),
      m_buffer(buffer),
      m_samplesPerSide(samplesPerSide),
      m_colors(std::move(colors))
{}

CPicture CSurfaceShader::Shade() const
{
    const std::uint32_t width = m_buffer.GetWidth() / m_samplesPerSide;
    const std::uint32_t height = m_buffer.GetHeight() / m_samplesPerSide;
    CPicture picture(width, height);
    const float scale = 1.0F / static_cast<float>(m_samplesPerSide * m_samplesPerSide);
    ForEachRow(height, [&](std::uint32_t row) {
        const float share = (static_cast<float>(row) + 0.5F) / static_cast<float>(height);
        const auto mix = [&](std::uint8_t top, std::uint8_t bottom) {
            return static_cast<float>(top) * (1.0F - share) + static_cast<float>(bottom) * share;
        };
        const Rgb background = {mix(m_colors.top.red, m_colors.bottom.red),
                                mix(m_colors.top.green, m_colors.bottom.green),
                                mix(m_colors.top.blue, m_colors.bottom.blue)};
        for (std::uint32_t column = 0; column < width; ++column)
        {
            Rgb sum{};
            for (std::uint32_t sample = 0; sample < m_samplesPerSide * m_samplesPerSide; ++sample)
            {
                const Rgb color =
                    shadeSample(column * m_samplesPerSide + sample % m_samplesPerSide,
                                row * m_samplesPerSide + sample / m_samplesPerSide, background);
                for (std::size_t channel = 0; channel < 3; ++channel)
                {
                    sum[channel] += color[channel];
                }
            }
            const float threshold = findThreshold(column, row);
            picture.SetPixel(
                column, row,
                {toSample(sum[0] * scale, threshold), toSample(sum[1] * scale, threshold),
                 toSample(sum[2] * scale, threshold)});
        }
    });
    return picture;
}

CSurfaceShader::Rgb CSurfaceShader::shadeSample(std::uint32_t column, std::uint32_t row,
                                                const Rgb& background) const
{
    constexpr std::array<float, 3> c_keyLight = {-0.45F, 0.60F, 0.66F};
    constexpr std::array<float, 3> c_fillLight = {0.80F, 0.10F, 0.59F};
    // Half way between the key light and the viewer.
    constexpr std::array<float, 3> c_highlight = {-0.247F, 0.329F, 0.911F};

    const std::uint64_t word = m_buffer.Get(m_buffer.IndexOf(column, row));
    if (word == CDepthBuffer::c_empty)
    {
        return background;
    }
    const SNormal normal = averageNormals(column, row);
    const float highlight = cosine(normal, c_highlight);
    const float highlight4 = (highlight * highlight) * (highlight * highlight);
    const float highlight16 = (highlight4 * highlight4) * (highlight4 * highlight4);
    const auto step = static_cast<std::int32_t>(m_samplesPerSide);
    const float occlusion =
        0.07F * findOcclusion(column, row, step) + 0.05F * findOcclusion(column, row, 4 * step);
    const float light = (((0.42F + 0.06F * normal.y) + 0.56F * cosine(normal, c_keyLight)) +
                         0.16F * cosine(normal, c_fillLight)) /
                        (1.0F + occlusion);
    const float gloss = 26.0F * highlight16 / (1.0F + 2.0F * occlusion);
    const SColor& color = m_colors.looks[CDepthBuffer::LookOf(word)];
    return {static_cast<float>(color.red) * light + gloss,
            static_cast<float>(color.green) * light + gloss,
            static_cast<float>(color.blue) * light + gloss};
}

CDepthBuffer::SNormal CSurfaceShader::averageNormals(std::uint32_t column, std::uint32_t row) const
{
    const float depth = CDepthBuffer::DepthOf(m_buffer.Get(m_buffer.IndexOf(column, row)));
    const float tolerance = c_maxSlope * m_projection.GetSampleSize(depth);
    float sumX = 0.0F;
    float sumY = 0.0F;
    float sumZ = 0.0F;
    const std::uint32_t endRow = std::min(row + 2, m_buffer.GetHeight());
    const std::uint32_t endColumn = std::min(column + 2, m_buffer.GetWidth());
    for (std::uint32_t y = row - std::min(row, 1U); y < endRow; ++y)
    {
        for (std::uint32_t x = column - std::min(column, 1U); x < endColumn; ++x)
        {
            const std::uint64_t word = m_buffer.Get(m_buffer.IndexOf(x, y));
            if (word != CDepthBuffer::c_empty &&
                std::abs(CDepthBuffer::DepthOf(word) - depth) <= tolerance)
            {
                const SNormal normal = CDepthBuffer::NormalOf(word);
                sumX += normal.x;
                sumY += normal.y;
                sumZ += normal.z;
            }
        }
    }
    return normalized(sumX, sumY, sumZ);
}

float CSurfaceShader::findOcclusion(std::uint32_t column, std::uint32_t row,
                                    std::int32_t distance) const
{
    constexpr std::array<std::array<std::int32_t, 2>, 8> c_directions = {
        {{4, 0}, {3, 3}, {0, 4}, {-3, 3}, {-4, 0}, {-3, -3}, {0, -4}, {3, -3}}};
    constexpr float c_minStep = 1.5F;
    constexpr float c_maxStep = 6.0F;
    const float depth = CDepthBuffer::DepthOf(m_buffer.Get(m_buffer.IndexOf(column, row)));
    const float scale = 1.0F / (m_projection.GetSampleSize(depth) * static_cast<float>(distance));
    float sum = 0.0F;
    float largest = 0.0F;
    for (const auto& direction : c_directions)
    {
        const std::uint32_t x = column + static_cast<std::uint32_t>(direction[0] * distance / 4);
        const std::uint32_t y = row + static_cast<std::uint32_t>(direction[1] * distance / 4);
        if (x < m_buffer.GetWidth() && y < m_buffer.GetHeight())
        {
            const std::uint64_t word = m_buffer.Get(m_buffer.IndexOf(x, y));
            if (word != CDepthBuffer::c_empty)
            {
                // What a slope makes is no hollow.
                const float step = (depth - CDepthBuffer::DepthOf(word)) * scale - c_minStep;
                const float bounded = std::clamp(step, 0.0F, c_maxStep);
                sum += bounded;
                largest = std::max(largest, bounded);
            }
        }
    }
    // A single speck in front casts no shadow.
    return sum - largest;
}

}  // namespace Application
