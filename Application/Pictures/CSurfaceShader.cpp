#include "Application/Pictures/CSurfaceShader.h"

#include "Application/Pictures/RowBands.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Application
{

namespace
{

/// How steep, as the tangent of its angle to the picture, a surface may be to count as one.
constexpr float c_maxSlope = 5.0F;
/// In pixels: how far away from a sample what darkens it is looked for, beside the next pixel.
constexpr std::int32_t c_farDistance = 4;

CSurfaceBand::SNormals normalized(const CSurfaceBand::SNormals& sums)
{
    const Lanes squares = (sums.x * sums.x + sums.y * sums.y) + sums.z * sums.z;
    const Lanes zero{};
    Lanes lengths{};
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        lengths[lane] = std::sqrt(squares[lane]);
    }
    const LaneMask isDirection = lengths > zero;
    return {isDirection ? sums.x / lengths : zero, isDirection ? sums.y / lengths : zero,
            isDirection ? sums.z / lengths : FillLanes(1.0F)};
}

Lanes cosine(const CSurfaceBand::SNormals& normals, const std::array<float, 3>& direction)
{
    const Lanes cosines =
        (normals.x * FillLanes(direction[0]) + normals.y * FillLanes(direction[1])) +
        normals.z * FillLanes(direction[2]);
    return cosines > Lanes() ? cosines : Lanes();
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
    CPicture picture(m_buffer.GetWidth() / m_samplesPerSide,
                     m_buffer.GetHeight() / m_samplesPerSide);
    ForEachBand(picture.GetHeight(), [&](std::uint32_t begin, std::uint32_t end) {
        const CSurfaceBand band(m_buffer, begin * m_samplesPerSide, end * m_samplesPerSide,
                                static_cast<std::uint32_t>(c_farDistance) * m_samplesPerSide);
        for (std::uint32_t row = begin; row < end; ++row)
        {
            shadeRow(band, row, picture);
        }
    });
    return picture;
}

void CSurfaceShader::shadeRow(const CSurfaceBand& band, std::uint32_t row, CPicture& picture) const
{
    const float share = (static_cast<float>(row) + 0.5F) / static_cast<float>(picture.GetHeight());
    const auto mix = [&](std::uint8_t top, std::uint8_t bottom) {
        return static_cast<float>(top) * (1.0F - share) + static_cast<float>(bottom) * share;
    };
    const Rgb background = {mix(m_colors.top.red, m_colors.bottom.red),
                            mix(m_colors.top.green, m_colors.bottom.green),
                            mix(m_colors.top.blue, m_colors.bottom.blue)};
    std::vector<Rgb> sums(picture.GetWidth());
    for (std::uint32_t sampleRow = row * m_samplesPerSide; sampleRow < (row + 1) * m_samplesPerSide;
         ++sampleRow)
    {
        for (std::uint32_t begin = 0; begin < m_buffer.GetWidth(); begin += c_numLanes)
        {
            const std::array<Rgb, c_numLanes> colors =
                shadeSamples(band, begin, sampleRow, background);
            const std::uint32_t end = std::min(begin + c_numLanes, m_buffer.GetWidth());
            for (std::uint32_t column = begin; column < end; ++column)
            {
                for (std::size_t channel = 0; channel < 3; ++channel)
                {
                    sums[column / m_samplesPerSide][channel] += colors[column - begin][channel];
                }
            }
        }
    }
    const float scale = 1.0F / static_cast<float>(m_samplesPerSide * m_samplesPerSide);
    for (std::uint32_t column = 0; column < picture.GetWidth(); ++column)
    {
        const float threshold = findThreshold(column, row);
        const Rgb& sum = sums[column];
        picture.SetPixel(column, row,
                         {toSample(sum[0] * scale, threshold), toSample(sum[1] * scale, threshold),
                          toSample(sum[2] * scale, threshold)});
    }
}

std::array<CSurfaceShader::Rgb, c_numLanes> CSurfaceShader::shadeSamples(
    const CSurfaceBand& band, std::uint32_t column, std::uint32_t row, const Rgb& background) const
{
    constexpr std::array<float, 3> c_keyLight = {-0.45F, 0.60F, 0.66F};
    constexpr std::array<float, 3> c_fillLight = {0.80F, 0.10F, 0.59F};
    // Half way between the key light and the viewer.
    constexpr std::array<float, 3> c_highlight = {-0.247F, 0.329F, 0.911F};

    std::array<Rgb, c_numLanes> colors;
    colors.fill(background);
    const Lanes depths = band.GetDepths(column, row);
    const LaneMask isThere = depths == depths;
    if (!HasAny(isThere))
    {
        return colors;
    }
    const Lanes one = FillLanes(1.0F);
    const CSurfaceBand::SNormals normals = averageNormals(band, column, row);
    const Lanes highlight = cosine(normals, c_highlight);
    const Lanes highlight4 = (highlight * highlight) * (highlight * highlight);
    const Lanes highlight16 = (highlight4 * highlight4) * (highlight4 * highlight4);
    const auto step = static_cast<std::int32_t>(m_samplesPerSide);
    const Lanes occlusion =
        FillLanes(0.07F) * findOcclusion(band, column, row, step) +
        FillLanes(0.05F) * findOcclusion(band, column, row, c_farDistance * step);
    const Lanes light = (((FillLanes(0.42F) + FillLanes(0.06F) * normals.y) +
                          FillLanes(0.56F) * cosine(normals, c_keyLight)) +
                         FillLanes(0.16F) * cosine(normals, c_fillLight)) /
                        (one + occlusion);
    const Lanes gloss = FillLanes(26.0F) * highlight16 / (one + FillLanes(2.0F) * occlusion);
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        if (isThere[lane] != 0)
        {
            const std::uint64_t word = m_buffer.Get(m_buffer.IndexOf(column + lane, row));
            const SColor& color = m_colors.looks[CDepthBuffer::LookOf(word)];
            colors[lane] = {static_cast<float>(color.red) * light[lane] + gloss[lane],
                            static_cast<float>(color.green) * light[lane] + gloss[lane],
                            static_cast<float>(color.blue) * light[lane] + gloss[lane]};
        }
    }
    return colors;
}

CSurfaceBand::SNormals CSurfaceShader::averageNormals(const CSurfaceBand& band, std::int64_t column,
                                                      std::int64_t row) const
{
    const Lanes depths = band.GetDepths(column, row);
    const Lanes tolerances = FillLanes(c_maxSlope) * m_projection.GetSampleSizes(depths);
    const Lanes zero{};
    CSurfaceBand::SNormals sums{};
    for (std::int64_t y = row - 1; y <= row + 1; ++y)
    {
        for (std::int64_t x = column - 1; x <= column + 1; ++x)
        {
            const Lanes differences = band.GetDepths(x, y) - depths;
            const LaneMask isNear = (differences < zero ? -differences : differences) <= tolerances;
            const CSurfaceBand::SNormals normals = band.GetNormals(x, y);
            sums.x += isNear ? normals.x : zero;
            sums.y += isNear ? normals.y : zero;
            sums.z += isNear ? normals.z : zero;
        }
    }
    return normalized(sums);
}

Lanes CSurfaceShader::findOcclusion(const CSurfaceBand& band, std::int64_t column, std::int64_t row,
                                    std::int32_t distance) const
{
    constexpr std::array<std::array<std::int32_t, 2>, 8> c_directions = {
        {{4, 0}, {3, 3}, {0, 4}, {-3, 3}, {-4, 0}, {-3, -3}, {0, -4}, {3, -3}}};
    const Lanes zero{};
    const Lanes minStep = FillLanes(1.5F);
    const Lanes maxStep = FillLanes(6.0F);
    const Lanes depths = band.GetDepths(column, row);
    const Lanes scales = FillLanes(1.0F) / (m_projection.GetSampleSizes(depths) *
                                            FillLanes(static_cast<float>(distance)));
    Lanes sums{};
    Lanes largest{};
    for (const auto& direction : c_directions)
    {
        const Lanes others =
            band.GetDepths(column + direction[0] * distance / 4, row + direction[1] * distance / 4);
        // What a slope makes is no hollow. No number where there is nothing.
        const Lanes steps = (depths - others) * scales - minStep;
        const Lanes bounded = steps > zero ? (steps < maxStep ? steps : maxStep) : zero;
        sums += bounded;
        largest = bounded > largest ? bounded : largest;
    }
    // A single speck in front casts no shadow.
    return sums - largest;
}

}  // namespace Application
