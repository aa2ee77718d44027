#include "Application/Pictures/CSurfaceShader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Application/Pictures/CBandQueue.h"
#include "Application/Pictures/Kernels/SampleRowsKernels.h"
#include "Application/Pictures/RowBands.h"

namespace Application
{

namespace
{

/// How much white a brightness of two would add.
constexpr float c_gloss = 214.0F;
constexpr float c_numBackgroundSteps = 31.0F;

}  // namespace

CSurfaceShader::CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                               std::uint32_t samplesPerSide, SColors colors)
    : m_projection(projection),
      m_buffer(buffer),
      m_samplesPerSide(samplesPerSide),
      m_colors(std::move(colors))
{
    for (std::size_t tone = 0; tone < m_tones.size(); ++tone)
    {
        const float brightness = static_cast<float>(tone) / SSampleRows::c_tonesPerUnit;
        m_tones[tone] = {
            // The nearest shade, or nearly. NOLINTNEXTLINE(bugprone-incorrect-roundings)
            static_cast<std::uint32_t>(256.0F * std::min(brightness, 1.0F) + 0.5F),
            static_cast<std::uint32_t>(256.0F * c_gloss * std::max(brightness - 1.0F, 0.0F)) + 128};
    }
}

CPicture CSurfaceShader::Shade(const RowsCallback& onRows,
                               const std::function<void()>& onIdle) const
{
    CPicture picture(m_buffer.GetWidth() / m_samplesPerSide,
                     m_buffer.GetHeight() / m_samplesPerSide);
    CBandQueue finished(CountBands(picture.GetHeight()));
    ForEachBandInRoom(
        picture.GetHeight(), [&] { return SRoom(m_buffer, m_samplesPerSide); },
        [&](SRoom& room, std::uint32_t begin, std::uint32_t end) {
            room.band.Load(begin * m_samplesPerSide, end * m_samplesPerSide);
            for (std::uint32_t row = begin; row < end; ++row)
            {
                for (std::uint32_t line = 0; line < m_samplesPerSide; ++line)
                {
                    shadeRow(row * m_samplesPerSide + line, room,
                             &room.samples[std::size_t{line} * m_buffer.GetWidth()]);
                }
                joinSamples(room.samples, row, picture);
            }
            if (onRows)
            {
                finished.Finish(begin / c_bandRows, [&](std::uint32_t numBands) {
                    onRows(picture, std::min(numBands * c_bandRows, picture.GetHeight()));
                });
            }
        },
        [&] {
            if (onIdle)
            {
                onIdle();
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

CSurfaceShader::SRoom::SRoom(const CDepthBuffer& buffer, std::uint32_t samplesPerSide)
    : band(buffer, c_bandRows * samplesPerSide,
           static_cast<std::uint32_t>(SSampleRows::c_farDistance) * samplesPerSide),
      tones(std::size_t{buffer.GetWidth()} + SSampleRows::c_margin),
      samples(std::size_t{samplesPerSide} * buffer.GetWidth())
{}

void CSurfaceShader::shadeRow(std::uint32_t row, SRoom& room, SColor* target) const
{
    const CSurfaceBand& band = room.band;
    SShadingTask task;
    task.depths = {band.GetDepths(row),          band.GetStride(),
                   m_buffer.GetWidth(),          m_buffer.GetHeight(),
                   m_projection.IsPerspective(), m_projection.GetSampleSize(1.0F)};
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        task.normals[axis] = band.GetNormals(axis, row);
    }
    task.samplesPerSide = m_samplesPerSide;
    GetFastestSampleRowsKernels().findTones(task, row, room.tones.data());
    const auto background = findBackground(row);
    const std::uint64_t* const words = m_buffer.GetWords() + m_buffer.IndexOf(0, row);
    for (std::uint32_t column = 0; column < m_buffer.GetWidth(); ++column)
    {
        // No number where there is no sample, nor in those of dots as far away as infinity.
        const float depth = task.depths.first[column];
        target[column] = depth == depth ? shine(m_colors.looks[CDepthBuffer::LookOf(words[column])],
                                                m_tones[room.tones[column]])
                                        : background[column % background.size()];
    }
}

SColor CSurfaceShader::shine(const SColor& color, const STone& tone)
{
    const auto shineOn = [&](std::uint8_t sample) {
        return static_cast<std::uint8_t>(std::min((sample * tone.light + tone.gloss) / 256U, 255U));
    };
    return {shineOn(color.red), shineOn(color.green), shineOn(color.blue)};
}

CSurfaceShader::Background CSurfaceShader::findBackground(std::uint32_t row) const
{
    const float share = (static_cast<float>(row) + 0.5F) / static_cast<float>(m_buffer.GetHeight());
    Background colors;
    for (std::size_t column = 0; column < colors.size(); ++column)
    {
        const float step =
            share * c_numBackgroundSteps + SSampleRows::c_thresholds[row % colors.size()][column];
        const float part = std::floor(step) / c_numBackgroundSteps;
        const auto mix = [&](std::uint8_t top, std::uint8_t bottom) {
            return static_cast<std::uint8_t>(
                // NOLINTNEXTLINE(bugprone-incorrect-roundings): as above
                (static_cast<float>(top) * (1.0F - part) + static_cast<float>(bottom) * part) +
                0.5F);
        };
        colors[column] = {mix(m_colors.top.red, m_colors.bottom.red),
                          mix(m_colors.top.green, m_colors.bottom.green),
                          mix(m_colors.top.blue, m_colors.bottom.blue)};
    }
    return colors;
}

}  // namespace Application
