#pragma once

#include <array>
#include <cstdint>

#include "Application/View/CView.h"
#include "Base/Math/LqVector3f.h"

namespace Application
{

/// What a picture of a view needs to know of it: the combined transform, the lines of sight, and
/// how large a pixel is at a given depth.
///
/// Depths are what grows linearly along the viewing direction: in perspective the clip coordinate
/// w, else device z. The three picture axes point to the right, up and towards the viewer; they are
/// derived from the combined transform alone, so that any split of a view into three transforms
/// gives the same picture.
class CPictureProjection
{
public:
    /// A picture with \p samplesPerSide x \p samplesPerSide samples for each pixel of \p view.
    CPictureProjection(const CView& view, std::uint32_t samplesPerSide);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }
    [[nodiscard]] bool IsPerspective() const { return m_isPerspective; }

    /// From the coordinates of an entity with transform \p trafo to clip coordinates.
    [[nodiscard]] LqMatrix4Rf MakeChain(const LqMatrix4Rd& trafo) const;

    /// From normals of an entity with transform \p trafo to picture axes: row-vector times the
    /// upper left 3 x 3 elements; the result is not of length 1. The inverse transpose, so that
    /// normals stay perpendicular under any transform.
    [[nodiscard]] LqMatrix4Rf MakeNormalChain(const LqMatrix4Rd& trafo) const;

    /// The side of a sample, in units of depth, for a surface at \p depth: a surface that recedes
    /// by so much from one sample to the next is seen at 45 degrees.
    [[nodiscard]] float GetSampleSize(float depth) const
    {
        return m_isPerspective ? m_sampleSize * depth : m_sampleSize;
    }

private:
    CView m_view;
    std::uint32_t m_width;
    std::uint32_t m_height;
    LqMatrix4Rd m_viewProjection;
    bool m_isPerspective;
    float m_sampleSize;
    std::array<std::array<double, 3>, 3> m_axes;
};

}  // namespace Application
