#pragma once

#include <cmath>
#include <cstdint>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"
#include "Tests/DataLayer/PointCloud/CNearestNeighborSplitTest.h"

namespace DataLayerTest
{

/// The cells of a cloud of which half the positions or more lie in one place, which so becomes the
/// middle of the cells.
class CCellGrid
{
public:
    explicit CCellGrid(const LqVector3f& middle) : m_middle(middle)
    {
        constexpr float c_half = static_cast<float>(DataLayer::NeighborCells::c_maximumCell) / 2.0F;
        m_lookup.scale = DataLayer::CNeighborCells::c_cellsPerBound / c_bound;
        m_lookup.low[0] = middle.x - c_half / m_lookup.scale;
        m_lookup.low[1] = middle.y - c_half / m_lookup.scale;
        m_lookup.low[2] = middle.z - c_half / m_lookup.scale;
    }

    /// The least coordinate whose cell has this number or a higher one.
    [[nodiscard]] float First(std::uint32_t axis, std::uint32_t cell) const
    {
        const auto about =
            static_cast<float>(m_lookup.low[axis] + static_cast<double>(cell) / m_lookup.scale);
        float below = about - 64;
        float first = about + 64;
        for (;;)
        {
            const auto middle = static_cast<float>((static_cast<double>(below) + first) / 2);
            if (middle == below || middle == first)
            {
                return first;
            }
            (DataLayer::NeighborCells::CellOf(m_lookup, middle, axis) < cell ? below : first) =
                middle;
        }
    }

    [[nodiscard]] float Last(std::uint32_t axis, std::uint32_t cell) const
    {
        return std::nextafter(First(axis, cell + 1), -c_infinity);
    }

    [[nodiscard]] float Middle(std::uint32_t axis, std::uint32_t cell) const
    {
        return (First(axis, cell) + Last(axis, cell)) / 2;
    }

    /// Twice as many positions in the middle as there are others, and more, so that they are most
    /// of any sample.
    [[nodiscard]] Points WithMiddle(Points points) const
    {
        points.resize(3 * points.size() + 3, m_middle);
        return points;
    }

private:
    LqVector3f m_middle;
    DataLayer::NeighborCells::SLookup m_lookup{};
};

}  // namespace DataLayerTest
