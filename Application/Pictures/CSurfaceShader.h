#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CIndexedPicture.h"
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
        /// The colours of the depth buffer's looks, from the first to the last that occurs.
        std::vector<SColor> looks;
        SColor top;
        SColor bottom;
    };

    /// \p projection and \p buffer must live as long as the shader. \p samplesPerSide: of a pixel;
    /// 1 or 2.
    CSurfaceShader(const CPictureProjection& projection, const CDepthBuffer& buffer,
                   std::uint32_t samplesPerSide, const SColors& colors);

    /// Calls \p onIdle, unless it is empty or a call throws, once, on the first thread that has no
    /// more rows to shade, while others may still be at theirs.
    [[nodiscard]] CPicture Shade(const std::function<void()>& onIdle = {}) const;

    /// Whether the picture has few enough colours for ShadeIndexed(): that of a single look with a
    /// sample to a pixel.
    [[nodiscard]] bool IsIndexed() const;
    /// The same picture, in less time; only where IsIndexed().
    [[nodiscard]] CIndexedPicture ShadeIndexed(const std::function<void()>& onIdle = {}) const;

private:
    /// So many neighbouring samples are coloured at a time; their tones make one word.
    static constexpr std::uint32_t c_group = 8;

    /// What a thread works in.
    struct SRoom
    {
        SRoom(const CDepthBuffer& buffer, std::uint32_t samplesPerSide);

        CSurfaceBand band;
        std::vector<std::uint8_t> tones;
        /// From row to row of samples; whole groups have room.
        std::size_t stride;
        /// The colours of the samples in a row of pixels.
        std::vector<SColor> samples;
    };

    /// Calls \p shadeRow(room, row) for all rows of pixels, those of a thread with the same room,
    /// into which their samples have been loaded; and \p onIdle as Shade() does.
    template <typename ShadeRow>
    void forEachRow(const std::function<void()>& onIdle, const ShadeRow& shadeRow) const;
    /// The shading of a row of samples, which is loaded.
    [[nodiscard]] SShadingTask makeTask(std::uint32_t row, const SRoom& room) const;
    /// Writes the colours of a row of samples, whose tones are found, to \p target, in whole
    /// groups.
    void colorRow(std::uint32_t row, const SRoom& room, SColor* target) const;
    /// Makes a row of pixels of the rows of samples in it.
    void joinSamples(const SRoom& room, std::uint32_t row, CPicture& picture) const;
    /// The places in the palette of a row's background, from column to column over and over.
    [[nodiscard]] std::array<std::uint8_t, 4> findBackground(std::uint32_t row) const;

    const CPictureProjection& m_projection;
    const CDepthBuffer& m_buffer;
    std::uint32_t m_samplesPerSide;
    /// Those of the background from the top to the bottom, then the tones of one look's colour
    /// after the other's.
    std::vector<SColor> m_palette;
    /// Where each look's tones begin.
    std::vector<std::size_t> m_firstShades;
};

}  // namespace Application
