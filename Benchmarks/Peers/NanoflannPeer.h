#pragma once

#include "Benchmarks/Peers/Peers.h"

namespace Peers
{

std::unique_ptr<INearestNeighborSearcher> MakeNanoflannSearcher(
    const std::vector<LqVector3f>& points);

/// nanoflann has no clusters; this is how its users write them: a tree, a radius search for every
/// point, and a cluster for all that can be reached.
std::uint64_t CountSmallClustersWithNanoflann(const std::vector<LqVector3f>& points,
                                              float tolerance, std::size_t minimumPoints);

}  // namespace Peers
