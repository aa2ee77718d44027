#include "Application/Projects/Placement.h"

#include <cmath>
#include <cstddef>

namespace Application
{

bool IsPlacement(const LqMatrix4Rd& matrix)
{
    for (std::size_t index = 0; index < 16; ++index)
    {
        if (!std::isfinite(matrix.data()[index]))
        {
            return false;
        }
    }
    const bool isAffine =
        matrix(0, 3) == 0 && matrix(1, 3) == 0 && matrix(2, 3) == 0 && matrix(3, 3) == 1;
    const auto minor = [&](std::size_t a, std::size_t b) {
        return matrix(1, a) * matrix(2, b) - matrix(1, b) * matrix(2, a);
    };
    const double determinant =
        matrix(0, 0) * minor(1, 2) - matrix(0, 1) * minor(0, 2) + matrix(0, 2) * minor(0, 1);
    return isAffine && determinant != 0 && std::isfinite(determinant);
}

}  // namespace Application
