#pragma once

#include <string_view>
#include <vector>

#include "Application/Pictures/Kernels/ProjectSurfels.h"

namespace Application
{

/// Projection and drawing for one instruction set. All give the same bits.
struct SProjectSurfelsKernels
{
    std::string_view name;
    ProjectSurfelsKernel project;
    DrawSurfelsKernel draw;
};

/// The kernels that this processor runs, the fastest first; the last is "vector128", the reference.
[[nodiscard]] std::vector<SProjectSurfelsKernels> GetProjectSurfelsKernels();

}  // namespace Application
