#include "Application/Pictures/CDepthPyramid.h"

#include <algorithm>
#include <bit>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/RowBands.h"

namespace Application
{

namespace
{

/// How far beyond a cell planes reach, in cells.
constexpr std::uint32_t c_reach = 9;
static_assert(c_reach == SSampleRows::c_planeReach * SSampleRows::c_maxCellRadius);

/// The cell made of four, from \p upper and \p lower on, which are two to the power of \p shift
/// samples wide.
std::uint64_t Join(const std::uint64_t (&upper)[2], const std::uint64_t (&lower)[2],
                   std::uint32_t shift)
{
    const std::uint64_t toRight = std::uint64_t{1} << shift;
    const std::uint64_t down = toRight << SCoarseGrid::c_placeBits;
    // All bits of an empty one's depth are set and stay so.
    return std::min(std::min(upper[0], upper[1] | toRight),
                    std::min(lower[0] | down, lower[1] | down | toRight));
}

}  // namespace

template <typename FindCell>
CDepthPyramid::CLevel::CLevel(std::uint32_t width, std::uint32_t height, const FindCell& findCell)
    : m_width(width),
      m_height(height),
      m_stride(std::size_t{width} + 2 * c_reach),
      m_cells(MakeLargeArray<std::uint64_t>((height + 2 * std::size_t{c_reach}) * m_stride)),
      m_offsets(0.0F, static_cast<float>(c_reach), CSampleOffsets::EKept::All, m_stride)
{
    ForEachRow(height + 2 * c_reach, [&](std::uint32_t rowOfAll) {
        std::uint64_t* const cells = &m_cells[rowOfAll * m_stride];
        if (rowOfAll < c_reach || rowOfAll >= height + c_reach)
        {
            std::fill_n(cells, m_stride, CDepthBuffer::c_empty);
            return;
        }
        std::fill_n(cells, c_reach, CDepthBuffer::c_empty);
        for (std::uint32_t column = 0; column < width; ++column)
        {
            cells[c_reach + column] = findCell(column, rowOfAll - c_reach);
        }
        std::fill_n(cells + c_reach + width, c_reach, CDepthBuffer::c_empty);
    });
}

const std::uint64_t* CDepthPyramid::CLevel::GetRow(std::uint32_t row) const
{
    return &m_cells[(row + c_reach) * m_stride + c_reach];
}

SCoarseGrid CDepthPyramid::CLevel::ToGrid(std::uint32_t shift) const
{
    return {GetRow(0), static_cast<std::ptrdiff_t>(m_stride), m_offsets.Get(), shift};
}

CDepthPyramid::CLevel CDepthPyramid::CLevel::Halve(std::uint32_t shift) const
{
    return {(m_width + 1) / 2, (m_height + 1) / 2, [&](std::uint32_t column, std::uint32_t row) {
                const std::uint64_t* const upper = GetRow(2 * row) + std::size_t{2} * column;
                const std::uint64_t* const lower = upper + m_stride;
                return Join({upper[0], upper[1]}, {lower[0], lower[1]}, shift);
            }};
}

CDepthPyramid::CLevel CDepthPyramid::halve(const SSampleDepths& samples)
{
    return {(samples.width + 1) / 2, (samples.height + 1) / 2,
            [&](std::uint32_t column, std::uint32_t row) {
                const float* const upper =
                    samples.first + std::ptrdiff_t{2} * row * samples.stride + 2 * column;
                const float* const lower = upper + samples.stride;
                const auto cell = [](float depth) {
                    return std::uint64_t{std::bit_cast<std::uint32_t>(depth)} << 32U;
                };
                return Join({cell(upper[0]), cell(upper[1])}, {cell(lower[0]), cell(lower[1])}, 0);
            }};
}

CDepthPyramid::CDepthPyramid(const SSampleDepths& samples, std::uint32_t numGrids)
{
    for (std::uint32_t grid = 0; grid < numGrids; ++grid)
    {
        m_levels.push_back(grid == 0 ? halve(samples) : m_levels.back().Halve(grid));
        m_grids.push_back(m_levels.back().ToGrid(grid + 1));
    }
}

std::uint32_t CDepthPyramid::CountGrids(float radius)
{
    std::uint32_t numGrids = 0;
    for (; radius > SSampleRows::c_maxCellRadius; radius /= 2.0F)
    {
        ++numGrids;
    }
    return numGrids;
}

}  // namespace Application
