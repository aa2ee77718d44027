#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "Application/Scans/CCoordinateShift.h"
#include "Application/Scans/IScanContent.h"
#include "Base/Math/LqVector3f.h"
#include "DataLayer/Base3D/CTriangulation.h"

namespace Application
{

/// What the formats have in common whose points are converted into memory: the arrays, shared by
/// the surfel collection and the triangulation.
class CMemoryScan : public IScanContent
{
public:
    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection()
        const override
    {
        return m_collection;
    }
    [[nodiscard]] LqMatrix4Rd GetTransform() const override { return m_shift.GetTransform(); }
    [[nodiscard]] bool HasTriangles() const override { return !m_triangulation->triangles.empty(); }
    [[nodiscard]] std::shared_ptr<const Geometry::CTriangulation> GetTriangulation() const override
    {
        return HasTriangles() ? m_triangulation : nullptr;
    }

protected:
    using Coordinates = std::vector<std::array<double, 3>>;
    using Triangles = std::vector<std::array<std::uint32_t, 3>>;

    CMemoryScan() = default;

    /// Takes the points over; to be called once. \p normals has one entry per point or none.
    void setPoints(Coordinates coordinates, Triangles triangles, std::vector<LqVector3f> normals);

    /// The triangles over the points, also when there are none.
    [[nodiscard]] const Triangles& getTriangles() const { return m_triangulation->triangles; }

private:
    CCoordinateShift m_shift;
    std::shared_ptr<const Geometry::CTriangulation> m_triangulation;
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
};

}  // namespace Application
