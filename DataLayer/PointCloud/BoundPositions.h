#pragma once

#include <cstdint>

#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "DataLayer/PointCloud/SPositionArray.h"

namespace DataLayer
{

/// Bounds the positions \p begin to \p end - 1, of which there is at least one. One that is not
/// finite is left out with all of its coordinates.
[[nodiscard]] SSurfelRun BoundPositions(const SPositionArray& positions, std::uint64_t begin,
                                        std::uint64_t end);

/// The box of all \p positions that are finite, made in parallel.
[[nodiscard]] Geometry::CBox3D BoundAllPositions(SPositionArray positions);

/// The runs and groups of all \p positions, made in parallel. They take 30 bytes for each 256
/// positions.
[[nodiscard]] SSurfelRuns MakeSurfelRuns(const SPositionArray& positions);

}  // namespace DataLayer
