#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Application/Editing/SCutRegion.h"
#include "Application/Scans/CKeptPoints.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace Base
{
class ISurfelCollection;
}

namespace Application
{

/// Flags what one edit cuts out of a scan: the surfels under any of several painted regions, or all
/// the others.
///
///     const CSurfelCutter cutter({{selection, trafo}}, CSurfelCutter::Reach::FrontOfEye,
///                                CSurfelCutter::Side::Painted);
///     // A scan without flags yet.
///     const auto cut = cutter.Apply(scan, {}, CSurfelCutter::Answer::Flags);
///
/// The classification is that of DataLayer::CCutPointCloudWithPixelMask, with its arithmetic to the
/// last bit. That class divides a point behind the eye like any other, so that a stroke also cuts
/// what it can land on behind the viewer's back; and it rejects a scan by its projected bounding
/// box, which says nothing once the box reaches behind the eye. Neither is what a person expects
/// who stands inside a scan and paints what is in view. Reach::FrontOfEye therefore
/// - takes the cut back from every surfel whose w is not above 0, and
/// - where a scan was rejected although its bounding box reaches behind the eye, lets a small box
///   in the middle of the paint stand for the scan's own, so that its surfels are looked at.
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

    /// What is asked for. The words take sixteen times the room of the kept points, which the
    /// system clears in a quarter of a cut's time; gathering the kept points takes a twentieth.
    enum class Answer
    {
        Counts,      ///< how many surfels stay and are cut
        KeptPoints,  ///< that, and which ones stay
        Flags        ///< all that, and the new words of all
    };

    /// Flag words that need not be set before they are written.
    using Words =
        std::vector<Base::CSurfelBitMask, DataLayer::TUninitializedAllocator<Base::CSurfelBitMask>>;

    struct SResult
    {
        SResult();
        SResult(SResult&& other) noexcept;
        SResult& operator=(SResult&& other) noexcept;
        /// Not inline: users that are compiled with little optimisation would visit every flag
        /// word, although there is nothing to destroy.
        ~SResult();

        /// If asked for, the surfels that neither had SurfelFlagCut before nor are cut now.
        std::optional<CKeptPoints> kept;
        /// How many those are.
        std::uint64_t numKept = 0;
        /// How many surfels are cut that did not have SurfelFlagCut before.
        std::uint64_t numNewlyCut = 0;
        /// If asked for, one word per surfel: the one it had, and SurfelFlagCut where it is cut.
        Words flags;
    };

    /// Cuts \p collection. \p flags is empty (no surfel has flags yet) or has one word per surfel.
    /// Side::Unpainted also cuts surfels that no view can show, such as those without a finite
    /// position.
    ///
    /// The positions of a DataLayer::CSurfelCollectionView, such as those of a scan file, are read
    /// once, as they come from memory or from the disk; and once more where nothing is painted, or
    /// where their bounding box turns out to be rejected.
    ///
    /// @throw std::invalid_argument when the number of words is neither 0 nor the count.
    /// @throw std::length_error when the collection has 2^32 surfels or more.
    /// @throw VekoException when there are regions and it has no positions.
    [[nodiscard]] SResult Apply(const std::shared_ptr<const Base::ISurfelCollection>& collection,
                                std::span<const Base::CSurfelBitMask> flags, Answer answer) const;

    /// Turns the words \p after, as an edit with Side::Painted leaves them, into those of
    /// Side::Unpainted. What is cut in \p before (which may be empty: nothing is) stays cut.
    static void Invert(std::span<const Base::CSurfelBitMask> before,
                       std::span<Base::CSurfelBitMask> after);

private:
    std::vector<SCutRegion> m_regions;
    Reach m_reach;
    Side m_side;
};

}  // namespace Application
