#pragma once

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CPicture.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CSurfaceBand.h"
#include "Application/Pictures/Lanes.h"
#include "Application/Pictures/SColor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Application
{

/// Colours the samples of a depth buffer and joins them to pixels.
///
/// The light comes from behind the viewer's left shoulder, with a weaker one from the right.
/// Samples that lie behind their surroundings are darkened, which draws the outlines of shapes and
/// shades hollows even where there are no normals.
class CSurfaceShader
{
public:
    struct SColors
    {
        /// The colour of every look of the depth buffer.
        std::vector<SColor> looks;
        SColor top;
        SColor bottom;
    };

    CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                   std::uint32_t samplesPerSide, SColors colors);

    [[nodiscard]] CPicture Shade() const;

private:
    /// What a brightness makes of a colour, in 256ths: a factor, and what is added.
    struct STone
    {
        std::uint32_t light;
        std::uint32_t gloss;
    };
    static constexpr std::size_t c_numTones = 120;

    /// Writes the colours of a row of samples to \p target.
    void shadeRow(const CSurfaceBand& band, std::uint32_t row, SColor* target) const;
    /// Makes a row of pixels of the rows of samples in it.
    void joinSamples(const std::vector<SColor>& samples, std::uint32_t row,
                     CPicture& picture) const;
    [[nodiscard]] static SColor shine(const SColor& color, const STone& tone);

    // As many neighbouring samples of a row at a time as there are lanes.
    [[nodiscard]] std::array<SColor, c_numLanes> findBackground(std::uint32_t row,
                                                                Lanes thresholds) const;
    /// 1 shows a surface in its own colour; what is above adds a gloss.
    [[nodiscard]] Lanes findBrightness(const CSurfaceBand& band, std::uint32_t column,
                                       std::uint32_t row) const;
    /// The mean normals of the samples around that belong to the same surface.
    [[nodiscard]] CSurfaceBand::SNormals averageNormals(const CSurfaceBand& band,
                                                        std::int64_t column,
                                                        std::int64_t row) const;
    /// How much nearer than a sample its surroundings at a distance are; 0 when they are not.
    [[nodiscard]] Lanes findOcclusion(const CSurfaceBand& band, std::int64_t column,
                                      std::int64_t row, std::int32_t distance) const;

    const CPictureProjection& m_projection;
    const CDepthBuffer& m_buffer;
    std::uint32_t m_samplesPerSide;
    SColors m_colors;
    std::array<STone, c_numTones> m_tones{};
};

}  // namespace Application
