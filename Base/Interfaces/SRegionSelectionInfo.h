#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Export.h"
#include "Base/Math/LqMatrix4R.h"

namespace Base
{

/// A region that was painted on the screen, with the view that was in force.
///
/// Whoever makes one keeps the mask bytes alive and unchanged as long as the record is in use.
struct SRegionSelectionInfo
{
    /// The view chain: transform1 is applied to world coordinates first, transform3 last; their
    /// product maps world coordinates to homogeneous clip coordinates.
    ///
    /// Divided by w, x = -1 is the left and x = 1 the right end of the view, y = 1 its top and
    /// y = -1 its bottom. The depth z does not decide about a single surfel, but a collection whose
    /// bounding box lies wholly outside 0 to 1 is not cut: a projection made for depths from -1 to
    /// 1 has to be followed by one that makes z of (z + w) / 2. Points are row vectors, see
    /// LqMatrix4R; sixteen numbers that another system keeps column by column, for column vectors,
    /// are the same sixteen here.
    LqMatrix4Rf transform1;
    LqMatrix4Rf transform2;
    LqMatrix4Rf transform3;
    const void* reserved = nullptr;
    /// maskWidth x maskHeight bytes, row after row from the top of the view; the byte of column x
    /// in row y is at y x maskWidth + x. Exactly 1 means painted; any other value, 255 for
    /// instance, does not. May be null when there are no pixels.
    const std::uint8_t* maskData = nullptr;
    std::uint32_t maskWidth = 0;
    std::uint32_t maskHeight = 0;
};

/// A region selection that owns its mask bytes, 1 where there is paint, which are taken over
/// without copying.
/// @throw VekoException when \p mask does not hold exactly \p width x \p height bytes.
[[nodiscard]] VEKO2_BASE_EXPORT std::shared_ptr<const SRegionSelectionInfo> MakeRegionSelection(
    const LqMatrix4Rf& transform1, const LqMatrix4Rf& transform2, const LqMatrix4Rf& transform3,
    std::vector<std::uint8_t> mask, std::uint32_t width, std::uint32_t height);

}  // namespace Base
