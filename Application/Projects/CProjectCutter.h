#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Application/Editing/CSurfelCutter.h"
#include "Application/Editing/SCutRegion.h"
#include "Application/Projects/SStation.h"

namespace Application
{

/// Cuts several scans at once with the same strokes, through
/// DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation: one operation per region,
/// each on the masks that the one before has left, so that what is cut is the union.
///
/// Reach and side are those of CSurfelCutter, and so is the answer for a single scan. Skeleton
/// scans are left whole. The outlier bits of every mask are frozen, cut or not. Immutable; Apply()
/// is safe on any number of threads at once.
class CProjectCutter
{
public:
    /// What an edit did to one scan.
    struct SResult
    {
        /// Surfels that did not have SurfelFlagCut before.
        std::uint64_t numNewlyCut = 0;
        /// Surfels that did not have SurfelFlagOutlierFrozen before.
        std::uint64_t numNewlyFrozen = 0;
        /// The new flags; empty where none has changed.
        std::shared_ptr<const Base::CSurfelCollectionMask> mask;
    };

    /// The regions' trafos carry world coordinates to those in which the selection's view chain
    /// starts.
    CProjectCutter(std::vector<SCutRegion> regions, CSurfelCutter::Reach reach,
                   CSurfelCutter::Side side);

    /// One result per station, in their order.
    /// @throw VekoException when a collection has no positions.
    /// @throw std::length_error when one has 2^32 surfels or more.
    [[nodiscard]] std::vector<SResult> Apply(const std::vector<SStation>& stations) const;

private:
    void cut(const SCutRegion& region, std::vector<SStation>& stations) const;

    std::vector<SCutRegion> m_regions;
    CSurfelCutter::Reach m_reach;
    CSurfelCutter::Side m_side;
};

}  // namespace Application
