#pragma once

#include "Base/Math/LqMatrix4R.h"
#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

namespace DataLayer
{

/// How surfels that \p trafo transforms are placed in cells. Those that are near, in one sum an
/// axis: so far around the origin that no place is off by more than
/// CNeighborCells::c_queryError. See Docs/NeighborCells.md.
[[nodiscard]] NeighborCells::SPlacement MakeNeighborPlacement(const NeighborCells::SLookup& lookup,
                                                              const LqMatrix4Rf& trafo);

}  // namespace DataLayer
