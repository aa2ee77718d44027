#include <immintrin.h>

#include <cstddef>

#include "Application/Pictures/Kernels/ProjectSurfels.h"

namespace Application
{

namespace
{

constexpr std::uint32_t c_width = 16;
static_assert(SSurfelPositions::c_multiple % c_width == 0);
static_assert(SSeenSurfels::c_size % c_width == 0 && SSeenSurfels::c_margin >= c_width);

__m512 Set(float value)
{
    return _mm512_set1_ps(value);
}

struct SColumn
{
    explicit SColumn(const float (&column)[4])
        : x(Set(column[0])), y(Set(column[1])), z(Set(column[2])), one(Set(column[3]))
    {}

    __m512 x;
    __m512 y;
    __m512 z;
    __m512 one;
};

__m512 Transform(const SColumn& column, __m512 x, __m512 y, __m512 z)
{
    return _mm512_add_ps(
        _mm512_add_ps(_mm512_add_ps(_mm512_mul_ps(x, column.x), _mm512_mul_ps(y, column.y)),
                      _mm512_mul_ps(z, column.z)),
        column.one);
}

struct SPositions
{
    __m512 x;
    __m512 y;
    __m512 z;
};

/// Every fourth position of sixteen, with what lies behind it.
__m512 LoadFour(const std::byte* first, std::size_t stride)
{
    const auto load = [&](std::size_t index) {
        return _mm_loadu_ps(reinterpret_cast<const float*>(first + index * stride));
    };
    const __m256 left = __builtin_shufflevector(load(0), load(4), 0, 1, 2, 3, 4, 5, 6, 7);
    const __m256 right = __builtin_shufflevector(load(8), load(12), 0, 1, 2, 3, 4, 5, 6, 7);
    return __builtin_shufflevector(left, right, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,
                                   15);
}

/// Sixteen positions: in each quarter of the registers a matrix of four is transposed.
SPositions LoadApart(const std::byte* first, std::size_t stride)
{
    const __m512 rows[4] = {LoadFour(first, stride), LoadFour(first + stride, stride),
                            LoadFour(first + 2 * stride, stride),
                            LoadFour(first + 3 * stride, stride)};
    const auto mixLeft = [](__m512 a, __m512 b) {
        return __builtin_shufflevector(a, b, 0, 16, 1, 17, 4, 20, 5, 21, 8, 24, 9, 25, 12, 28, 13,
                                       29);
    };
    const auto mixRight = [](__m512 a, __m512 b) {
        return __builtin_shufflevector(a, b, 2, 18, 3, 19, 6, 22, 7, 23, 10, 26, 11, 27, 14, 30, 15,
                                       31);
    };
    const auto joinLeft = [](__m512 a, __m512 b) {
        return __builtin_shufflevector(a, b, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28,
                                       29);
    };
    const auto joinRight = [](__m512 a, __m512 b) {
        return __builtin_shufflevector(a, b, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30,
                                       31);
    };
    const __m512 leftUpper = mixLeft(rows[0], rows[1]);
    const __m512 leftLower = mixLeft(rows[2], rows[3]);
    return {joinLeft(leftUpper, leftLower), joinRight(leftUpper, leftLower),
            joinLeft(mixRight(rows[0], rows[1]), mixRight(rows[2], rows[3]))};
}

/// Sixteen positions without gaps between them, in three registers.
SPositions LoadPacked(const std::byte* first)
{
    const __m512 a = _mm512_loadu_ps(first);
    const __m512 b = _mm512_loadu_ps(first + sizeof a);
    const __m512 c = _mm512_loadu_ps(first + 2 * sizeof a);
    // What the first step has no lane for, it takes any lane of; the second replaces it.
    const auto pick = [&](__m512i ofLeft, __m512i ofAll) {
        return _mm512_permutex2var_ps(_mm512_permutex2var_ps(a, ofLeft, b), ofAll, c);
    };
    return {pick(_mm512_setr_epi32(0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 0, 0, 0, 0, 0),
                 _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 17, 20, 23, 26, 29)),
            pick(_mm512_setr_epi32(1, 4, 7, 10, 13, 16, 19, 22, 25, 28, 31, 0, 0, 0, 0, 0),
                 _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 18, 21, 24, 27, 30)),
            pick(_mm512_setr_epi32(2, 5, 8, 11, 14, 17, 20, 23, 26, 29, 0, 0, 0, 0, 0, 0),
                 _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 19, 22, 25, 28, 31))};
}

SPositions LoadPositions(const std::byte* first, std::size_t stride)
{
    for (std::size_t index = 0; index < c_width; index += 4)
    {
        __builtin_prefetch(first + SSurfelPositions::c_prefetchDistance + index * stride);
    }
    return stride == 3 * sizeof(float) ? LoadPacked(first) : LoadApart(first, stride);
}

__mmask16 IsWithin(__mmask16 lanes, __m512 value, __m512 end)
{
    return _mm512_mask_cmp_ps_mask(
        _mm512_mask_cmp_ps_mask(lanes, value, _mm512_setzero_ps(), _CMP_GE_OQ), value, end,
        _CMP_LT_OQ);
}

/// Truncated toward zero.
__m512i ToIntegers(__mmask16 lanes, __m512 value)
{
    return _mm512_maskz_cvttps_epi32(lanes, value);
}

/// Those of sixteen surfels that are seen, where and how far.
struct SSeenLanes
{
    __mmask16 lanes;
    __m512i samples;
    __m512 depths;
};

/// The operations of the reference in their order, each rounded by itself, so that the answers are
/// the same to the bit.
class CProjection
{
public:
    explicit CProjection(const SSurfelProjection& projection)
        : m_clipX(projection.clip[0]),
          m_clipY(projection.clip[1]),
          m_clipZ(projection.clip[2]),
          m_clipW(projection.clip[3]),
          m_width(Set(static_cast<float>(projection.width))),
          m_height(Set(static_cast<float>(projection.height))),
          m_halfWidth(_mm512_mul_ps(Set(0.5F), m_width)),
          m_halfHeight(_mm512_mul_ps(Set(0.5F), m_height)),
          m_stride(_mm512_set1_epi32(static_cast<int>(projection.stride))),
          m_isPerspective(projection.isPerspective)
    {}

    /// Of the surfels from \p index on.
    [[nodiscard]] SSeenLanes Find(const SSurfelPositions& positions, std::uint32_t index) const
    {
        const std::uint32_t numLeft = positions.count - index;
        const auto isThere =
            static_cast<__mmask16>(numLeft < c_width ? (1U << numLeft) - 1U : 0xFFFFU);
        const auto [positionX, positionY, positionZ] =
            LoadPositions(positions.first + index * positions.stride, positions.stride);
        const __m512 zero = _mm512_setzero_ps();
        const __m512 one = Set(1.0F);
        const __m512 w = Transform(m_clipW, positionX, positionY, positionZ);
        const __m512 perW = _mm512_div_ps(one, w);
        const __m512 z = _mm512_mul_ps(Transform(m_clipZ, positionX, positionY, positionZ), perW);
        const __m512 x = _mm512_mul_ps(
            _mm512_add_ps(_mm512_mul_ps(Transform(m_clipX, positionX, positionY, positionZ), perW),
                          one),
            m_halfWidth);
        const __m512 y = _mm512_mul_ps(
            _mm512_sub_ps(one,
                          _mm512_mul_ps(Transform(m_clipY, positionX, positionY, positionZ), perW)),
            m_halfHeight);
        __mmask16 isVisible = _mm512_mask_cmp_ps_mask(isThere, w, zero, _CMP_GT_OQ);
        isVisible = _mm512_mask_cmp_ps_mask(isVisible, z, zero, _CMP_GE_OQ);
        isVisible = _mm512_mask_cmp_ps_mask(isVisible, z, one, _CMP_LE_OQ);
        isVisible = IsWithin(IsWithin(isVisible, x, m_width), y, m_height);
        const __m512i samples = _mm512_add_epi32(
            _mm512_mullo_epi32(ToIntegers(isVisible, y), m_stride), ToIntegers(isVisible, x));
        return {isVisible, samples, _mm512_add_ps(m_isPerspective ? w : z, zero)};
    }

private:
    SColumn m_clipX;
    SColumn m_clipY;
    SColumn m_clipZ;
    SColumn m_clipW;
    __m512 m_width;
    __m512 m_height;
    __m512 m_halfWidth;
    __m512 m_halfHeight;
    __m512i m_stride;
    bool m_isPerspective;
};

/// Within the register: straight into memory it takes several times as long.
void Append(__mmask16 lanes, __m512i values, void* target)
{
    _mm512_storeu_si512(target, _mm512_maskz_compress_epi32(lanes, values));
}

}  // namespace

void ProjectSurfelsAvx512(const SSurfelProjection& projection, const SSurfelPositions& positions,
                          SSeenSurfels& seen)
{
    const CProjection find(projection);
    const __m512i lanes = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    std::uint32_t count = 0;
    for (std::uint32_t first = 0; first < positions.count; first += c_width)
    {
        const SSeenLanes found = find.Find(positions, first);
        Append(found.lanes, _mm512_add_epi32(lanes, _mm512_set1_epi32(static_cast<int>(first))),
               seen.indices + count);
        Append(found.lanes, found.samples, seen.samples + count);
        Append(found.lanes, _mm512_castps_si512(found.depths), seen.depths + count);
        count += static_cast<std::uint32_t>(__builtin_popcount(found.lanes));
    }
    seen.count = count;
}

void DrawSurfelsAvx512(const SSurfelProjection& projection, const SSurfelPositions& positions,
                       float* samples)
{
    // Drawing waits for memory, and finding what to draw computes: the processor does one while it
    // waits for the other if they alternate. What has just been written as a whole register cannot
    // be read lane by lane at once, so that surfels are drawn some groups later.
    constexpr std::uint32_t c_groupsLater = 2;
    constexpr std::uint32_t c_numGroups = 4;
    struct SGroup
    {
        alignas(64) std::uint32_t samples[c_width];
        alignas(64) float depths[c_width];
    };
    SGroup groups[c_numGroups];
    const CProjection find(projection);
    // A sample for each lane, since drawing into one has to wait until it has been drawn before.
    const __m512i noSample =
        _mm512_add_epi32(_mm512_set1_epi32(static_cast<int>(projection.width)),
                         _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    const __m512i noDepth = _mm512_set1_epi32(-1);
    const auto keep = [&](std::uint32_t group, __m512i places, __m512i depths) {
        _mm512_store_si512(groups[group % c_numGroups].samples, places);
        _mm512_store_si512(groups[group % c_numGroups].depths, depths);
    };
    const auto draw = [&](std::uint32_t group) {
        const SGroup& drawn = groups[group % c_numGroups];
#pragma GCC unroll 16
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            float& sample = samples[drawn.samples[lane]];
            sample = sample < drawn.depths[lane] ? sample : drawn.depths[lane];
        }
    };
    std::uint32_t group = 0;
    for (; group < c_groupsLater; ++group)
    {
        keep(group, noSample, noDepth);
    }
    for (std::uint32_t first = 0; first < positions.count; first += c_width, ++group)
    {
        const SSeenLanes found = find.Find(positions, first);
        keep(group, _mm512_mask_mov_epi32(noSample, found.lanes, found.samples),
             _mm512_mask_mov_epi32(noDepth, found.lanes, _mm512_castps_si512(found.depths)));
        draw(group - c_groupsLater);
    }
    for (std::uint32_t left = c_groupsLater; left != 0; --left)
    {
        draw(group - left);
    }
}

}  // namespace Application
