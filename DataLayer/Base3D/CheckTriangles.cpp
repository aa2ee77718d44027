#include "DataLayer/Base3D/CheckTriangles.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

using Triangle = std::array<std::uint32_t, 3>;

/// Four integers in a register of any processor.
using Lanes = std::int32_t __attribute__((vector_size(16)));

/// The ranges of four sequences of corners.
class CLaneRange
{
public:
    /// Takes unsigned integers. Processors compare signed ones, whose order is the same with the
    /// highest bit the other way round.
    void Add(Lanes corners) { extend(corners ^ c_highestBit, corners ^ c_highestBit); }
    void Add(const CLaneRange& other) { extend(other.m_min, other.m_max); }

    /// The range of all four.
    [[nodiscard]] SCornerRange Get() const
    {
        const Lanes min = m_min ^ c_highestBit;
        const Lanes max = m_max ^ c_highestBit;
        SCornerRange range{std::numeric_limits<std::uint32_t>::max(), 0};
        for (int lane = 0; lane < 4; ++lane)
        {
            range.first = std::min(range.first, static_cast<std::uint32_t>(min[lane]));
            range.last = std::max(range.last, static_cast<std::uint32_t>(max[lane]));
        }
        return range;
    }

private:
    static constexpr std::int32_t c_highestBit = std::numeric_limits<std::int32_t>::min();

    void extend(Lanes min, Lanes max)
    {
        m_min = min < m_min ? min : m_min;
        m_max = max > m_max ? max : m_max;
    }

    Lanes m_min = Lanes() + std::numeric_limits<std::int32_t>::max();
    Lanes m_max = Lanes() + std::numeric_limits<std::int32_t>::min();
};

/// Whether all corners of \p count triangles, at least one, are less than \p numVertices.
bool AreCornersInside(const Triangle* triangles, std::size_t count, std::size_t numVertices)
{
    return BoundCorners(triangles, count).last < numVertices;
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

SCornerRange BoundCorners(const Triangle* triangles, std::size_t count)
{
    const std::size_t numFours = count / 4;
    std::array<CLaneRange, 3> parts;
    for (std::size_t four = 0; four < numFours; ++four)
    {
        std::array<Lanes, 3> corners;
        std::memcpy(corners.data(), triangles + 4 * four, sizeof corners);
        for (std::size_t part = 0; part < parts.size(); ++part)
        {
            parts[part].Add(corners[part]);
        }
    }
    parts[0].Add(parts[1]);
    parts[0].Add(parts[2]);
    SCornerRange range = parts[0].Get();
    for (std::size_t index = 4 * numFours; index < count; ++index)
    {
        const auto [first, last] =
            std::minmax_element(triangles[index].begin(), triangles[index].end());
        range.first = std::min(range.first, *first);
        range.last = std::max(range.last, *last);
    }
    return range;
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
