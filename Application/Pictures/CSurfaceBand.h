#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/Kernels/SampleRows.h"

namespace Application
{

/// The depths and normals of some rows of a depth buffer, unpacked, with a border around them, so
/// that several samples can be read at a time and without asking where the picture ends.
///
/// What is empty, and what lies outside the picture, has a depth that is no number: no comparison
/// with it is true.
class CSurfaceBand
{
public:
    /// Room for \p numRows rows of \p buffer. \p border: how far beyond them, on all sides, there
    /// will be depths; on the right SSampleRows::c_margin more. There is as much room for normals,
    /// but only those of samples in the rows and next to them mean anything.
    CSurfaceBand(const CDepthBuffer& buffer, std::uint32_t numRows, std::uint32_t border);

    /// Unpacks the rows \p begin to \p end - 1, at most as many as there is room for.
    void Load(std::uint32_t begin, std::uint32_t end);

    // Of the first sample of a row that is loaded; the others follow at GetStride().

    [[nodiscard]] const float* GetDepths(std::uint32_t row) const
    {
        return &m_depths[indexOf(row)];
    }
    /// A component of the normal.
    [[nodiscard]] const float* GetNormals(std::size_t axis, std::uint32_t row) const
    {
        return &m_normals[axis][indexOf(row)];
    }
    [[nodiscard]] std::ptrdiff_t GetStride() const { return static_cast<std::ptrdiff_t>(m_stride); }

private:
    [[nodiscard]] std::size_t indexOf(std::int64_t row) const
    {
        return static_cast<std::size_t>(row - m_firstRow) * m_stride + m_border;
    }

    const CDepthBuffer& m_buffer;
    std::uint32_t m_border;
    std::int64_t m_firstRow = 0;
    std::size_t m_stride;
    std::unique_ptr<float[]> m_depths;
    std::unique_ptr<float[]> m_normals[3];
};

}  // namespace Application
