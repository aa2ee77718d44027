#pragma once

#include <memory>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/Export.h"

namespace Base
{
struct SRegionSelectionInfo;
}

namespace DataLayer
{

class CCachedModel;

/// Cuts a scan model with regions that were painted on the screen and returns a copy without the
/// part under the paint.
///
///     CCachedModelsCutter cutter(model);
///     const std::shared_ptr<CCachedModel> cut = cutter.Apply(selection);
///
/// The copy has the identity matrix and the model's unique identifier, and shares no geometry with
/// the model; where everything is cut it is empty. Where nothing is cut the model itself is
/// returned. A model with a triangulation is cut as a mesh, any other as surfels.
///
/// The cutter does not keep the model alive; Apply() does as long as it runs. Distinct objects may
/// be used from any thread, and one object by several threads at once unless Apply() has to build
/// the model's triangulation.
class VEKO2_POINTCLOUDEDITING_EXPORT CCachedModelsCutter
{
public:
    /// An empty \p model is allowed; Apply() throws then.
    explicit CCachedModelsCutter(std::shared_ptr<CCachedModel> model);
    CCachedModelsCutter(const CCachedModelsCutter& other);
    CCachedModelsCutter& operator=(const CCachedModelsCutter& other);
    virtual ~CCachedModelsCutter();

    /// Cuts with one selection, which must not be null.
    ///
    /// The model's surfel collection is classified or, where there is none, its triangulation,
    /// which is built and stored in the model when missing; it stays there also when this throws.
    /// A model with both is classified on its surfels and cut as a mesh.
    ///
    /// @throw VekoException when the model no longer exists or has no geometry, when its collection
    /// has no positions or its count changed while it was classified, or when a triangle names a
    /// vertex that is not there.
    /// @throw std::length_error when there are 2^32 surfels or more.
    [[nodiscard]] std::shared_ptr<CCachedModel> Apply(
        std::shared_ptr<const Base::SRegionSelectionInfo> regionSelection) const;

    /// Cuts with the union of several selections, none of them null, in any order. An empty list
    /// cuts nothing.
    ///
    /// The model's triangulation is classified or, where there is none, its surfel collection. A
    /// model with neither is returned as it is, after a warning to the log.
    ///
    /// @throw VekoException when the model no longer exists, its collection has no positions or,
    /// where something is cut, its count changed while it was classified, or a triangle names a
    /// vertex that is not there.
    /// @throw std::length_error when there are 2^32 surfels or more.
    [[nodiscard]] std::shared_ptr<CCachedModel> Apply(
        std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>& regionSelections) const;

private:
    std::weak_ptr<CCachedModel> m_model;
};

}  // namespace DataLayer
