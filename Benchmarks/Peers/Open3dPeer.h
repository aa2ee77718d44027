#pragma once

#include "Benchmarks/Peers/Peers.h"

namespace Peers
{

std::unique_ptr<IClassifier> MakeOpen3dClassifier(const std::vector<LqVector3f>& points,
                                                  const SLasso& lasso);

std::unique_ptr<INearestNeighborSearcher> MakeOpen3dSearcher(const std::vector<LqVector3f>& points);

/// DBSCAN with every point a core point, so that its clusters are those of the others. It searches
/// on all threads.
std::uint64_t CountSmallClustersWithOpen3d(const std::vector<LqVector3f>& points, float tolerance,
                                           std::size_t minimumPoints);

std::unique_ptr<IVertexRemover> MakeOpen3dVertexRemover(const Geometry::CTriangulation& mesh);

}  // namespace Peers
