#pragma once

#include "Benchmarks/Peers/Peers.h"

namespace Peers
{

std::unique_ptr<IClassifier> MakePclClassifier(const std::vector<LqVector3f>& points,
                                               const SLasso& lasso);

std::unique_ptr<INearestNeighborSearcher> MakePclSearcher(const std::vector<LqVector3f>& points);

std::uint64_t CountSmallClustersWithPcl(const std::vector<LqVector3f>& points, float tolerance,
                                        std::size_t minimumPoints);

}  // namespace Peers
