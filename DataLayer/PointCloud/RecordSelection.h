#pragma once

#include <cstdint>

#include "DataLayer/PointCloud/Kernels/NearestNeighborTree.h"

namespace DataLayer::NearestNeighbor
{

/// Selects like std::nth_element: rearranges the records of [first, last) so that none before
/// \p middle has a greater coordinate on \p axis than any from \p middle on. Coordinates are
/// finite. Takes O(n) time but for inputs made to defeat it, which take O(n log n); the same
/// records in the same order always end in the same order.
void SelectByCoordinate(SRecord* first, SRecord* middle, SRecord* last, std::uint32_t axis);

/// The same by ascending index.
void SelectByIndex(SRecord* first, SRecord* middle, SRecord* last);

}  // namespace DataLayer::NearestNeighbor
