#include "Tests/Support/ReferenceCut.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace TestSupport
{

namespace
{

constexpr float c_infinity = std::numeric_limits<float>::infinity();

using Elements = std::array<float, 16>;
using Vector = std::array<float, 3>;

/// One interval per axis.
struct SBounds
{
    Vector min{c_infinity, c_infinity, c_infinity};
    Vector max{-c_infinity, -c_infinity, -c_infinity};

    void Add(const Vector& point)
    {
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            min[axis] = point[axis] < min[axis] ? point[axis] : min[axis];
            max[axis] = point[axis] > max[axis] ? point[axis] : max[axis];
        }
    }

    [[nodiscard]] bool HasPointOnEveryAxis() const
    {
        return min[0] <= max[0] && min[1] <= max[1] && min[2] <= max[2];
    }
};

Elements Multiply(const float* a, const float* b)
{
    Elements product{};
    for (std::size_t i = 0; i < 4; ++i)
    {
        for (std::size_t j = 0; j < 4; ++j)
        {
            const float first = a[4 * i] * b[j];
            const float second = a[4 * i + 1] * b[4 + j];
            const float third = a[4 * i + 2] * b[8 + j];
            const float fourth = a[4 * i + 3] * b[12 + j];
            const float two = first + second;
            const float three = two + third;
            product[4 * i + j] = three + fourth;
        }
    }
    return product;
}

Elements Combine(const Base::SRegionSelectionInfo& selection, const LqMatrix4Rd& trafo)
{
    const Elements two = Multiply(selection.transform1.data(), selection.transform2.data());
    const Elements view = Multiply(two.data(), selection.transform3.data());
    Elements entity{};
    for (std::size_t index = 0; index < 16; ++index)
    {
        entity[index] = static_cast<float>(trafo.data()[index]);
    }
    return Multiply(entity.data(), view.data());
}

Vector Project(const Elements& matrix, const Vector& point)
{
    std::array<float, 4> v{};
    for (std::size_t j = 0; j < 4; ++j)
    {
        const float x = point[0] * matrix[j];
        const float y = point[1] * matrix[4 + j];
        const float z = point[2] * matrix[8 + j];
        const float two = x + y;
        const float three = two + z;
        v[j] = three + matrix[12 + j];
    }
    return {v[0] / v[3], v[1] / v[3], v[2] / v[3]};
}

Vector MapToPixels(const Vector& device, float width, float height)
{
    const float right = device[0] + 1.0F;
    const float down = 1.0F - device[1];
    const float x = right * width;
    const float y = down * height;
    return {x * 0.5F, y * 0.5F, device[2]};
}

std::int32_t ToInteger(float value)
{
    const double whole = std::trunc(static_cast<double>(value));
    if (std::isnan(whole) || whole < -2147483648.0 || whole > 2147483647.0)
    {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(whole);
}

bool BoxOverlapsPaint(const Base::SRegionSelectionInfo& selection, const LqVector3f& min,
                      const LqVector3f& max, const Elements& matrix)
{
    SBounds paint;
    for (std::uint32_t x = 0; x < selection.maskWidth; ++x)
    {
        for (std::uint32_t y = 0; y < selection.maskHeight; ++y)
        {
            if (selection.maskData[std::size_t{y} * selection.maskWidth + x] == 1)
            {
                paint.Add({static_cast<float>(x), static_cast<float>(y), 1.0F});
            }
        }
    }
    paint.min[2] = 0.0F;
    paint.max[2] = 1.0F;

    if (!(min.x <= max.x && min.y <= max.y && min.z <= max.z))
    {
        return false;
    }
    SBounds projected;
    for (unsigned corner = 0; corner < 8; ++corner)
    {
        projected.Add(
            Project(matrix, {(corner & 1) != 0 ? max.x : min.x, (corner & 2) != 0 ? max.y : min.y,
                             (corner & 4) != 0 ? max.z : min.z}));
    }
    if (!projected.HasPointOnEveryAxis())
    {
        return false;
    }
    const float width = static_cast<float>(selection.maskWidth);
    const float height = static_cast<float>(selection.maskHeight);
    SBounds screen;
    screen.Add(MapToPixels(projected.min, width, height));
    screen.Add(MapToPixels(projected.max, width, height));
    if (!paint.HasPointOnEveryAxis() || !screen.HasPointOnEveryAxis())
    {
        return false;
    }
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        if (paint.max[axis] < screen.min[axis] || screen.max[axis] < paint.min[axis])
        {
            return false;
        }
    }
    return true;
}

bool IsUnderPaint(const Base::SRegionSelectionInfo& selection, const Elements& matrix,
                  const LqVector3f& position)
{
    const float width = static_cast<float>(selection.maskWidth);
    const float height = static_cast<float>(selection.maskHeight);
    const Vector pixel =
        MapToPixels(Project(matrix, {position.x, position.y, position.z}), width, height);
    const std::int32_t row = ToInteger(pixel[1]);
    const std::int32_t column = ToInteger(pixel[0]);
    if (!(row > 0) || !(row < ToInteger(height)) || !(column > 0) || !(column < ToInteger(width)))
    {
        return false;
    }
    // Masks in tests are smaller than what their sizes lose as floats.
    const std::uint32_t index =
        static_cast<std::uint32_t>(row) * selection.maskWidth + static_cast<std::uint32_t>(column);
    return selection.maskData[index] == 1;
}

}  // namespace

bool ReferenceIntersectsRegion(const Base::SRegionSelectionInfo& selection, const LqVector3f& min,
                               const LqVector3f& max, const LqMatrix4Rd& trafo)
{
    return BoxOverlapsPaint(selection, min, max, Combine(selection, trafo));
}

SReferenceResult ReferenceCut(const Base::SRegionSelectionInfo& selection,
                              const std::vector<LqVector3f>& positions, const LqVector3f& min,
                              const LqVector3f& max,
                              const std::vector<Base::CSurfelBitMask>& bitMasks,
                              const LqMatrix4Rd& trafo)
{
    SReferenceResult result;
    result.words = bitMasks;
    if (result.words.empty())
    {
        result.words.resize(positions.size());
    }
    const Elements matrix = Combine(selection, trafo);
    if (!BoxOverlapsPaint(selection, min, max, matrix))
    {
        return result;
    }
    for (std::size_t index = 0; index < positions.size() && index < result.words.size(); ++index)
    {
        if (IsUnderPaint(selection, matrix, positions[index]) &&
            (result.words[index].bits & 8) == 0)
        {
            result.words[index].bits = static_cast<std::uint16_t>(result.words[index].bits | 8);
            result.hasChanged = true;
        }
    }
    return result;
}

}  // namespace TestSupport
