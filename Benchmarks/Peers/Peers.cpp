#include "Benchmarks/Peers/Peers.h"

#if defined(VEKO2_HAS_CGAL)
#include "Benchmarks/Peers/CgalPeer.h"
#endif
#if defined(VEKO2_HAS_NANOFLANN)
#include "Benchmarks/Peers/NanoflannPeer.h"
#endif
#if defined(VEKO2_HAS_OPEN3D)
#include "Benchmarks/Peers/Open3dPeer.h"
#endif
#if defined(VEKO2_HAS_PCL)
#include "Benchmarks/Peers/PclPeer.h"
#endif

namespace Peers
{

std::vector<SClassifierPeer> GetClassifiers()
{
    std::vector<SClassifierPeer> peers;
#if defined(VEKO2_HAS_CGAL)
    peers.push_back({"CGAL", MakeCgalClassifier});
#endif
#if defined(VEKO2_HAS_OPEN3D)
    peers.push_back({"Open3D", MakeOpen3dClassifier});
#endif
#if defined(VEKO2_HAS_PCL)
    peers.push_back({"PCL", MakePclClassifier});
#endif
    return peers;
}

std::vector<SNearestNeighborPeer> GetNearestNeighborSearchers()
{
    std::vector<SNearestNeighborPeer> peers;
#if defined(VEKO2_HAS_NANOFLANN)
    peers.push_back({"nanoflann", MakeNanoflannSearcher});
#endif
#if defined(VEKO2_HAS_CGAL)
    peers.push_back({"CGAL", MakeCgalSearcher});
#endif
#if defined(VEKO2_HAS_OPEN3D)
    peers.push_back({"Open3D", MakeOpen3dSearcher});
#endif
#if defined(VEKO2_HAS_PCL)
    peers.push_back({"PCL", MakePclSearcher});
#endif
    return peers;
}

std::vector<SClusterPeer> GetClusterExtractions()
{
    std::vector<SClusterPeer> peers;
#if defined(VEKO2_HAS_NANOFLANN)
    peers.push_back({"nanoflann", 10'000'000, CountSmallClustersWithNanoflann});
#endif
#if defined(VEKO2_HAS_OPEN3D)
    peers.push_back({"Open3D", 10'000'000, CountSmallClustersWithOpen3d});
#endif
#if defined(VEKO2_HAS_PCL)
    peers.push_back({"PCL", 10'000'000, CountSmallClustersWithPcl});
#endif
    return peers;
}

std::vector<SVertexRemoverPeer> GetVertexRemovers()
{
    std::vector<SVertexRemoverPeer> peers;
#if defined(VEKO2_HAS_OPEN3D)
    peers.push_back({"Open3D", MakeOpen3dVertexRemover});
#endif
    return peers;
}

}  // namespace Peers
