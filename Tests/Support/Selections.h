#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/LqMatrix4R.h"

namespace TestSupport
{

/// A pixel of a mask.
struct SPixel
{
    std::uint32_t column = 0;
    std::uint32_t row = 0;
};

/// \p width x \p height bytes, 1 at the listed pixels and 0 elsewhere.
[[nodiscard]] std::vector<std::uint8_t> MakeMask(std::uint32_t width, std::uint32_t height,
                                                 const std::vector<SPixel>& painted);

/// A selection whose three transforms are the identity, so that world coordinates are device
/// coordinates.
[[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeDeviceSelection(
    std::vector<std::uint8_t> mask, std::uint32_t width, std::uint32_t height);

/// MakeDeviceSelection() with the listed pixels painted.
[[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeDeviceSelection(
    std::uint32_t width, std::uint32_t height, const std::vector<SPixel>& painted);

/// MakeDeviceSelection() with every pixel painted.
[[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeFullyPaintedDeviceSelection(
    std::uint32_t width, std::uint32_t height);

[[nodiscard]] LqMatrix4Rf MakeIdentity();
[[nodiscard]] LqMatrix4Rd MakeTranslation(double x, double y, double z);
[[nodiscard]] LqMatrix4Rd MakeScale(double x, double y, double z);
/// A right-handed turn about the y axis by the angle of the given cosine and sine.
[[nodiscard]] LqMatrix4Rd MakeRotationY(double cosine, double sine);
/// The eye at the origin looks along -z; depth \p near becomes 0 and depth \p far 1. \p focal is
/// the cotangent of half the vertical angle of view, \p aspect width by height.
[[nodiscard]] LqMatrix4Rd MakePerspective(double focal, double aspect, double near, double far);

}  // namespace TestSupport
