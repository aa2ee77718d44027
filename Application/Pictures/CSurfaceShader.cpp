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

std::uint8_t toSample(float value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F) + 0.5F);
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
            picture.SetPixel(
                column, row,
                {toSample(sum[0] * scale), toSample(sum[1] * scale), toSample(sum[2] * scale)});
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
    const SNormal normal = findNormal(column, row);
    const float highlight = cosine(normal, c_highlight);
    const float highlight4 = (highlight * highlight) * (highlight * highlight);
    const float highlight16 = (highlight4 * highlight4) * (highlight4 * highlight4);
    const auto step = static_cast<std::int32_t>(m_samplesPerSide);
    const float occlusion =
        0.10F * findOcclusion(column, row, step) + 0.07F * findOcclusion(column, row, 4 * step);
    const float light = (((0.36F + 0.08F * normal.y) + 0.60F * cosine(normal, c_keyLight)) +
                         0.16F * cosine(normal, c_fillLight)) /
                        (1.0F + occlusion);
    const float gloss = 26.0F * highlight16 / (1.0F + 2.0F * occlusion);
    const SColor& color = m_colors.looks[CDepthBuffer::LookOf(word)];
    return {static_cast<float>(color.red) * light + gloss,
            static_cast<float>(color.green) * light + gloss,
            static_cast<float>(color.blue) * light + gloss};
}

template <typename Visit>
void CSurfaceShader::visitSurface(std::uint32_t column, std::uint32_t row, std::int32_t reach,
                                  const Visit& visit) const
{
    const float depth = CDepthBuffer::DepthOf(m_buffer.Get(m_buffer.IndexOf(column, row)));
    const float tolerance =
        c_maxSlope * m_projection.GetSampleSize(depth) * static_cast<float>(reach);
    for (std::int32_t y = -reach; y <= reach; ++y)
    {
        const std::uint32_t otherRow = row + static_cast<std::uint32_t>(y);
        for (std::int32_t x = -reach; x <= reach && otherRow < m_buffer.GetHeight(); ++x)
        {
            const std::uint32_t otherColumn = column + static_cast<std::uint32_t>(x);
            if (otherColumn >= m_buffer.GetWidth())
            {
                continue;
            }
            const std::uint64_t word = m_buffer.Get(m_buffer.IndexOf(otherColumn, otherRow));
            const float otherDepth = CDepthBuffer::DepthOf(word);
            if (word != CDepthBuffer::c_empty && std::abs(otherDepth - depth) <= tolerance)
            {
                visit(static_cast<float>(x), static_cast<float>(y), otherDepth, word);
            }
        }
    }
}

CDepthBuffer::SNormal CSurfaceShader::findNormal(std::uint32_t column, std::uint32_t row) const
{
    const SNormal normal = CDepthBuffer::NormalOf(m_buffer.Get(m_buffer.IndexOf(column, row)));
    return normal.isPresent ? averageNormals(column, row) : fitNormal(column, row);
}

CDepthBuffer::SNormal CSurfaceShader::averageNormals(std::uint32_t column, std::uint32_t row) const
{
    float sumX = 0.0F;
    float sumY = 0.0F;
    float sumZ = 0.0F;
    visitSurface(column, row, 1, [&](float, float, float, std::uint64_t word) {
        const SNormal normal = CDepthBuffer::NormalOf(word);
        sumX += normal.x;
        sumY += normal.y;
        sumZ += normal.z;
    });
    return normalized(sumX, sumY, sumZ);
}

CDepthBuffer::SNormal CSurfaceShader::fitNormal(std::uint32_t column, std::uint32_t row) const
{
    // Over the picture, a plane's inverse depth in perspective, its depth otherwise, is linear; so
    // the line of best fit through it gives the plane's normal.
    const bool isPerspective = m_projection.IsPerspective();
    const float depth = CDepthBuffer::DepthOf(m_buffer.Get(m_buffer.IndexOf(column, row)));
    const auto reach = static_cast<std::int32_t>(2 * m_samplesPerSide);
    float count = 0.0F;
    float sumX = 0.0F, sumY = 0.0F, sumV = 0.0F;
    float sumXX = 0.0F, sumXY = 0.0F, sumYY = 0.0F, sumXV = 0.0F, sumYV = 0.0F;
    visitSurface(column, row, reach, [&](float x, float y, float otherDepth, std::uint64_t) {
        // Relative to the sample itself, which keeps the digits of the small differences.
        const float value = isPerspective ? (depth - otherDepth) / otherDepth : otherDepth - depth;
        count += 1.0F;
        sumX += x;
        sumY += y;
        sumV += value;
        sumXX += x * x;
        sumXY += x * y;
        sumYY += y * y;
        sumXV += x * value;
        sumYV += y * value;
    });
    const float xx = sumXX - sumX * sumX / count;
    const float xy = sumXY - sumX * sumY / count;
    const float yy = sumYY - sumY * sumY / count;
    const float xv = sumXV - sumX * sumV / count;
    const float yv = sumYV - sumY * sumV / count;
    const float determinant = xx * yy - xy * xy;
    if (!(determinant > 1e-3F))
    {
        return {0.0F, 0.0F, 1.0F, true};
    }
    const float size = m_projection.GetSampleSize(isPerspective ? 1.0F : depth);
    const float perRight = (xv * yy - yv * xy) / determinant / size;
    const float perDown = (yv * xx - xv * xy) / determinant / size;
    if (!isPerspective)
    {
        return normalized(perRight, -perDown, 1.0F);
    }
    // The value is depth / otherDepth - 1, so that at the sample itself the inverse depth is 1.
    const float sightX = m_projection.GetSightX(static_cast<float>(column));
    const float sightY = m_projection.GetSightY(static_cast<float>(row));
    return normalized(-perRight, perDown, 1.0F - sightX * perRight + sightY * perDown);
}

float CSurfaceShader::findOcclusion(std::uint32_t column, std::uint32_t row,
                                    std::int32_t distance) const
{
    constexpr std::array<std::array<std::int32_t, 2>, 8> c_directions = {
        {{4, 0}, {3, 3}, {0, 4}, {-3, 3}, {-4, 0}, {-3, -3}, {0, -4}, {3, -3}}};
    constexpr float c_maxStep = 6.0F;
    const float depth = CDepthBuffer::DepthOf(m_buffer.Get(m_buffer.IndexOf(column, row)));
    const float scale = 1.0F / (m_projection.GetSampleSize(depth) * static_cast<float>(distance));
    float sum = 0.0F;
    for (const auto& direction : c_directions)
    {
        const std::uint32_t x = column + static_cast<std::uint32_t>(direction[0] * distance / 4);
        const std::uint32_t y = row + static_cast<std::uint32_t>(direction[1] * distance / 4);
        if (x < m_buffer.GetWidth() && y < m_buffer.GetHeight())
        {
            const std::uint64_t word = m_buffer.Get(m_buffer.IndexOf(x, y));
            if (word != CDepthBuffer::c_empty)
            {
                const float step = (depth - CDepthBuffer::DepthOf(word)) * scale;
                // A slope up to 45 degrees is no hollow.
                sum += std::clamp(step - 1.0F, 0.0F, c_maxStep);
            }
        }
    }
    return sum;
}

}  // namespace Application
