#pragma once

#include <string_view>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"

namespace DataLayer
{

/// The cut for one instruction set. All kernels give the same bits.
struct SCutSurfelsKernel
{
    std::string_view name;
    CutSurfelsKernel cut;
    /// Of sixteen runs of surfels whose positions come from memory, so many may be left to the
    /// kernel before it takes less time to give it all of them: the faster it is, the fewer.
    std::uint32_t mostOpenRuns = 16;
    /// The best one of tasks over surfels in an order in space.
    std::uintptr_t fetchDistance = SCutSurfelsTask().fetchDistance;
};

/// The kernels that this processor runs, the fastest first; the last is "scalar", the only one for
/// masks that are not packed.
[[nodiscard]] std::vector<SCutSurfelsKernel> GetCutSurfelsKernels();

}  // namespace DataLayer
