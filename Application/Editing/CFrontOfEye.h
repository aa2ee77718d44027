#pragma once

#include <memory>
#include <vector>

#include "Application/Editing/SCutRegion.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Math/LqMatrix4R.h"

namespace Base
{
class ISurfelCollection;
}

namespace DataLayer
{
class CCutPointCloudWithPixelMask;
}

namespace Application
{

/// Which surfels of a collection lie in front of the eye of a region's view, found with the
/// arithmetic of DataLayer::CCutPointCloudWithPixelMask: those whose w is above 0.
class CFrontOfEye
{
public:
    /// \p region is the one that \p collection, which must not be null, is cut with.
    CFrontOfEye(const SCutRegion& region,
                std::shared_ptr<const Base::ISurfelCollection> collection);

    /// Whether a surfel of the collection can lie behind the eye. Rounding loses none: each step of
    /// computing w grows or falls with each coordinate, rounded as it is, so that w is smallest at
    /// a corner of the bounding box.
    [[nodiscard]] bool ReachesBehind() const;

    /// A stand-in with the same surfels that \p cutter, the region's own, does not reject: its box
    /// is a point, or little more, in the middle of the paint between near and far plane. Null
    /// where there is none, as when nothing is painted.
    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> MakeStandIn(
        const DataLayer::CCutPointCloudWithPixelMask& cutter) const;

    /// The collection to classify in place of the own one: that one itself where \p cutter takes
    /// it, or where it lies wholly in front of the eye; else a stand-in, if there is one.
    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> MakeAcceptable(
        const DataLayer::CCutPointCloudWithPixelMask& cutter) const;

    /// Takes SurfelFlagCut back from the words \p after, one per surfel, of those that did not have
    /// it in \p before (which may be empty: none had it) and are not in front of the eye.
    /// Surfels whose bounding box, the collection's or that of a piece of it, lies in front of the
    /// eye are not looked at one by one.
    void TakeBackBehind(const std::vector<Base::CSurfelBitMask>& before,
                        std::vector<Base::CSurfelBitMask>& after) const;

private:
    [[nodiscard]] bool reachesBehind(const Base::ISurfelCollection& surfels) const;

    SCutRegion m_region;
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
    LqMatrix4Rf m_combined;
};

}  // namespace Application
