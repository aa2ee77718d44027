#pragma once

#include <cstdint>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"

namespace DataLayer
{

/// Whether CutRuns() takes less time for the surfels 0 to \p count - 1 than \p kernel alone. Tells
/// by the places of a few runs from all over them.
[[nodiscard]] bool DoRunsPay(const SCutSurfelsTask& task, const SCutSurfelsKernel& kernel,
                             const SSurfelRuns& runs, std::uint32_t count);

/// Does what \p kernel does for the surfels \p begin to \p end - 1, to the bit, but lets it look
/// only at those whose runs leave their place open. \p begin is the first surfel of a group of \p
/// runs; \p task's mask must be packed.
[[nodiscard]] bool CutRuns(const SCutSurfelsTask& task, CutSurfelsKernel kernel,
                           const SSurfelRuns& runs, std::uint32_t begin, std::uint32_t end);

}  // namespace DataLayer
