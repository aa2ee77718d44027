#pragma once

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CPictureProjection.h"

#include <cstdint>

namespace Application
{

/// Widens single samples to dots that close the gaps of a surface.
///
/// How far apart the surfels of a surface are in the picture is read from the picture itself: from
/// the distance of the few nearest samples at a similar depth. A sample without such neighbours
/// becomes a small dot.
class CPointSplatter
{
public:
    /// \p samplesPerSide: the samples of a pixel on a side, for the size of single dots.
    CPointSplatter(const CPictureProjection& projection, std::uint32_t samplesPerSide);

    /// The picture of \p points with every sample widened.
    [[nodiscard]] CDepthBuffer Splat(const CDepthBuffer& points) const;

private:
    struct SOffset
    {
        std::int32_t x;
        std::int32_t y;
        float distance;
    };

    [[nodiscard]] float findRadius(const CDepthBuffer& points, std::uint32_t column,
                                   std::uint32_t row) const;
    void drawDot(const CDepthBuffer& points, std::uint32_t column, std::uint32_t row,
                 CDepthBuffer& target) const;

    const CPictureProjection& m_projection;
    float m_singleRadius;
    /// All offsets up to the largest radius, nearest first, without (0, 0).
    std::vector<SOffset> m_offsets;
};

}  // namespace Application
