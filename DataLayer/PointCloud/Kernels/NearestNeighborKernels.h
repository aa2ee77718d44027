#pragma once

#include <string_view>
#include <vector>

#include "DataLayer/PointCloud/Kernels/NearestNeighborTree.h"

namespace DataLayer::NearestNeighbor
{

/// The search for one instruction set. All kernels give the same answers.
struct SKernel
{
    std::string_view name;
    FindFunction find;
};

/// The kernels that this processor runs, the fastest first; the last is "scalar".
[[nodiscard]] std::vector<SKernel> GetKernels();

/// One per source file, each compiled for its own instruction set.
SNeighbor FindScalar(const STree& tree, const float* query, SNeighbor limit);
#if defined(__x86_64__)
SNeighbor FindSse2(const STree& tree, const float* query, SNeighbor limit);
SNeighbor FindAvx2(const STree& tree, const float* query, SNeighbor limit);
SNeighbor FindAvx512(const STree& tree, const float* query, SNeighbor limit);
#endif

}  // namespace DataLayer::NearestNeighbor
