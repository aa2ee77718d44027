#pragma once

#include <cstddef>

#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"

namespace DataLayer
{

/// Shows the cutter's private parts to its tests.
class CCutPointCloudWithPixelMaskTestPeer
{
public:
    using Cutter = CCutPointCloudWithPixelMask;

    [[nodiscard]] static const Geometry::CBox3D& GetPixelBounds(const Cutter& cutter)
    {
        return cutter.m_pixelBounds.box;
    }
    [[nodiscard]] static const LqMatrix4Rf& GetViewProjection(const Cutter& cutter)
    {
        return cutter.m_viewProjection;
    }
    [[nodiscard]] static float GetWidth(const Cutter& cutter) { return cutter.m_width; }
    [[nodiscard]] static float GetHeight(const Cutter& cutter) { return cutter.m_height; }

    [[nodiscard]] static LqVector3f ApplyViewport(LqVector3f point, float width, float height)
    {
        Cutter::ApplyViewport(point, width, height);
        return point;
    }

    /// Where the members lie, in bytes from the start of the object, in the order of the contract.
    struct SOffsets
    {
        std::ptrdiff_t regionSelection;
        std::ptrdiff_t pixelBounds;
        std::ptrdiff_t viewProjection;
        std::ptrdiff_t width;
        std::ptrdiff_t height;
    };
    [[nodiscard]] static SOffsets GetOffsets(const Cutter& cutter)
    {
        const auto offset = [&](const auto& member) {
            return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&cutter);
        };
        return {offset(cutter.m_regionSelection), offset(cutter.m_pixelBounds),
                offset(cutter.m_viewProjection), offset(cutter.m_width), offset(cutter.m_height)};
    }
};

}  // namespace DataLayer
