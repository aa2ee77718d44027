#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"
#include "DataLayer/Base3D/CTriangulation.h"

/// Other libraries that do what ours does, each used as its documentation shows. Which there are is
/// chosen when the benchmarks are configured (VEKO2_BENCHMARK_PEERS); without, all lists are empty.
/// All run on one thread unless their library decides otherwise.
namespace Peers
{

/// A lasso in a view: the points whose projection lies within it are selected.
struct SLasso
{
    LqMatrix4Rf matrix;        ///< Of row vectors, from the world to the clip space.
    std::uint32_t width = 0;   ///< Of the view in pixels.
    std::uint32_t height = 0;  ///< Of the view in pixels.
    std::vector<std::array<double, 2>> corners;  ///< In pixels; y points down.
};

/// Selects by lasso among points that it has taken over before anything is timed.
class IClassifier
{
public:
    virtual ~IClassifier() = default;
    /// \return how many points are selected.
    virtual std::size_t CountSelected() = 0;
};

/// A library that selects by lasso.
struct SClassifierPeer
{
    std::string name;
    std::unique_ptr<IClassifier> (*make)(const std::vector<LqVector3f>& points,
                                         const SLasso& lasso);
};
[[nodiscard]] std::vector<SClassifierPeer> GetClassifiers();

/// A search tree over points that it has taken over before anything is timed.
class INearestNeighborSearcher
{
public:
    virtual ~INearestNeighborSearcher() = default;
    /// Builds the tree, again at every call.
    virtual void Build() = 0;
    /// \return the index of the point nearest to \p query, or a negative number when none lies
    ///     within \p bound. Which of several at the same distance is the library's choice.
    virtual std::int32_t Find(const LqVector3f& query, float bound) = 0;
    /// \return the bytes of the tree and its points, or 0 where the library does not tell.
    [[nodiscard]] virtual std::size_t GetMemorySize() = 0;
};

/// A library that searches for nearest neighbours.
struct SNearestNeighborPeer
{
    std::string name;
    /// The points outlive the searcher.
    std::unique_ptr<INearestNeighborSearcher> (*make)(const std::vector<LqVector3f>& points);
};
[[nodiscard]] std::vector<SNearestNeighborPeer> GetNearestNeighborSearchers();

/// Finds the clusters of points connected by steps of at most \p tolerance.
struct SClusterPeer
{
    std::string name;
    /// The most points that it survives: beyond, it runs for minutes or out of memory.
    std::size_t largestCount;
    /// \return how many points are in clusters of fewer than \p minimumPoints.
    std::uint64_t (*countSmall)(const std::vector<LqVector3f>& points, float tolerance,
                                std::size_t minimumPoints);
};
[[nodiscard]] std::vector<SClusterPeer> GetClusterExtractions();

/// Removes vertices, and the triangles that use them, from a mesh that it keeps.
class IVertexRemover
{
public:
    virtual ~IVertexRemover() = default;
    /// Makes the mesh whole again; not to be timed.
    virtual void Restore() = 0;
    /// Removes the vertices of which \p isRemoved says so.
    virtual void Remove(const std::vector<bool>& isRemoved) = 0;
    /// \return the number of vertices and of triangles that are left.
    [[nodiscard]] virtual std::array<std::size_t, 2> GetCounts() const = 0;
};

/// A library that removes vertices from meshes.
struct SVertexRemoverPeer
{
    std::string name;
    /// The mesh outlives the remover.
    std::unique_ptr<IVertexRemover> (*make)(const Geometry::CTriangulation& mesh);
};
[[nodiscard]] std::vector<SVertexRemoverPeer> GetVertexRemovers();

}  // namespace Peers
