#include "DataLayer/Base3D/CheckTriangles.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

[[noreturn]] void ThrowOutside(const char* function, const Geometry::CTriangulation& mesh,
                               std::size_t index)
{
    const auto& triangle = mesh.triangles[index];
    const std::uint32_t corner =
        *std::find_if(triangle.begin(), triangle.end(),
                      [&](std::uint32_t vertex) { return vertex >= mesh.vertices.size(); });
    ThrowVekoException("DataLayer/Base3D/CheckTriangles", 28, function,
                       L"Triangle %zu names vertex %u, but there are only %zu.", index, corner,
                       mesh.vertices.size());
}

}  // namespace

bool AreCornersInside(const std::array<std::uint32_t, 3>* triangles, std::size_t count,
                      std::size_t numVertices)
{
    // An index has 32 bits: of more vertices it reaches every one, and of fewer their number fits.
    if (numVertices > std::numeric_limits<std::uint32_t>::max())
    {
        return true;
    }
    const auto end = static_cast<std::uint32_t>(numVertices);
    // Without early return, so that it takes several corners at a time.
    std::uint32_t isOutside = 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        for (const std::uint32_t corner : triangles[index])
        {
            isOutside |= corner >= end ? 1 : 0;
        }
    }
    return isOutside == 0;
}

void CheckTriangles(const char* function, const Geometry::CTriangulation& mesh)
{
    const std::size_t numTriangles = mesh.triangles.size();
    // One place per block, so that the first triangle is named whichever block ends first.
    std::vector<std::size_t> firstsOutside(CountSurfelBlocks(numTriangles), numTriangles);
    ForEachSurfelBlock(numTriangles, [&](std::uint64_t begin, std::uint64_t end) {
        const auto* const triangles = mesh.triangles.data();
        if (!AreCornersInside(triangles + begin, end - begin, mesh.vertices.size()))
        {
            const auto* const outside =
                std::find_if(triangles + begin, triangles + end, [&](const auto& triangle) {
                    return !AreCornersInside(&triangle, 1, mesh.vertices.size());
                });
            firstsOutside[begin / c_surfelBlockSize] =
                static_cast<std::size_t>(outside - triangles);
        }
    });
    for (const std::size_t index : firstsOutside)
    {
        if (index != numTriangles)
        {
            ThrowOutside(function, mesh, index);
        }
    }
}

}  // namespace DataLayer
