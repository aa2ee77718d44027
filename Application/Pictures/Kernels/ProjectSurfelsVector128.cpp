#include <algorithm>
#include <array>

#include "Application/Pictures/Kernels/ProjectSurfels.h"
#include "Application/Pictures/Lanes.h"

namespace Application
{

namespace
{

static_assert(SSurfelPositions::c_multiple % c_numLanes == 0);

/// One coordinate of several positions times a column of a matrix; each lane as in
/// TransformHomogeneous().
class CColumn
{
public:
    explicit CColumn(const float (&column)[4])
        : m_x(FillLanes(column[0])),
          m_y(FillLanes(column[1])),
          m_z(FillLanes(column[2])),
          m_one(FillLanes(column[3]))
    {}

    [[nodiscard]] Lanes Transform(Lanes x, Lanes y, Lanes z) const
    {
        return ((x * m_x + y * m_y) + z * m_z) + m_one;
    }

private:
    Lanes m_x;
    Lanes m_y;
    Lanes m_z;
    Lanes m_one;
};

using Columns = std::array<Lanes, 3>;

/// The first three columns of the matrix with these rows.
Columns Transpose(const std::array<Lanes, 4>& rows)
{
    const Lanes leftUpper = __builtin_shufflevector(rows[0], rows[1], 0, 4, 1, 5);
    const Lanes leftLower = __builtin_shufflevector(rows[2], rows[3], 0, 4, 1, 5);
    const Lanes rightUpper = __builtin_shufflevector(rows[0], rows[1], 2, 6, 3, 7);
    const Lanes rightLower = __builtin_shufflevector(rows[2], rows[3], 2, 6, 3, 7);
    return {__builtin_shufflevector(leftUpper, leftLower, 0, 1, 4, 5),
            __builtin_shufflevector(leftUpper, leftLower, 2, 3, 6, 7),
            __builtin_shufflevector(rightUpper, rightLower, 0, 1, 4, 5)};
}

/// The coordinates of the positions from \p first on.
Columns LoadPositions(const std::byte* first, std::size_t stride)
{
    __builtin_prefetch(first + SSurfelPositions::c_prefetchDistance);
    return Transpose({LoadLanes(first), LoadLanes(first + stride), LoadLanes(first + 2 * stride),
                      LoadLanes(first + 3 * stride)});
}

}  // namespace

void ProjectSurfelsVector128(const SSurfelProjection& projection, const SSurfelPositions& positions,
                             SSeenSurfels& seen)
{
    using Integers = std::int32_t __attribute__((vector_size(sizeof(Lanes))));
    const CColumn clipX(projection.clip[0]);
    const CColumn clipY(projection.clip[1]);
    const CColumn clipZ(projection.clip[2]);
    const CColumn clipW(projection.clip[3]);
    const Lanes zero{};
    const Lanes one = FillLanes(1.0F);
    const Lanes width = FillLanes(static_cast<float>(projection.width));
    const Lanes height = FillLanes(static_cast<float>(projection.height));
    const Lanes halfWidth = FillLanes(0.5F) * width;
    const Lanes halfHeight = FillLanes(0.5F) * height;
    seen.count = 0;
    for (std::uint32_t first = 0; first < positions.count; first += c_numLanes)
    {
        const auto [positionX, positionY, positionZ] =
            LoadPositions(positions.first + first * positions.stride, positions.stride);
        const Lanes w = clipW.Transform(positionX, positionY, positionZ);
        const Lanes perW = one / w;
        const Lanes z = clipZ.Transform(positionX, positionY, positionZ) * perW;
        const Lanes x = (clipX.Transform(positionX, positionY, positionZ) * perW + one) * halfWidth;
        const Lanes y =
            (one - clipY.Transform(positionX, positionY, positionZ) * perW) * halfHeight;
        // Also false for what is not a number.
        const LaneMask isVisible = (w > zero) & (z >= zero) & (z <= one) & (x >= zero) &
                                   (x < width) & (y >= zero) & (y < height);
        const Integers columns = __builtin_convertvector(isVisible ? x : zero, Integers);
        const Integers rows = __builtin_convertvector(isVisible ? y : zero, Integers);
        // Adding 0 turns the negative zero, whose bits would sort last, into the positive one.
        const Lanes depths = (projection.isPerspective ? w : z) + zero;
        const std::uint32_t numLanes = std::min(c_numLanes, positions.count - first);
        for (std::uint32_t lane = 0; lane < numLanes; ++lane)
        {
            seen.indices[seen.count] = first + lane;
            seen.samples[seen.count] = static_cast<std::uint32_t>(rows[lane]) * projection.stride +
                                       static_cast<std::uint32_t>(columns[lane]);
            seen.depths[seen.count] = depths[lane];
            seen.count += isVisible[lane] != 0 ? 1 : 0;
        }
    }
}

void DrawSurfelsVector128(const SSurfelProjection& projection, const SSurfelPositions& positions,
                          float* samples)
{
    SSeenSurfels seen;
    for (std::uint32_t first = 0; first < positions.count; first += SSeenSurfels::c_size)
    {
        const std::uint32_t count = std::min(SSeenSurfels::c_size, positions.count - first);
        ProjectSurfelsVector128(
            projection, {positions.first + first * positions.stride, positions.stride, count},
            seen);
        // Drawing one is so little that counting them takes as long.
#pragma GCC unroll 8
        for (std::uint32_t index = 0; index < seen.count; ++index)
        {
            float& sample = samples[seen.samples[index]];
            sample = sample < seen.depths[index] ? sample : seen.depths[index];
        }
    }
}

}  // namespace Application
