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
};

/// The kernels that this processor runs, the fastest first; the last is "scalar", the only one for
/// masks that are not packed.
[[nodiscard]] std::vector<SCutSurfelsKernel> GetCutSurfelsKernels();

}  // namespace DataLayer
