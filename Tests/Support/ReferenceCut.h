#pragma once

#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace TestSupport
{

/// What a cut leaves of one collection.
struct SReferenceResult
{
    bool hasChanged = false;
    std::vector<Base::CSurfelBitMask> words;

    friend bool operator==(const SReferenceResult&, const SReferenceResult&) = default;
};

/// The plainest form of the cutter's box test, sharing no code with it: whether the box from \p min
/// to \p max, placed by \p trafo and projected, overlaps the bounds of the painted pixels.
[[nodiscard]] bool ReferenceIntersectsRegion(const Base::SRegionSelectionInfo& selection,
                                             const LqVector3f& min, const LqVector3f& max,
                                             const LqMatrix4Rd& trafo);

/// The plainest form of classifying one collection, sharing no code with the cutter. \p min and
/// \p max are the corners of its bounding box. Surfels without a word are left out.
[[nodiscard]] SReferenceResult ReferenceCut(const Base::SRegionSelectionInfo& selection,
                                            const std::vector<LqVector3f>& positions,
                                            const LqVector3f& min, const LqVector3f& max,
                                            const std::vector<Base::CSurfelBitMask>& bitMasks,
                                            const LqMatrix4Rd& trafo);

}  // namespace TestSupport
