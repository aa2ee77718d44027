#include "DataLayer/Base3D/CMeshToSurfels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/CheckTriangles.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

constexpr const char* c_file = "DataLayer/Base3D/CMeshToSurfels";
constexpr const char* c_function = "DataLayer::CMeshToSurfels::CreateMinimal";

/// More surfels than this on the faces are a mistake in the distance or in the mesh's unit.
constexpr double c_maxNumSamples = 268435456.0;

struct SVector3d
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

SVector3d Difference(const LqVector3f& to, const LqVector3f& from)
{
    return {static_cast<double>(to.x) - from.x, static_cast<double>(to.y) - from.y,
            static_cast<double>(to.z) - from.z};
}

double Length(const SVector3d& vector)
{
    return std::sqrt((vector.x * vector.x + vector.y * vector.y) + vector.z * vector.z);
}

/// The cross product of two edges: normal to the triangle, as long as twice its area. Zero when it
/// is not finite.
SVector3d AreaNormal(const std::array<LqVector3f, 3>& corners)
{
    const SVector3d u = Difference(corners[1], corners[0]);
    const SVector3d v = Difference(corners[2], corners[0]);
    const SVector3d normal{u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
    return std::isfinite((normal.x + normal.y) + normal.z) ? normal : SVector3d();
}

std::uint16_t Encode(const SVector3d& normal)
{
    const double length = Length(normal);
    if (!(length > 0.0))
    {
        return c_invalidQNormal;
    }
    return EncodeQNormal(static_cast<float>(normal.x / length),
                         static_cast<float>(normal.y / length),
                         static_cast<float>(normal.z / length));
}

std::array<LqVector3f, 3> GetCorners(const Geometry::CTriangulation& mesh,
                                     const std::array<std::uint32_t, 3>& triangle)
{
    return {mesh.vertices[triangle[0]], mesh.vertices[triangle[1]], mesh.vertices[triangle[2]]};
}

/// How the surfels of one face lie: in rows parallel to its longest edge, each in the middle of an
/// equal share of the height, and in a row each in the middle of an equal share of its length.
class CFaceSampling
{
public:
    CFaceSampling(const std::array<LqVector3f, 3>& corners, double distance)
        : m_corners(corners), m_distance(distance), m_normal(AreaNormal(corners))
    {
        std::array<double, 3> lengths{};
        std::size_t longest = 0;
        for (std::size_t edge = 0; edge < 3; ++edge)
        {
            lengths[edge] = Length(Difference(corners[(edge + 1) % 3], corners[edge]));
            longest = lengths[edge] > lengths[longest] ? edge : longest;
        }
        std::rotate(m_corners.begin(), m_corners.begin() + static_cast<std::ptrdiff_t>(longest),
                    m_corners.end());
        m_length = lengths[longest];
        const double doubleArea = Length(m_normal);
        if (doubleArea > 0.0 && m_length > distance)
        {
            m_numRows = std::ceil(doubleArea / m_length / distance);
        }
    }

    /// Never less than the number of surfels: in the mean, a row is half as long as the edge.
    [[nodiscard]] double EstimateCount() const
    {
        return m_numRows > 0.0 ? m_numRows * (1.0 + m_length / (2.0 * m_distance)) : 0.0;
    }

    [[nodiscard]] std::uint64_t Count() const
    {
        std::uint64_t count = 0;
        for (double row = 0.0; row < m_numRows; ++row)
        {
            count += static_cast<std::uint64_t>(countInRow(heightOf(row)));
        }
        return count;
    }

    template <typename AddSurfel>
    void ForEach(const AddSurfel& addSurfel) const
    {
        const std::uint16_t normal = Encode(m_normal);
        for (double row = 0.0; row < m_numRows; ++row)
        {
            const double height = heightOf(row);
            const double numInRow = countInRow(height);
            for (double place = 0.0; place < numInRow; ++place)
            {
                const double along = (1.0 - height) * ((place + 0.5) / numInRow);
                addSurfel(CCompactSurfelPositionNormal{positionAt(along, height), normal});
            }
        }
    }

private:
    [[nodiscard]] double heightOf(double row) const { return (row + 0.5) / m_numRows; }

    [[nodiscard]] double countInRow(double height) const
    {
        return std::ceil(m_length * (1.0 - height) / m_distance);
    }

    [[nodiscard]] LqVector3f positionAt(double along, double height) const
    {
        const double rest = (1.0 - height) - along;
        const auto mix = [&](float LqVector3f::*axis) {
            return static_cast<float>((rest * m_corners[0].*axis + along * m_corners[1].*axis) +
                                      height * m_corners[2].*axis);
        };
        return {mix(&LqVector3f::x), mix(&LqVector3f::y), mix(&LqVector3f::z)};
    }

    /// The longest edge runs from the first to the second.
    std::array<LqVector3f, 3> m_corners;
    double m_distance;
    SVector3d m_normal;
    double m_length = 0.0;
    double m_numRows = 0.0;
};

void AddVertexSurfels(const Geometry::CTriangulation& mesh, CSurfelCollectionMinimal& surfels)
{
    std::vector<SVector3d> normals(mesh.vertices.size());
    for (const auto& triangle : mesh.triangles)
    {
        const SVector3d normal = AreaNormal(GetCorners(mesh, triangle));
        for (const std::uint32_t corner : triangle)
        {
            normals[corner].x += normal.x;
            normals[corner].y += normal.y;
            normals[corner].z += normal.z;
        }
    }
    CSurfelCollectionMinimal::Surfels vertexSurfels(mesh.vertices.size());
    ForEachSurfelBlock(mesh.vertices.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t index = begin; index < end; ++index)
        {
            vertexSurfels[index] = {mesh.vertices[index], Encode(normals[index])};
        }
    });
    surfels.SetSurfels(std::move(vertexSurfels));
}

void AddFaceSurfels(const Geometry::CTriangulation& mesh, float distance,
                    CSurfelCollectionMinimal& surfels)
{
    if (!(distance > 0.0F) || !std::isfinite(distance))
    {
        ThrowVekoException(c_file, 183, c_function,
                           L"The sampling distance is %g; it must be positive and finite.",
                           static_cast<double>(distance));
    }
    double estimate = 0.0;
    for (const auto& triangle : mesh.triangles)
    {
        estimate += CFaceSampling(GetCorners(mesh, triangle), distance).EstimateCount();
    }
    if (!(estimate <= c_maxNumSamples))
    {
        ThrowVekoException(c_file, 194, c_function,
                           L"A sampling distance of %g would give about %.0f surfels; at most %.0f "
                           L"are made.",
                           static_cast<double>(distance), estimate, c_maxNumSamples);
    }
    std::uint64_t count = surfels.GetCount();
    for (const auto& triangle : mesh.triangles)
    {
        count += CFaceSampling(GetCorners(mesh, triangle), distance).Count();
    }
    surfels.Reserve(count);
    for (const auto& triangle : mesh.triangles)
    {
        CFaceSampling(GetCorners(mesh, triangle), distance)
            .ForEach([&](CCompactSurfelPositionNormal surfel) {
                surfels.AddSurfelNoReset(std::move(surfel));
            });
    }
}

}  // namespace

std::shared_ptr<const Base::ISurfelCollection> CMeshToSurfels::ViewVertices(
    std::shared_ptr<const Geometry::CTriangulation> mesh)
{
    const std::vector<LqVector3f>& vertices = mesh->vertices;
    return std::make_shared<CSurfelCollectionView>(std::move(mesh), vertices.size(),
                                                   vertices.data(), sizeof(LqVector3f));
}

std::shared_ptr<Base::ISurfelCollection> CMeshToSurfels::CreateMinimal(
    const Geometry::CTriangulation& mesh) const
{
    CheckTriangles(c_function, mesh);
    auto surfels = std::make_shared<CSurfelCollectionMinimal>();
    AddVertexSurfels(mesh, *surfels);
    if (m_sampleFaces)
    {
        AddFaceSurfels(mesh, m_samplingDistance, *surfels);
    }
    return surfels;
}

}  // namespace DataLayer
