#pragma once

#include <cstdint>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"

namespace DataLayer
{

/// What is certain about all surfels of a run.
enum class ERunPlace
{
    Unknown,    ///< Each surfel has to be looked at.
    Unpainted,  ///< None lies on a painted pixel.
    Painted,    ///< Every one does.
};

/// Judges a run by its box and \p task's mask, which must be packed. Leaves it open where more than
/// \p maxNumWords words of the mask would have to be read, so that judging stays cheap beside
/// looking.
[[nodiscard]] ERunPlace JudgeRun(const SCutSurfelsTask& task, const SSurfelRun& run,
                                 std::uint32_t maxNumWords);

}  // namespace DataLayer
