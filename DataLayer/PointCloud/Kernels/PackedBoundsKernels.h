#pragma once

#include <string_view>
#include <vector>

#include "DataLayer/PointCloud/Kernels/PackedBounds.h"

namespace DataLayer::PackedBounds
{

/// The bounds by one instruction set.
struct SKernel
{
    std::string_view name;
    BoundFunction bound;
};

/// The kernels that this processor runs, the fastest first.
[[nodiscard]] std::vector<SKernel> GetKernels();

}  // namespace DataLayer::PackedBounds
