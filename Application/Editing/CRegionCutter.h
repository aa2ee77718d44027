#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Application/Editing/CSurfelCutter.h"
#include "Application/Editing/SCutRegion.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Math/CBox3D.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"

namespace Application
{

/// Cuts a collection with one region block by block, which the library itself would do as a whole.
///
/// The library first asks whether a collection's bounding box lies under the paint, and answers for
/// each surfel by itself then. So the blocks are cut under a box that it does not reject, and what
/// they give is true if the collection as a whole is not rejected: IsAccepted() may be asked
/// afterwards, when the blocks have shown its box.
class CRegionCutter
{
public:
    using Surfels = std::shared_ptr<const Base::ISurfelCollection>;

    /// \p collection is the one whose blocks are to be cut.
    /// @throw VekoException when it has no positions.
    CRegionCutter(const SCutRegion& region, CSurfelCutter::Reach reach, const Surfels& collection);

    /// Whether a collection is to be cut at all, by its bounding box. Its surfels are not read.
    [[nodiscard]] bool IsAccepted(const Surfels& collection) const;

    /// Adds SurfelFlagCut to \p words, which are empty (none has flags yet) or one per surfel, and
    /// are so afterwards.
    void Cut(const Surfels& block, std::vector<Base::CSurfelBitMask>& words) const;

private:
    SCutRegion m_region;
    DataLayer::CCutPointCloudWithPixelMask m_cutter;
    bool m_isFrontOnly;
    bool m_hasStandIn;
    /// Of a stand-in or, where there is none, of the collection.
    Geometry::CBox3D m_box;
};

}  // namespace Application
