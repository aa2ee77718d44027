#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

using Base::CSurfelBitMask;
using TestSupport::CMockSurfelCollection;
using TestSupport::MakeDeviceSelection;
using TestSupport::MakeFullyPaintedDeviceSelection;
using Words = std::vector<CSurfelBitMask>;

/// In every view, the middle of the pixel, inside the view's depth.
inline LqVector3f PixelCenter(std::uint32_t column, std::uint32_t row, std::uint32_t width,
                              std::uint32_t height)
{
    return {(2 * static_cast<float>(column) + 1) / static_cast<float>(width) - 1,
            1 - (2 * static_cast<float>(row) + 1) / static_cast<float>(height), 0.5F};
}

inline std::shared_ptr<CMockSurfelCollection> MakeCollection(
    const std::vector<LqVector3f>& positions)
{
    return std::make_shared<CMockSurfelCollection>(positions);
}

/// A collection that always passes the box test of a view that is not scaled, wherever its
/// positions lie.
inline std::shared_ptr<CMockSurfelCollection> MakeCollectionInView(
    const std::vector<LqVector3f>& positions)
{
    auto collection = MakeCollection(positions);
    collection->SetBoundingBox({-1, -1, 0}, {1, 1, 1});
    return collection;
}

inline CCutPointCloudWithPixelMask::Results Compute(
    const CCutPointCloudWithPixelMask& cutter,
    const std::vector<CCutPointCloudWithPixelMask::SInputData>& inputs)
{
    CCutPointCloudWithPixelMask::Results results;
    cutter.Compute(inputs, results);
    return results;
}

inline CCutPointCloudWithPixelMask::Results::value_type ComputeOne(
    const CCutPointCloudWithPixelMask& cutter,
    std::shared_ptr<const Base::ISurfelCollection> collection, Words words = {},
    const LqMatrix4Rd& trafo = c_matIdentityD)
{
    return Compute(cutter, {{std::move(collection), std::move(words), trafo}}).at(0);
}

}  // namespace DataLayer
