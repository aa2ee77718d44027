#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Application/Editing/SCutRegion.h"
#include "Base/Interfaces/CSurfelBitMask.h"

namespace Base
{
class ISurfelCollection;
}

namespace Application
{

/// Flags what one edit cuts out of a scan: the surfels under any of several painted regions, or all
/// the others.
///
///     std::vector<Base::CSurfelBitMask> flags;  // none yet
///     const CSurfelCutter cutter({{selection, trafo}}, CSurfelCutter::Reach::FrontOfEye,
///                                CSurfelCutter::Side::Painted);
///     const std::uint64_t numCut = cutter.Apply(scan, flags);
///
/// The classification is that of DataLayer::CCutPointCloudWithPixelMask, with its arithmetic to the
/// last bit. That class divides a point behind the eye like any other, so that a stroke also cuts
/// what it can land on behind the viewer's back; and it rejects a scan by its projected bounding
/// box, which says nothing once the box reaches behind the eye. Neither is what a person expects
/// who stands inside a scan and paints what is in view. Reach::FrontOfEye therefore
/// - takes the cut back from every surfel whose w is not above 0, and
/// - where a scan was rejected although its bounding box reaches behind the eye, lets a small box
/// in
///   the middle of the paint stand for the scan's own, so that its surfels are looked at.
///
/// Immutable; Apply() is safe on any number of threads at once.
class CSurfelCutter
{
public:
    /// How far a painted region reaches.
    enum class Reach
    {
        FrontOfEye,  ///< every surfel under the paint in front of the eye, none behind it
        ThroughEye,  ///< exactly what DataLayer::CCutPointCloudWithPixelMask answers
    };

    /// What is cut.
    enum class Side
    {
        Painted,   ///< what lies under any of the regions
        Unpainted  ///< what lies under none of them
    };

    CSurfelCutter(std::vector<SCutRegion> regions, Reach reach, Side side);

    /// Adds SurfelFlagCut to the words of the surfels that are cut and returns how many did not
    /// have it before. Other bits are kept.
    ///
    /// \p flags is empty (no surfel has flags yet) or has one word per surfel; it always has them
    /// afterwards. Beside it one further word per surfel is held while the call runs, and one
    /// further bit for Side::Unpainted. Side::Unpainted also cuts surfels that no view can show,
    /// such as those without a finite position.
    ///
    /// @throw std::invalid_argument when the number of words is neither 0 nor the count.
    /// @throw std::length_error when the collection has 2^32 surfels or more.
    /// @throw VekoException when it has no positions; \p flags is in an unspecified state then.
    [[nodiscard]] std::uint64_t Apply(
        const std::shared_ptr<const Base::ISurfelCollection>& collection,
        std::vector<Base::CSurfelBitMask>& flags) const;

private:
    std::vector<SCutRegion> m_regions;
    Reach m_reach;
    Side m_side;
};

}  // namespace Application
