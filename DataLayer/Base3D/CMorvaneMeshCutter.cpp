#include "DataLayer/Base3D/CMorvaneMeshCutter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Base/Support/LargePages.h"
#include "DataLayer/Base3D/CheckTriangles.h"
#include "DataLayer/PointCloud/BoolWords.h"
#include "DataLayer/PointCloud/CIndexSelection.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace DataLayer
{

namespace
{

using Triangle = std::array<std::uint32_t, 3>;
template <typename T>
using Array = std::vector<T, TUninitializedAllocator<T>>;

/// What a triangle has to know of a vertex.
struct SVertices
{
    /// 1 for a vertex that is kept, else 0. Asked far more often than the new index, and smaller.
    Array<std::uint8_t> isKept;
    /// Its index among those that are kept, if it is one of them.
    Array<std::uint32_t> newIndices;
};

SVertices MakeVertices(std::size_t numVertices, const CIndexSelection& selection)
{
    SVertices vertices;
    Base::ResizeInLargePages(vertices.isKept, numVertices);
    Base::ResizeInLargePages(vertices.newIndices, numVertices);
    selection.ForEachWord([&](std::uint64_t first, std::uint64_t word, std::uint64_t rank) {
        auto newIndex = static_cast<std::uint32_t>(rank);
        const std::size_t end = std::min(first + CIndexSelection::c_wordSize, numVertices);
        for (std::size_t vertex = first; vertex < end; ++vertex, word >>= 1U)
        {
            const auto isKept = static_cast<std::uint8_t>(word & 1U);
            vertices.isKept[vertex] = isKept;
            vertices.newIndices[vertex] = newIndex;
            newIndex += isKept;
        }
    });
    return vertices;
}

/// The triangles that keep all their corners.
/// @throw VekoException when a triangle names a vertex that is not there.
CIndexSelection SelectWholeTriangles(const char* function, const Geometry::CTriangulation& mesh,
                                     const SVertices& vertices)
{
    std::atomic<bool> isOneOutside = false;
    CIndexSelection selection(mesh.triangles.size(), [&](std::uint64_t group) {
        const std::size_t first = group * CIndexSelection::c_wordSize;
        const std::size_t size =
            std::min<std::size_t>(mesh.triangles.size() - first, CIndexSelection::c_wordSize);
        const Triangle* const triangles = mesh.triangles.data() + first;
        if (!AreCornersInside(triangles, size, mesh.vertices.size()))
        {
            isOneOutside.store(true, std::memory_order_relaxed);
            return std::uint64_t{0};
        }
        const std::uint8_t* const isKept = vertices.isKept.data();
        std::uint64_t word = 0;
        for (std::size_t offset = 0; offset < size; ++offset)
        {
            const auto& [a, b, c] = triangles[offset];
            const int isWhole = isKept[a] & isKept[b] & isKept[c];
            word |= static_cast<std::uint64_t>(isWhole) << offset;
        }
        return word;
    });
    if (isOneOutside.load(std::memory_order_relaxed))
    {
        CheckTriangles(function, mesh);
    }
    return selection;
}

}  // namespace

std::shared_ptr<Geometry::CTriangulation> CMorvaneMeshCutter::CopyWihMask(
    const Geometry::CTriangulation& mesh, std::vector<bool>& mask)
{
    const CIndexSelection selection(mesh.vertices.size(),
                                    [&mask](std::uint64_t word) { return LoadBools(mask, word); });
    const SVertices vertices = MakeVertices(mesh.vertices.size(), selection);
    const CIndexSelection triangles =
        SelectWholeTriangles("DataLayer::CMorvaneMeshCutter::CopyWihMask", mesh, vertices);

    auto copy = std::make_shared<Geometry::CTriangulation>();
    copy->vertices = selection.Copy<std::vector<LqVector3f>>(
        [positions = mesh.vertices.data()](std::uint64_t vertex) { return positions[vertex]; });
    copy->triangles = triangles.Copy<std::vector<Triangle>>(
        [corners = mesh.triangles.data(),
         indices = vertices.newIndices.data()](std::uint64_t index) {
            const auto& [a, b, c] = corners[index];
            return Triangle{indices[a], indices[b], indices[c]};
        });
    return copy;
}

}  // namespace DataLayer
