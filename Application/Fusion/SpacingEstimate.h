#pragma once

#include <vector>

#include "Application/Fusion/CPointSample.h"
#include "Application/Fusion/CScanPoints.h"

namespace Application
{

/// The median distance, over a sample of all points, from a point to the nearest one at another
/// place. Always the same for the same scans.
///
/// Points closer than 2^-22 of the extent of the middle half of all points count as at one place:
/// scans that hold the same points under slightly different transforms are as dense as one of them.
///
/// \returns 0 when there are no two places.
[[nodiscard]] double EstimateSpacing(const std::vector<CScanPoints>& scans,
                                     const CPointSample& sample);

}  // namespace Application
