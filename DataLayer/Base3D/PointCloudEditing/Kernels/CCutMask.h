#pragma once

#include <cstdint>
#include <vector>

#include "Base/Math/CBox3D.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"

namespace Base
{
struct SRegionSelectionInfo;
}

namespace DataLayer
{

/// The bounds, x = column and y = row, of the integer corners of all painted pixels, those of row 0
/// and column 0 included. The far corners are left out on purpose.
[[nodiscard]] Geometry::CBox3D BoundPaintedPixels(const Base::SRegionSelectionInfo& selection);

/// A selection's mask, prepared once for the kernels. Constant; safe for concurrent use.
class CCutMask
{
public:
    /// Reads the mask's bytes, which must outlive this object.
    /// \param bounds what BoundPaintedPixels() says of \p selection.
    CCutMask(const Base::SRegionSelectionInfo& selection, const Geometry::CBox3D& bounds);

    CCutMask(const CCutMask&) = delete;
    CCutMask& operator=(const CCutMask&) = delete;

    /// Valid as long as this object. Not packed when the view is so large that not every pixel is a
    /// float or a mask's index takes more than 32 bits, or that its paint takes too many bits.
    [[nodiscard]] const SCutMask& Get() const { return m_mask; }

private:
    void pack(const Geometry::CBox3D& bounds);
    void packRow(std::uint32_t row);
    [[nodiscard]] bool isWhole() const;

    SCutMask m_mask;
    /// With those that may be read beside them.
    std::vector<std::uint32_t> m_words;
};

}  // namespace DataLayer
