#include "DataLayer/PointCloud/NeighborPlacement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace DataLayer
{

NeighborCells::SPlacement MakeNeighborPlacement(const NeighborCells::SLookup& lookup,
                                                const LqMatrix4Rf& trafo)
{
    constexpr auto c_stepsPerCell = static_cast<double>(1U << NeighborCells::c_stepBits);
    // The steps of all cells are the lowest bits of the floats from here to twice this.
    constexpr double c_firstStep = 0x1p23;
    // What is placed by a greater sum, in cells, may be off too far.
    constexpr double c_farthest = 0x1p15;
    constexpr double c_lastCell = NeighborCells::c_maximumCell;
    // Whose squares neither overflow nor underflow.
    constexpr double c_greatestDistance = 1e18;
    constexpr double c_leastDistance = 1e-15;

    NeighborCells::SPlacement placement;
    std::memcpy(placement.matrix, trafo.data(), sizeof placement.matrix);
    placement.isAffine =
        trafo(0, 3) == 0.0F && trafo(1, 3) == 0.0F && trafo(2, 3) == 0.0F && trafo(3, 3) == 1.0F;
    const double scale = lookup.scale;
    double distance = c_greatestDistance;
    bool areSomeNear = placement.isAffine;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        double squaredCellsPerUnit = 0.0;
        for (std::size_t row = 0; row < 3; ++row)
        {
            const double cellsPerUnit = trafo(row, axis) * scale;
            squaredCellsPerUnit += cellsPerUnit * cellsPerUnit;
            placement.steps[axis][row] = static_cast<float>(cellsPerUnit * c_stepsPerCell);
        }
        const double shift = trafo(3, axis);
        const double cell = (shift - lookup.low[axis]) * scale;
        placement.steps[axis][3] = static_cast<float>(cell * c_stepsPerCell + c_firstStep);
        const double room =
            std::min({c_farthest - std::abs(shift) * scale, cell - 1.0, c_lastCell - cell});
        const double reach = room / std::sqrt(squaredCellsPerUnit);
        areSomeNear = areSomeNear && reach >= c_leastDistance;
        distance = std::min(distance, reach);
    }
    // A little less, since the square is rounded, and so is what it is compared with.
    const double squared = distance * distance * (1.0 - 0x1p-20);
    placement.nearness = areSomeNear ? static_cast<float>(squared) : -1.0F;
    return placement;
}

}  // namespace DataLayer
