#pragma once

#include <vector>

#include "Application/Pictures/Kernels/SampleRows.h"

namespace Application
{

/// The kernels that this processor runs, the fastest first; the last is "vector128", the reference.
/// All give the same bits.
[[nodiscard]] std::vector<SSampleRowsKernels> GetSampleRowsKernels();

/// The fastest one.
[[nodiscard]] const SSampleRowsKernels& GetFastestSampleRowsKernels();

}  // namespace Application
