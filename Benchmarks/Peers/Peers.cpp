#include "Benchmarks/Peers/Peers.h"

#if defined(VEKO2_HAS_NANOFLANN)
#include "Benchmarks/Peers/NanoflannPeer.h"
#endif

namespace Peers
{

std::vector<SClassifierPeer> GetClassifiers()
{
    std::vector<SClassifierPeer> peers;
    return peers;
}

std::vector<SNearestNeighborPeer> GetNearestNeighborSearchers()
{
    std::vector<SNearestNeighborPeer> peers;
#if defined(VEKO2_HAS_NANOFLANN)
    peers.push_back({"nanoflann", MakeNanoflannSearcher});
#endif
    return peers;
}

std::vector<SClusterPeer> GetClusterExtractions()
{
    std::vector<SClusterPeer> peers;
#if defined(VEKO2_HAS_NANOFLANN)
    peers.push_back({"nanoflann", 10'000'000, CountSmallClustersWithNanoflann});
#endif
    return peers;
}

std::vector<SVertexRemoverPeer> GetVertexRemovers()
{
    std::vector<SVertexRemoverPeer> peers;
    return peers;
}

}  // namespace Peers
