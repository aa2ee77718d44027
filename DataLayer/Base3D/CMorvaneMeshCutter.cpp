#include "DataLayer/Base3D/CMorvaneMeshCutter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

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
using NewIndices = std::vector<std::uint32_t, TUninitializedAllocator<std::uint32_t>>;

constexpr std::uint32_t c_dropped = std::numeric_limits<std::uint32_t>::max();

/// For each of \p numVertices vertices its index among the selected ones, or c_dropped.
NewIndices MakeNewIndices(std::size_t numVertices, const CIndexSelection& vertices)
{
    NewIndices newIndices;
    Base::ResizeInLargePages(newIndices, numVertices);
    vertices.ForEachWord([&](std::uint64_t first, std::uint64_t word, std::uint64_t rank) {
        auto newIndex = static_cast<std::uint32_t>(rank);
        const std::size_t end = std::min(first + CIndexSelection::c_wordSize, numVertices);
        for (std::size_t vertex = first; vertex < end; ++vertex, word >>= 1U)
        {
            const bool isKept = (word & 1U) != 0;
            newIndices[vertex] = isKept ? newIndex : c_dropped;
            newIndex += isKept ? 1 : 0;
        }
    });
    return newIndices;
}

/// The triangles that keep all their corners.
/// @throw VekoException when a triangle names a vertex that is not there.
CIndexSelection SelectWholeTriangles(const char* function, const Geometry::CTriangulation& mesh,
                                     const NewIndices& newIndices)
{
    std::atomic<bool> isOneOutside = false;
    CIndexSelection selection(mesh.triangles.size(), [&](std::uint64_t group) {
        const std::size_t first = group * CIndexSelection::c_wordSize;
        const std::size_t size =
            std::min<std::size_t>(mesh.triangles.size() - first, CIndexSelection::c_wordSize);
        const Triangle* const triangles = mesh.triangles.data() + first;
        if (!AreCornersInside(triangles, size, newIndices.size()))
        {
            isOneOutside.store(true, std::memory_order_relaxed);
            return std::uint64_t{0};
        }
        std::uint64_t word = 0;
        for (std::size_t offset = 0; offset < size; ++offset)
        {
            const auto& [a, b, c] = triangles[offset];
            const bool isWhole =
                std::max({newIndices[a], newIndices[b], newIndices[c]}) != c_dropped;
            word |= std::uint64_t{isWhole ? 1U : 0U} << offset;
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
    const CIndexSelection vertices(mesh.vertices.size(),
                                   [&mask](std::uint64_t word) { return LoadBools(mask, word); });
    const NewIndices newIndices = MakeNewIndices(mesh.vertices.size(), vertices);
    const CIndexSelection triangles =
        SelectWholeTriangles("DataLayer::CMorvaneMeshCutter::CopyWihMask", mesh, newIndices);

    auto copy = std::make_shared<Geometry::CTriangulation>();
    copy->vertices = vertices.Copy<std::vector<LqVector3f>>(
        [positions = mesh.vertices.data()](std::uint64_t vertex) { return positions[vertex]; });
    copy->triangles = triangles.Copy<std::vector<Triangle>>(
        [corners = mesh.triangles.data(), indices = newIndices.data()](std::uint64_t index) {
            const auto& [a, b, c] = corners[index];
            return Triangle{indices[a], indices[b], indices[c]};
        });
    return copy;
}

}  // namespace DataLayer
