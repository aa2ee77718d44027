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
/// Brightness is told apart in so many steps from dark to a surface's own colour. With them and
/// the background's, the picture of one or two scans has few enough colours for a small file.
constexpr float c_tonesPerUnit = 96.0F;
/// How much white a brightness of two would add.
constexpr float c_gloss = 214.0F;
constexpr float c_numBackgroundSteps = 31.0F;
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

/// Thresholds for four neighbouring samples that hide the steps between tones, by a fixed pattern.
Lanes findThresholds(std::uint32_t row)
{
    constexpr float c_pattern[4][4] = {
        {0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    return (LoadLanes(c_pattern[row % 4]) + FillLanes(0.5F)) * FillLanes(0x1p-4F);
}

}  // namespace

CSurfaceShader::CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                               std::uint32_t samplesPerSide, SColors colors)
    : m_projection(projection),
      m_buffer(buffer),
      m_samplesPerSide(samplesPerSide),
      m_colors(std::move(colors))
{
    for (std::size_t tone = 0; tone < c_numTones; ++tone)
    {
        const float brightness = static_cast<float>(tone) / c_tonesPerUnit;
        m_tones[tone] = {
            static_cast<std::uint32_t>(256.0F * std::min(brightness, 1.0F) + 0.5F),
            static_cast<std::uint32_t>(256.0F * c_gloss * std::max(brightness - 1.0F, 0.0F)) + 128};
    }
}

CPicture CSurfaceShader::Shade() const
{
    CPicture picture(m_buffer.GetWidth() / m_samplesPerSide,
                     m_buffer.GetHeight() / m_samplesPerSide);
    ForEachBand(picture.GetHeight(), [&](std::uint32_t begin, std::uint32_t end) {
        const CSurfaceBand band(m_buffer, begin * m_samplesPerSide, end * m_samplesPerSide,
                                static_cast<std::uint32_t>(c_farDistance) * m_samplesPerSide);
        std::vector<SColor> samples(std::size_t{m_samplesPerSide} * m_buffer.GetWidth());
        for (std::uint32_t row = begin; row < end; ++row)
        {
            for (std::uint32_t line = 0; line < m_samplesPerSide; ++line)
            {
                shadeRow(band, row * m_samplesPerSide + line,
                         &samples[std::size_t{line} * m_buffer.GetWidth()]);
            }
            joinSamples(samples, row, picture);
        }
    });
    return picture;
}

void CSurfaceShader::joinSamples(const std::vector<SColor>& samples, std::uint32_t row,
                                 CPicture& picture) const
{
    if (m_samplesPerSide == 1)
    {
        picture.SetRow(row, samples);
        return;
    }
    const std::uint32_t numSamples = m_samplesPerSide * m_samplesPerSide;
    for (std::uint32_t column = 0; column < picture.GetWidth(); ++column)
    {
        std::array<std::uint32_t, 3> sums{};
        for (std::uint32_t sample = 0; sample < numSamples; ++sample)
        {
            const SColor& color =
                samples[std::size_t{sample / m_samplesPerSide} * m_buffer.GetWidth() +
                        column * m_samplesPerSide + sample % m_samplesPerSide];
            sums = {sums[0] + color.red, sums[1] + color.green, sums[2] + color.blue};
        }
        const auto mean = [&](std::uint32_t sum) {
            return static_cast<std::uint8_t>((sum + numSamples / 2) / numSamples);
        };
        picture.SetPixel(column, row, {mean(sums[0]), mean(sums[1]), mean(sums[2])});
    }
}

void CSurfaceShader::shadeRow(const CSurfaceBand& band, std::uint32_t row, SColor* target) const
{
    const Lanes thresholds = findThresholds(row);
    const std::array<SColor, c_numLanes> background = findBackground(row, thresholds);
    for (std::uint32_t begin = 0; begin < m_buffer.GetWidth(); begin += c_numLanes)
    {
        const std::uint32_t end = std::min(begin + c_numLanes, m_buffer.GetWidth());
        const Lanes depths = band.GetDepths(begin, row);
        const LaneMask isThere = depths == depths;
        if (!HasAny(isThere))
        {
            std::copy_n(background.data(), end - begin, target + begin);
            continue;
        }
        const Lanes tones = findBrightness(band, begin, row) * FillLanes(c_tonesPerUnit);
        const Lanes last = FillLanes(static_cast<float>(c_numTones - 1));
        const LaneMask chosen =
            __builtin_convertvector((tones < last ? tones : last) + thresholds, LaneMask);
        for (std::uint32_t column = begin; column < end; ++column)
        {
            const std::uint32_t lane = column - begin;
            target[column] = isThere[lane] == 0
                                 ? background[lane]
                                 : shine(m_colors.looks[CDepthBuffer::LookOf(
                                             m_buffer.Get(m_buffer.IndexOf(column, row)))],
                                         m_tones[static_cast<std::uint32_t>(chosen[lane])]);
        }
    }
}

SColor CSurfaceShader::shine(const SColor& color, const STone& tone)
{
    const auto shineOn = [&](std::uint8_t sample) {
        return static_cast<std::uint8_t>(std::min((sample * tone.light + tone.gloss) / 256U, 255U));
    };
    return {shineOn(color.red), shineOn(color.green), shineOn(color.blue)};
}

std::array<SColor, c_numLanes> CSurfaceShader::findBackground(std::uint32_t row,
                                                              Lanes thresholds) const
{
    const float share = (static_cast<float>(row) + 0.5F) / static_cast<float>(m_buffer.GetHeight());
    const Lanes steps = FillLanes(share * c_numBackgroundSteps) + thresholds;
    std::array<SColor, c_numLanes> colors;
    for (std::uint32_t lane = 0; lane < c_numLanes; ++lane)
    {
        const float part = std::floor(steps[lane]) / c_numBackgroundSteps;
        const auto mix = [&](std::uint8_t top, std::uint8_t bottom) {
            return static_cast<std::uint8_t>(
                (static_cast<float>(top) * (1.0F - part) + static_cast<float>(bottom) * part) +
                0.5F);
        };
        colors[lane] = {mix(m_colors.top.red, m_colors.bottom.red),
                        mix(m_colors.top.green, m_colors.bottom.green),
                        mix(m_colors.top.blue, m_colors.bottom.blue)};
    }
    return colors;
}

Lanes CSurfaceShader::findBrightness(const CSurfaceBand& band, std::uint32_t column,
                                     std::uint32_t row) const
{
    constexpr std::array<float, 3> c_keyLight = {-0.45F, 0.60F, 0.66F};
    constexpr std::array<float, 3> c_fillLight = {0.80F, 0.10F, 0.59F};
    // Half way between the key light and the viewer.
    constexpr std::array<float, 3> c_highlight = {-0.247F, 0.329F, 0.911F};

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
    return light + FillLanes(0.12F) * highlight16 / (one + FillLanes(2.0F) * occlusion);
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
