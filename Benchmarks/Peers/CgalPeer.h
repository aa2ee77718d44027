#pragma once

#include "Benchmarks/Peers/Peers.h"

namespace Peers
{

std::unique_ptr<IClassifier> MakeCgalClassifier(const std::vector<LqVector3f>& points,
                                                const SLasso& lasso);

std::unique_ptr<INearestNeighborSearcher> MakeCgalSearcher(const std::vector<LqVector3f>& points);

}  // namespace Peers
