#pragma once

#include <cstdint>
#include <memory>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CDepthPlane.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CPointSamples.h"
#include "Application/Pictures/CSampleOffsets.h"
#include "Application/Pictures/Kernels/SampleRows.h"

namespace Application
{

/// Widens single samples to dots that close the gaps of a surface.
///
/// How far apart the surfels of a surface are is read from the picture itself: from the distances
/// of the few nearest samples at a similar depth. A sample without such neighbours becomes a small
/// dot, and no dot is much larger than most are. Dots are discs that lie in the surface. Samples
/// without a normal get that of the plane through their neighbours.
class CPointSplatter
{
public:
    /// \p projection must live as long as the splatter. \p samplesPerSide: the samples of a pixel
    /// on a side, for sizes given in pixels.
    CPointSplatter(const CPictureProjection& projection, std::uint32_t samplesPerSide);

    /// How far a dot may reach, in samples: the border that the planes of depths must have in all
    /// samples that are given to this class.
    [[nodiscard]] static std::uint32_t FindReach(std::uint32_t samplesPerSide);

    /// The radius of each sample's dot; 0 where there is no sample.
    struct SRadii
    {
        /// In units of 1 / SSampleRows::c_radiusUnits samples; row by row.
        std::unique_ptr<std::uint8_t[]> radii;
        /// Dots that would be larger are drawn as large as this.
        std::uint8_t largest = 0;
    };

    [[nodiscard]] SRadii FindRadii(const CPointSamples& points) const;

    /// Draws \p points into \p target, of the same size, every sample widened to the radius that
    /// FindRadii() gave it; all of them have a normal then. What \p target held before is lost.
    void Splat(const CPointSamples& points, const SRadii& radii, CDepthBuffer& target) const;

private:
    [[nodiscard]] SDotsTask makeTask(const CDepthPlane& plane) const;

    const CPictureProjection& m_projection;
    float m_singleRadius;
    /// All up to the largest radius, without (0, 0).
    CSampleOffsets m_offsets;
    /// One of each two opposite offsets to the samples that planes of dense surfaces are fitted to.
    CSampleOffsets m_ring;
    /// To the samples that planes are fitted to where the ring has too few.
    CSampleOffsets m_rim;
};

}  // namespace Application
