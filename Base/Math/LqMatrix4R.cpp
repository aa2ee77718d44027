#include "Base/Math/LqMatrix4R.h"

namespace
{

template <typename T>
LqMatrix4R<T> Multiply(const LqMatrix4R<T>& a, const LqMatrix4R<T>& b)
{
    LqMatrix4R<T> product;
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            T sum = a(row, 0) * b(0, column);
            sum = sum + a(row, 1) * b(1, column);
            sum = sum + a(row, 2) * b(2, column);
            product(row, column) = sum + a(row, 3) * b(3, column);
        }
    }
    return product;
}

}  // namespace

LqMatrix4Rf operator*(const LqMatrix4Rf& a, const LqMatrix4Rf& b)
{
    return Multiply(a, b);
}

LqMatrix4Rd operator*(const LqMatrix4Rd& a, const LqMatrix4Rd& b)
{
    return Multiply(a, b);
}
