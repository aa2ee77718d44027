#pragma once

#include <memory>

#include "Base/Interfaces/ISurfelCollection.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// Makes surfels from a triangle mesh. A plain value: distinct objects may be used from any thread.
class VEKO2_DATALAYER_EXPORT CMeshToSurfels
{
public:
    /// \p samplingDistance, in the mesh's unit, is about the distance of the surfels on the faces;
    /// it matters only with \p sampleFaces.
    CMeshToSurfels(float samplingDistance, bool sampleFaces)
        : m_samplingDistance(samplingDistance), m_sampleFaces(sampleFaces)
    {}

    /// One surfel per vertex, in vertex order: its position, and the normals of its triangles
    /// weighted by their areas. A vertex without an area around it has no normal.
    ///
    /// With sampling, the faces' surfels follow, in triangle order, each strictly inside its
    /// triangle and with the triangle's normal. They lie in rows along the triangle's longest edge;
    /// neither rows nor surfels of a row are further apart than the sampling distance. A triangle
    /// whose edges are no longer than that, or that has no area, gets none.
    ///
    /// @throw VekoException when a triangle names a vertex that is not there (the message names
    /// both), when the sampling distance is used and not positive or not finite, or when the faces
    /// would get more than 2^28 surfels.
    [[nodiscard]] std::shared_ptr<Base::ISurfelCollection> CreateMinimal(
        const Geometry::CTriangulation& mesh) const;

    /// The vertex surfels that CreateMinimal() starts with, for who needs their positions only:
    /// without normals and without a copy, they lie in the memory of \p mesh, which must not be
    /// null and stays alive. The triangles are not looked at.
    [[nodiscard]] static std::shared_ptr<const Base::ISurfelCollection> ViewVertices(
        std::shared_ptr<const Geometry::CTriangulation> mesh);

private:
    float m_samplingDistance;
    bool m_sampleFaces;
};

}  // namespace DataLayer
