#include "DataLayer/Base3D/CMorvaneMeshCutter.h"

#include <array>
#include <cstdint>
#include <limits>

#include "DataLayer/Base3D/CheckTriangles.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

constexpr std::uint32_t c_dropped = std::numeric_limits<std::uint32_t>::max();

/// For each vertex its index among the kept ones, or c_dropped.
template <typename IsKept>
std::vector<std::uint32_t> MakeNewIndices(std::size_t numVertices, const IsKept& isKept)
{
    const std::vector<std::uint64_t> firsts = CountSelected(numVertices, isKept);
    std::vector<std::uint32_t> newIndices(numVertices);
    ForEachSurfelBlock(numVertices, [&](std::uint64_t begin, std::uint64_t end) {
        auto newIndex = static_cast<std::uint32_t>(firsts[begin / c_surfelBlockSize]);
        for (std::uint64_t index = begin; index < end; ++index)
        {
            newIndices[index] = isKept(index) ? newIndex++ : c_dropped;
        }
    });
    return newIndices;
}

}  // namespace

std::shared_ptr<Geometry::CTriangulation> CMorvaneMeshCutter::CopyWihMask(
    const Geometry::CTriangulation& mesh, std::vector<bool>& mask)
{
    CheckTriangles("DataLayer::CMorvaneMeshCutter::CopyWihMask", mesh);
    const std::vector<bool>& keptVertices = mask;
    const auto isKept = [&](std::uint64_t vertex) {
        return vertex < keptVertices.size() && keptVertices[vertex];
    };
    const std::vector<std::uint32_t> newIndices = MakeNewIndices(mesh.vertices.size(), isKept);

    auto copy = std::make_shared<Geometry::CTriangulation>();
    copy->vertices = CopySelected<std::vector<LqVector3f>>(
        mesh.vertices.size(), isKept, [&](std::uint64_t vertex) { return mesh.vertices[vertex]; });
    const auto isWhole = [&](std::uint64_t index) {
        const auto& triangle = mesh.triangles[index];
        return newIndices[triangle[0]] != c_dropped && newIndices[triangle[1]] != c_dropped &&
               newIndices[triangle[2]] != c_dropped;
    };
    copy->triangles = CopySelected<std::vector<std::array<std::uint32_t, 3>>>(
        mesh.triangles.size(), isWhole, [&](std::uint64_t index) {
            const auto& triangle = mesh.triangles[index];
            return std::array<std::uint32_t, 3>{newIndices[triangle[0]], newIndices[triangle[1]],
                                                newIndices[triangle[2]]};
        });
    return copy;
}

}  // namespace DataLayer
