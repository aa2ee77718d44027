#include "DataLayer/Base3D/CheckTriangles.h"

#include <algorithm>
#include <cstdint>

#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

bool IsInside(const std::array<std::uint32_t, 3>& triangle, std::size_t numVertices)
{
    return std::max({triangle[0], triangle[1], triangle[2]}) < numVertices;
}

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

void CheckTriangles(const char* function, const Geometry::CTriangulation& mesh)
{
    const std::size_t numTriangles = mesh.triangles.size();
    // One place per block, so that the first triangle is named whichever block ends first.
    std::vector<std::size_t> firstsOutside(CountSurfelBlocks(numTriangles), numTriangles);
    ForEachSurfelBlock(numTriangles, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t index = begin; index < end; ++index)
        {
            if (!IsInside(mesh.triangles[index], mesh.vertices.size()))
            {
                firstsOutside[begin / c_surfelBlockSize] = index;
                return;
            }
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
