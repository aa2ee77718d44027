#pragma once

#include <memory>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Support/CString.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// A scan model as the application holds it: an identifier, a matrix that places it, and a mesh or
/// a surfel collection.
///
/// An application that can build a mesh for a model which has none derives from this class and
/// overrides BuildCTriangulation(). Takes no locks: an object that one thread changes may not be
/// used by another meanwhile.
class VEKO2_DATALAYER_EXPORT CCachedModel
{
public:
    using UniqueId = UxUniqueIdT<ATL::CStringT<wchar_t>>;

    /// A mesh model. \p triangulation may be empty.
    CCachedModel(LqMatrix4Rd matrix, std::shared_ptr<const Geometry::CTriangulation> triangulation,
                 UniqueId uniqueId);

    /// A surfel model. \p surfelCollection may be empty.
    CCachedModel(LqMatrix4Rd matrix,
                 std::shared_ptr<const Base::ISurfelCollection> surfelCollection,
                 UniqueId uniqueId);

    CCachedModel(const CCachedModel&) = delete;
    CCachedModel& operator=(const CCachedModel&) = delete;
    virtual ~CCachedModel();

    [[nodiscard]] const UniqueId& GetUniqueId() const { return m_uniqueId; }

    /// Places the model's own coordinates in the world.
    [[nodiscard]] const LqMatrix4Rd& GetMatrix() const { return m_matrix; }

    /// The surfels; empty for a mesh model.
    [[nodiscard]] const std::shared_ptr<const Base::ISurfelCollection>& GetSurfelCollection() const
    {
        return m_surfelCollection;
    }

    /// The mesh; empty for a surfel model that was not given one.
    [[nodiscard]] const std::shared_ptr<const Geometry::CTriangulation>& GetTriangulation() const
    {
        return m_triangulation;
    }

    /// Gives the model a mesh, beside its surfels if it has any, or with an empty pointer takes it
    /// away.
    void SetTriangulation(std::shared_ptr<const Geometry::CTriangulation> triangulation);

    /// Builds a mesh for a model that has none. This one knows no way and returns an empty pointer.
    [[nodiscard]] virtual std::shared_ptr<const Geometry::CTriangulation> BuildCTriangulation();

private:
    UniqueId m_uniqueId;
    LqMatrix4Rd m_matrix;
    std::shared_ptr<const Base::ISurfelCollection> m_surfelCollection;
    std::shared_ptr<const Geometry::CTriangulation> m_triangulation;
};

}  // namespace DataLayer
