#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <vector>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CPicture.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CSurfaceBand.h"
#include "Application/Pictures/Kernels/SampleRows.h"
#include "Application/Pictures/SColor.h"

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

    /// \p projection and \p buffer must live as long as the shader.
    CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                   std::uint32_t samplesPerSide, SColors colors);

    /// Told, on any thread but one call at a time, that so many rows of the picture are done.
    using RowsCallback = std::function<void(const CPicture& picture, std::uint32_t numRows)>;

    /// Calls \p onRows, unless it is empty, with more rows each time, in the end with all; and
    /// \p onIdle, unless it is empty or a call throws, once, on the first thread that has no more
    /// rows to shade, while others may still be at theirs.
    [[nodiscard]] CPicture Shade(const RowsCallback& onRows = {},
                                 const std::function<void()>& onIdle = {}) const;

private:
    /// What a brightness makes of a colour, in 256ths: a factor, and what is added.
    struct STone
    {
        std::uint32_t light;
        std::uint32_t gloss;
    };
    /// Of neighbouring samples; a pattern that is repeated.
    using Background = std::array<SColor, std::size(SSampleRows::c_thresholds)>;

    /// What a thread works in.
    struct SRoom
    {
        SRoom(const CDepthBuffer& buffer, std::uint32_t samplesPerSide);

        CSurfaceBand band;
        std::vector<std::uint8_t> tones;
        /// The colours of the samples in a row of pixels.
        std::vector<SColor> samples;
    };

    /// Writes the colours of a row of samples, which is loaded, to \p target.
    void shadeRow(std::uint32_t row, SRoom& room, SColor* target) const;
    /// Makes a row of pixels of the rows of samples in it.
    void joinSamples(const std::vector<SColor>& samples, std::uint32_t row,
                     CPicture& picture) const;
    [[nodiscard]] static SColor shine(const SColor& color, const STone& tone);

    [[nodiscard]] Background findBackground(std::uint32_t row) const;

    const CPictureProjection& m_projection;
    const CDepthBuffer& m_buffer;
    std::uint32_t m_samplesPerSide;
    SColors m_colors;
    std::array<STone, SSampleRows::c_numTones> m_tones{};
};

}  // namespace Application
