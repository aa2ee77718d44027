#pragma once

#include <string_view>
#include <vector>

#include "Application/Pictures/Kernels/ProjectSurfels.h"

namespace Application
{

/// The projection for one instruction set. All kernels give the same bits.
struct SProjectSurfelsKernel
{
    std::string_view name;
    ProjectSurfelsKernel project;
};

/// The kernels that this processor runs, the fastest first; the last is "vector128", the reference.
[[nodiscard]] std::vector<SProjectSurfelsKernel> GetProjectSurfelsKernels();

}  // namespace Application
