#include <cstring>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"

namespace DataLayer::NeighborCells
{

namespace
{

/// The cell that a surfel is placed in.
void PlaceSurfel(const SLookup& lookup, const SSurfels& surfels, std::size_t index,
                 std::uint32_t (&cell)[3])
{
    const SPlacement& placement = surfels.placement;
    const float* const m = placement.matrix;
    float p[3];
    std::memcpy(p, surfels.first + index * surfels.stride, sizeof p);
    const float w =
        placement.isAffine ? 1.0F : ((p[0] * m[3] + p[1] * m[7]) + p[2] * m[11]) + m[15];
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const float moved =
            ((p[0] * m[axis] + p[1] * m[4 + axis]) + p[2] * m[8 + axis]) + m[12 + axis];
        cell[axis] = CellOf(lookup, placement.isAffine ? moved : moved / w, axis);
    }
}

}  // namespace

std::size_t LookScalar(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open)
{
    std::size_t numOpen = 0;
    std::uint32_t firstState = 0;
    std::uint64_t lastKey = ~std::uint64_t{0};
    for (std::size_t index = 0; index < surfels.count; ++index)
    {
        std::uint32_t cell[3];
        PlaceSurfel(lookup, surfels, index, cell);
        const std::uint64_t key = KeyOfCell(cell);
        if (key != lastKey)
        {
            lastKey = key;
            firstState = FirstStateOf(lookup, key);
        }
        const std::uint32_t state = StateIn(LatestWord(lookup, firstState + StateWord(cell)), cell);
        states[index] = static_cast<std::uint16_t>(state);
        if (!IsKnown(state))
        {
            open[numOpen++] = static_cast<std::uint32_t>(index);
        }
    }
    return numOpen;
}

}  // namespace DataLayer::NeighborCells
