#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"
#include "Base/Math/UxBoundingBox3D.h"
#include "DataLayer/Base3D/PointCloudEditing/Export.h"

namespace Base
{
class ISurfelCollection;
struct SRegionSelectionInfo;
}  // namespace Base

namespace DataLayer
{

class CCutMask;

/// Flags the surfels that lie under a region that was painted on the screen.
///
/// Built once per region selection, then shared read-only: every const operation is safe on any
/// number of threads at once.
///
///     const CCutPointCloudWithPixelMask cutter(selection);
///     std::vector<std::pair<bool, std::vector<Base::CSurfelBitMask>>> results;
///     cutter.Compute({{collection, {}, c_matIdentityD}}, results);
///     // results[0].second[j] has SurfelFlagCut where surfel j lies under the paint.
///
/// A surfel lies under the paint when its position, carried by the entity's transform and the
/// selection's view chain, divided by its w and mapped to pixels, truncates to a pixel whose mask
/// byte is exactly 1. Row 0 and column 0 never cut anything, although the bounds of the paint
/// include them. Points behind the eye are divided like any other. Results are the same to the bit
/// for every number of threads.
class VEKO2_POINTCLOUDEDITING_EXPORT CCutPointCloudWithPixelMask
{
public:
    /// One collection to classify.
    struct SInputData
    {
        /// The surfels, in the entity's own coordinates. Must not be null.
        std::shared_ptr<const Base::ISurfelCollection> collection;
        /// The surfels' flags before this cut: none at all, or one word per surfel. Of a vector of
        /// another length the surplus words are kept, and surfels without a word are left out.
        std::vector<Base::CSurfelBitMask> bitMasks;
        /// Carries the entity's own coordinates to the world coordinates in which the selection's
        /// view chain starts. To be set: the zero matrix that it is at first places nothing on
        /// the screen.
        LqMatrix4Rd trafo;
    };

    /// Per input: whether this cut set SurfelFlagCut on a surfel that did not have it, and the
    /// surfels' flags after the cut, other bits kept.
    using Results = std::vector<std::pair<bool, std::vector<Base::CSurfelBitMask>>>;

    /// Keeps \p regionSelection, which must not be null, alive as long as the cutter. Its mask may
    /// be empty; nothing lies under it then.
    explicit CCutPointCloudWithPixelMask(
        std::shared_ptr<const Base::SRegionSelectionInfo> regionSelection);

    // Copied when moved from as well, so that no cutter is ever left without its selection.
    CCutPointCloudWithPixelMask(const CCutPointCloudWithPixelMask& other);
    CCutPointCloudWithPixelMask& operator=(const CCutPointCloudWithPixelMask& other);
    virtual ~CCutPointCloudWithPixelMask();

    /// Classifies all \p inputs, in parallel. On return \p results, whatever it held, has one entry
    /// per input. A collection that IntersectsRegion() rejects keeps its flags (as many words of 0
    /// as it has surfels when there were none), and its positions are not asked for.
    ///
    /// @throw VekoException when a collection that is not rejected has no positions.
    /// @throw std::length_error when there are 2^32 inputs or more, or when a collection has 2^32
    /// surfels or more and they are counted: because it has no flags yet, or is not rejected.
    /// After an exception \p results has one entry per input, finished or not.
    void Compute(const std::vector<SInputData>& inputs, Results& results) const;

    /// Whether \p collection, placed in the world by \p trafo, can have a surfel under the paint:
    /// its bounding box, projected to pixels, overlaps the bounds of the painted pixels, and the
    /// depth range 0 to 1. Only a false answer is certain. The bounds reach from the first to the
    /// last painted pixel's integer corner. A collection whose bounding box is empty, or has no
    /// number on some axis once projected, is rejected.
    [[nodiscard]] bool IntersectsRegion(const LqMatrix4Rd& trafo,
                                        const Base::ISurfelCollection& collection) const;

private:
    friend class CCachedModelsCutter;
    friend class CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
    friend class CCutPointCloudWithPixelMaskTestPeer;

    /// Maps normalised device coordinates to pixels in place: (-1, 1) becomes (0, 0) and (1, -1)
    /// becomes (width, height); z is left alone.
    static void ApplyViewport(LqVector3f& point, float width, float height);

    [[nodiscard]] LqMatrix4Rf combine(const LqMatrix4Rd& trafo) const;
    [[nodiscard]] bool intersectsPixelBounds(const LqMatrix4Rf& combined,
                                             UxBoundingBox3D bounds) const;
    /// Compute() for one collection, with the members of its input.
    void classify(const Base::ISurfelCollection& collection,
                  const std::vector<Base::CSurfelBitMask>& oldWords, const LqMatrix4Rd& trafo,
                  Results::value_type& result) const;

    std::shared_ptr<const Base::SRegionSelectionInfo> m_regionSelection;
    /// x = column, y = row, z from 0 to 1.
    UxBoundingBox3D m_pixelBounds;
    LqMatrix4Rf m_viewProjection;
    float m_width;
    float m_height;
    /// The mask prepared for the kernels, shared by a cutter's copies.
    std::shared_ptr<const CCutMask> m_mask;
};

}  // namespace DataLayer
