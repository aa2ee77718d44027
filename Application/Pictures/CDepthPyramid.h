#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Application/Pictures/CSampleOffsets.h"
#include "Application/Pictures/Kernels/SampleRows.h"
#include "Application/Pictures/LargeArrays.h"

namespace Application
{

/// Coarser and coarser grids of a picture's samples: samples that are far apart lie side by side in
/// one of them. Immutable.
class CDepthPyramid
{
public:
    /// \p numGrids grids of \p samples, around which there must be one more on all sides. Runs in
    /// parallel.
    CDepthPyramid(const SSampleDepths& samples, std::uint32_t numGrids);

    /// As many as it takes until a radius, finite and in samples, is SSampleRows::c_maxCellRadius
    /// cells at most.
    [[nodiscard]] static std::uint32_t CountGrids(float radius);

    /// For the kernels; while this lives.
    [[nodiscard]] std::span<const SCoarseGrid> GetGrids() const { return m_grids; }

private:
    /// Cells with a border of empty ones.
    class CLevel
    {
    public:
        /// \p findCell(column, row) gives the cells.
        template <typename FindCell>
        CLevel(std::uint32_t width, std::uint32_t height, const FindCell& findCell);

        [[nodiscard]] const std::uint64_t* GetRow(std::uint32_t row) const;
        [[nodiscard]] SCoarseGrid ToGrid(std::uint32_t shift) const;

        /// The one of half as many cells on a side. \p shift: of this one.
        [[nodiscard]] CLevel Halve(std::uint32_t shift) const;

    private:
        std::uint32_t m_width;
        std::uint32_t m_height;
        std::size_t m_stride;
        LargeArray<std::uint64_t> m_cells;
        CSampleOffsets m_offsets;
    };

    [[nodiscard]] static CLevel halve(const SSampleDepths& samples);

    std::vector<CLevel> m_levels;
    std::vector<SCoarseGrid> m_grids;
};

}  // namespace Application
