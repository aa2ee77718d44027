#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/Lanes.h"

namespace Application
{

/// The depths and normals of some rows of a depth buffer, unpacked, with a border around them, so
/// that several samples can be read at a time and without asking where the picture ends.
///
/// What is empty, and what lies outside the picture, has a depth that is no number: no comparison
/// with it is true. Immutable.
class CSurfaceBand
{
public:
    /// The rows \p begin to \p end - 1 of \p buffer. \p border: how far beyond them, on all sides,
    /// there are depths; on the right also a register more. Normals reach one sample beyond.
    CSurfaceBand(const CDepthBuffer& buffer, std::uint32_t begin, std::uint32_t end,
                 std::uint32_t border);

    struct SNormals
    {
        Lanes x;
        Lanes y;
        Lanes z;
    };

    // Of the samples from the one in \p column and \p row, a row of the picture, on; at most the
    // border outside.

    [[nodiscard]] Lanes GetDepths(std::int64_t column, std::int64_t row) const
    {
        return LoadLanes(&m_depths[indexOf(column, row)]);
    }
    [[nodiscard]] SNormals GetNormals(std::int64_t column, std::int64_t row) const
    {
        const std::size_t index = indexOf(column, row);
        return {LoadLanes(&m_normals[0][index]), LoadLanes(&m_normals[1][index]),
                LoadLanes(&m_normals[2][index])};
    }

private:
    [[nodiscard]] std::size_t indexOf(std::int64_t column, std::int64_t row) const
    {
        return static_cast<std::size_t>((row - m_firstRow) * m_stride + m_border + column);
    }

    std::int64_t m_border;
    std::int64_t m_firstRow;
    std::int64_t m_stride;
    std::vector<float> m_depths;
    std::array<std::vector<float>, 3> m_normals;
};

}  // namespace Application
