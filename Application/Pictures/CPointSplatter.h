#pragma once

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CDepthPlane.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CPlaneFits.h"
#include "Application/Pictures/Lanes.h"

#include <array>
#include <cstdint>
#include <vector>

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
    /// \p samplesPerSide: the samples of a pixel on a side, for sizes given in pixels.
    CPointSplatter(const CPictureProjection& projection, std::uint32_t samplesPerSide);

    /// The radius of each sample's dot; 0 where there is no sample.
    struct SRadii
    {
        /// In units of 1 / c_radiusUnits samples.
        std::vector<std::uint8_t> radii;
        /// Dots that would be larger are drawn as large as this.
        std::uint8_t largest = 0;
        /// What they were found in.
        CDepthPlane depths;
    };

    [[nodiscard]] SRadii FindRadii(const CDepthBuffer& points) const;

    /// Makes \p target, of the same size, the picture of \p points with every sample widened to the
    /// radius that FindRadii() gave it; all of them have a normal then.
    void Splat(const CDepthBuffer& points, const SRadii& radii, CDepthBuffer& target) const;

private:
    struct SOffset
    {
        std::int32_t x;
        std::int32_t y;
        float distance;
    };
    /// The radius of a sample's dot and its normal along the picture axes.
    struct SDot
    {
        float radius;
        float normalX;
        float normalY;
        float normalZ;
    };
    /// Neighbouring samples of a row, as many as there are lanes; empty and of radius 0 where there
    /// is none.
    struct SDots
    {
        std::array<std::uint64_t, c_numLanes> words{CDepthBuffer::c_empty, CDepthBuffer::c_empty,
                                                    CDepthBuffer::c_empty, CDepthBuffer::c_empty};
        Lanes radii{};
        Lanes normalX{};
        Lanes normalY{};
        Lanes normalZ{};
    };

    // As many neighbouring samples of a row at a time as there are lanes.
    [[nodiscard]] Lanes findRadii(const CDepthPlane& plane, std::uint32_t column,
                                  std::uint32_t row) const;
    /// Gives those dots normals that have none.
    void fitNormals(const CDepthPlane& plane, std::uint32_t column, std::uint32_t row,
                    SDots& dots) const;
    /// The gradients where enough samples surround these, and where that is.
    [[nodiscard]] LaneMask fitDense(const CDepthPlane& plane, std::uint32_t column,
                                    std::uint32_t row, CPlaneFits::SGradients& gradients) const;
    [[nodiscard]] CPlaneFits::SGradients fitScattered(const CDepthPlane& plane,
                                                      std::uint32_t column, std::uint32_t row,
                                                      Lanes radii) const;
    /// Draws those parts of a dot that the samples themselves do not hide.
    void drawDot(const CDepthPlane& plane, std::uint32_t column, std::uint32_t row,
                 std::uint64_t word, const SDot& dot, CDepthBuffer& target) const;

    template <typename Visit>
    static void forEachGroup(const CDepthBuffer& points, std::uint32_t row, const Visit& visit);

    /// Calls \p visit(offset, depths, isNear) for the offsets from each sample of a group, nearest
    /// first, until it returns false: with the depths found there, and which of them are of the
    /// same surface as the sample.
    template <typename Visit>
    void visitSurfaces(const CDepthPlane& plane, std::uint32_t column, std::uint32_t row,
                       const Visit& visit) const;

    const CPictureProjection& m_projection;
    float m_singleRadius;
    std::uint32_t m_reach;
    /// All offsets up to the largest radius, nearest first, without (0, 0).
    std::vector<SOffset> m_offsets;
    /// One of each two opposite offsets to the samples that planes of dense surfaces are fitted to.
    std::vector<SOffset> m_ring;
};

}  // namespace Application
