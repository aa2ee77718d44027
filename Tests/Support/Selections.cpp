#include "Tests/Support/Selections.h"

#include <cstddef>
#include <utility>

namespace TestSupport
{

std::vector<std::uint8_t> MakeMask(std::uint32_t width, std::uint32_t height,
                                   const std::vector<SPixel>& painted)
{
    std::vector<std::uint8_t> mask(std::size_t{width} * height, 0);
    for (const SPixel& pixel : painted)
    {
        mask.at(std::size_t{pixel.row} * width + pixel.column) = 1;
    }
    return mask;
}

std::shared_ptr<const Base::SRegionSelectionInfo> MakeDeviceSelection(
    std::vector<std::uint8_t> mask, std::uint32_t width, std::uint32_t height)
{
    return Base::MakeRegionSelection(MakeIdentity(), MakeIdentity(), MakeIdentity(),
                                     std::move(mask), width, height);
}

std::shared_ptr<const Base::SRegionSelectionInfo> MakeDeviceSelection(
    std::uint32_t width, std::uint32_t height, const std::vector<SPixel>& painted)
{
    return MakeDeviceSelection(MakeMask(width, height, painted), width, height);
}

std::shared_ptr<const Base::SRegionSelectionInfo> MakeFullyPaintedDeviceSelection(
    std::uint32_t width, std::uint32_t height)
{
    return MakeDeviceSelection(std::vector<std::uint8_t>(std::size_t{width} * height, 1), width,
                               height);
}

LqMatrix4Rf MakeIdentity()
{
    return LqMatrix4Rf(c_matIdentityD);
}

LqMatrix4Rd MakeTranslation(double x, double y, double z)
{
    LqMatrix4Rd matrix = c_matIdentityD;
    matrix(3, 0) = x;
    matrix(3, 1) = y;
    matrix(3, 2) = z;
    return matrix;
}

LqMatrix4Rd MakeScale(double x, double y, double z)
{
    LqMatrix4Rd matrix = c_matIdentityD;
    matrix(0, 0) = x;
    matrix(1, 1) = y;
    matrix(2, 2) = z;
    return matrix;
}

LqMatrix4Rd MakeRotationY(double cosine, double sine)
{
    LqMatrix4Rd matrix = c_matIdentityD;
    matrix(0, 0) = cosine;
    matrix(0, 2) = -sine;
    matrix(2, 0) = sine;
    matrix(2, 2) = cosine;
    return matrix;
}

LqMatrix4Rd MakePerspective(double focal, double aspect, double near, double far)
{
    LqMatrix4Rd matrix;
    matrix(0, 0) = focal / aspect;
    matrix(1, 1) = focal;
    matrix(2, 2) = far / (near - far);
    matrix(2, 3) = -1.0;
    matrix(3, 2) = near * far / (near - far);
    return matrix;
}

}  // namespace TestSupport
