#include "DataLayer/Base3D/CMorvaneMeshCutter.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "Base/Support/VekoException.h"

namespace DataLayer
{

std::shared_ptr<Geometry::CTriangulation> CMorvaneMeshCutter::CopyWihMask(
    const Geometry::CTriangulation& mesh, std::vector<bool>& mask)
{
    constexpr std::uint32_t c_dropped = std::numeric_limits<std::uint32_t>::max();

    const std::size_t numNamed = std::min(mask.size(), mesh.vertices.size());
    const auto endOfNamed = mask.cbegin() + static_cast<std::ptrdiff_t>(numNamed);
    auto copy = std::make_shared<Geometry::CTriangulation>();
    copy->vertices.reserve(static_cast<std::size_t>(std::count(mask.cbegin(), endOfNamed, true)));
    std::vector<std::uint32_t> newIndices(mesh.vertices.size(), c_dropped);
    for (std::size_t index = 0; index < numNamed; ++index)
    {
        if (mask[index])
        {
            newIndices[index] = static_cast<std::uint32_t>(copy->vertices.size());
            copy->vertices.push_back(mesh.vertices[index]);
        }
    }

    for (std::size_t index = 0; index < mesh.triangles.size(); ++index)
    {
        std::array<std::uint32_t, 3> triangle = mesh.triangles[index];
        bool isKept = true;
        for (std::uint32_t& corner : triangle)
        {
            if (corner >= mesh.vertices.size())
            {
                ThrowVekoException("DataLayer/Base3D/CMorvaneMeshCutter", 43,
                                   "DataLayer::CMorvaneMeshCutter::CopyWihMask",
                                   L"Triangle %zu names vertex %u, but there are only %zu.", index,
                                   corner, mesh.vertices.size());
            }
            corner = newIndices[corner];
            isKept = isKept && corner != c_dropped;
        }
        if (isKept)
        {
            copy->triangles.push_back(triangle);
        }
    }
    return copy;
}

}  // namespace DataLayer
