#include "Application/Pictures/CSurfaceShader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "Application/Pictures/Kernels/SampleRowsKernels.h"
#include "Application/Pictures/RowBands.h"

namespace Application
{

namespace
{

/// How much white a brightness of two would add.
constexpr float c_gloss = 214.0F;
constexpr std::uint32_t c_numBackgroundSteps = 31;
/// Of the palette.
constexpr std::uint8_t c_numBackgroundColors = c_numBackgroundSteps + 1;
static_assert(c_numBackgroundColors + SSampleRows::c_numTones <= CIndexedPicture::c_maxColors);

/// \p color in a tone.
SColor Shine(const SColor& color, std::uint32_t tone)
{
    const float brightness = static_cast<float>(tone) / SSampleRows::c_tonesPerUnit;
    const auto light =
        // The nearest shade, or nearly. NOLINTNEXTLINE(bugprone-incorrect-roundings)
        static_cast<std::uint32_t>(256.0F * std::min(brightness, 1.0F) + 0.5F);
    const auto gloss =
        static_cast<std::uint32_t>(256.0F * c_gloss * std::max(brightness - 1.0F, 0.0F));
    const auto shineOn = [&](std::uint8_t sample) {
        return static_cast<std::uint8_t>(std::min((sample * light + gloss + 128U) / 256U, 255U));
    };
    return {shineOn(color.red), shineOn(color.green), shineOn(color.blue)};
}

/// \param part of the way from \p top to \p bottom.
SColor Mix(const SColor& top, const SColor& bottom, float part)
{
    const auto mix = [&](std::uint8_t above, std::uint8_t below) {
        return static_cast<std::uint8_t>(
            // NOLINTNEXTLINE(bugprone-incorrect-roundings): as above
            (static_cast<float>(above) * (1.0F - part) + static_cast<float>(below) * part) + 0.5F);
    };
    return {mix(top.red, bottom.red), mix(top.green, bottom.green), mix(top.blue, bottom.blue)};
}

/// Whether there is no sample in a group with these tones.
bool IsEmpty(const std::uint8_t* tones)
{
    static_assert(SSampleRows::c_noTone == 0xFF);
    std::uint64_t word = 0;
    std::memcpy(&word, tones, sizeof word);
    return word == ~std::uint64_t{0};
}

}  // namespace

CSurfaceShader::CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                               std::uint32_t samplesPerSide, const SColors& colors)
    : m_projection(projection), m_buffer(buffer), m_samplesPerSide(samplesPerSide)
{
    for (std::uint32_t step = 0; step <= c_numBackgroundSteps; ++step)
    {
        m_palette.push_back(
            Mix(colors.top, colors.bottom,
                static_cast<float>(step) / static_cast<float>(c_numBackgroundSteps)));
    }
    for (std::size_t look = 0; look < colors.looks.size(); ++look)
    {
        if (look == 0 || colors.looks[look] != colors.looks[look - 1])
        {
            for (std::uint32_t tone = 0; tone < SSampleRows::c_numTones; ++tone)
            {
                m_palette.push_back(Shine(colors.looks[look], tone));
            }
        }
        m_firstShades.push_back(m_palette.size() - SSampleRows::c_numTones);
    }
}

CPicture CSurfaceShader::Shade(const std::function<void()>& onIdle) const
{
    CPicture picture = CPicture::MakeUnset(m_buffer.GetWidth() / m_samplesPerSide,
                                           m_buffer.GetHeight() / m_samplesPerSide);
    const FindTonesKernel findTones = GetFastestSampleRowsKernels().findTones;
    forEachRow(onIdle, [&](SRoom& room, std::uint32_t row) {
        for (std::uint32_t line = 0; line < m_samplesPerSide; ++line)
        {
            const std::uint32_t rowOfSamples = row * m_samplesPerSide + line;
            findTones(makeTask(rowOfSamples, room), rowOfSamples, room.tones.data());
            colorRow(rowOfSamples, room, &room.samples[line * room.stride]);
        }
        joinSamples(room, row, picture);
    });
    return picture;
}

bool CSurfaceShader::IsIndexed() const
{
    return m_samplesPerSide == 1 && m_firstShades.size() <= 1;
}

CIndexedPicture CSurfaceShader::ShadeIndexed(const std::function<void()>& onIdle) const
{
    CIndexedPicture picture(m_buffer.GetWidth(), m_buffer.GetHeight(), m_palette);
    const FindTonesKernel findTones = GetFastestSampleRowsKernels().findTones;
    forEachRow(onIdle, [&](SRoom& room, std::uint32_t row) {
        SShadingTask task = makeTask(row, room);
        task.firstTone = c_numBackgroundColors;
        const auto background = findBackground(row);
        std::copy(background.begin(), background.end(), task.background);
        findTones(task, row, room.tones.data());
        picture.SetRow(row, std::span(room.tones.data(), picture.GetWidth()));
    });
    return picture;
}

template <typename ShadeRow>
void CSurfaceShader::forEachRow(const std::function<void()>& onIdle, const ShadeRow& shadeRow) const
{
    ForEachBandInRoom(
        m_buffer.GetHeight() / m_samplesPerSide, [&] { return SRoom(m_buffer, m_samplesPerSide); },
        [&](SRoom& room, std::uint32_t begin, std::uint32_t end) {
            room.band.Load(begin * m_samplesPerSide, end * m_samplesPerSide);
            for (std::uint32_t row = begin; row < end; ++row)
            {
                shadeRow(room, row);
            }
        },
        [&] {
            if (onIdle)
            {
                onIdle();
            }
        });
}

void CSurfaceShader::joinSamples(const SRoom& room, std::uint32_t row, CPicture& picture) const
{
    if (m_samplesPerSide == 1)
    {
        picture.SetRow(row, std::span(room.samples.data(), picture.GetWidth()));
        return;
    }
    for (std::uint32_t column = 0; column < picture.GetWidth(); ++column)
    {
        const SColor* const upper = &room.samples[std::size_t{2} * column];
        const SColor* const lower = upper + room.stride;
        const auto mean = [&](std::uint8_t SColor::*part) {
            const int sum = upper[0].*part + upper[1].*part + lower[0].*part + lower[1].*part;
            return static_cast<std::uint8_t>((sum + 2) / 4);
        };
        picture.SetPixel(column, row,
                         {mean(&SColor::red), mean(&SColor::green), mean(&SColor::blue)});
    }
}

CSurfaceShader::SRoom::SRoom(const CDepthBuffer& buffer, std::uint32_t samplesPerSide)
    : band(buffer, c_bandRows * samplesPerSide,
           static_cast<std::uint32_t>(SSampleRows::c_farDistance) * samplesPerSide),
      tones(std::size_t{buffer.GetWidth()} + SSampleRows::c_margin, SSampleRows::c_noTone),
      stride(tones.size()),
      samples(samplesPerSide * stride)
{}

SShadingTask CSurfaceShader::makeTask(std::uint32_t row, const SRoom& room) const
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
    return task;
}

void CSurfaceShader::colorRow(std::uint32_t row, const SRoom& room, SColor* target) const
{
    const auto background = findBackground(row);
    std::array<SColor, c_group> empty;
    for (std::size_t column = 0; column < empty.size(); ++column)
    {
        empty[column] = m_palette[background[column % background.size()]];
    }
    // Copies, since the compiler has to expect that members change where colours are written.
    const SColor* const palette = m_palette.data();
    const std::size_t* const firstShades = m_firstShades.data();
    for (std::uint32_t first = 0; first < m_buffer.GetWidth(); first += c_group)
    {
        SColor* const colors = target + first;
        std::copy(empty.begin(), empty.end(), colors);
        const std::uint8_t* const tones = &room.tones[first];
        if (IsEmpty(tones))
        {
            continue;
        }
        const std::uint64_t* const words = m_buffer.GetWords() + m_buffer.IndexOf(first, row);
        for (std::uint32_t column = 0; column < c_group; ++column)
        {
            if (tones[column] != SSampleRows::c_noTone)
            {
                const std::uint32_t look = CDepthBuffer::LookOf(words[column]);
                colors[column] = palette[firstShades[look] + tones[column]];
            }
        }
    }
}

std::array<std::uint8_t, 4> CSurfaceShader::findBackground(std::uint32_t row) const
{
    const float share = (static_cast<float>(row) + 0.5F) / static_cast<float>(m_buffer.GetHeight());
    const auto& thresholds = SSampleRows::c_thresholds[row % std::size(SSampleRows::c_thresholds)];
    std::array<std::uint8_t, 4> indices{};
    std::transform(
        std::begin(thresholds), std::end(thresholds), indices.begin(), [&](float threshold) {
            return static_cast<std::uint8_t>(share * static_cast<float>(c_numBackgroundSteps) +
                                             threshold);
        });
    return indices;
}

}  // namespace Application
