#include "Application/Editing/CFrontOfEye.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <utility>

#include "Application/Editing/CStandInCollection.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

namespace Application
{

namespace
{

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;
constexpr std::uint32_t c_surfelsPerBlock = 65536;

/// How often the box around a surfel doubles until it is as large as the scan's.
constexpr int c_numGrowthSteps = 22;

/// The painted pixels' bounds, first to last of each axis; empty when nothing is painted.
struct SPaintBounds
{
    std::uint32_t firstColumn = 1;
    std::uint32_t lastColumn = 0;
    std::uint32_t firstRow = 1;
    std::uint32_t lastRow = 0;

    [[nodiscard]] bool IsEmpty() const { return firstColumn > lastColumn; }
};

SPaintBounds BoundPaint(const Base::SRegionSelectionInfo& selection)
{
    SPaintBounds bounds;
    for (std::uint32_t row = 0; row < selection.maskHeight; ++row)
    {
        const std::uint8_t* const begin =
            selection.maskData + std::size_t{row} * selection.maskWidth;
        for (std::uint32_t column = 0; column < selection.maskWidth; ++column)
        {
            if (begin[column] == 1)
            {
                bounds = bounds.IsEmpty() ? SPaintBounds{column, column, row, row}
                                          : SPaintBounds{std::min(bounds.firstColumn, column),
                                                         std::max(bounds.lastColumn, column),
                                                         bounds.firstRow, row};
            }
        }
    }
    return bounds;
}

/// Whether a coordinate lies on a pixel from \p first to \p last.
bool IsWithin(float coordinate, std::uint32_t first, std::uint32_t last)
{
    return coordinate >= static_cast<float>(first) && coordinate < static_cast<float>(last) + 1.0F;
}

Geometry::CBox3D MakeCube(const LqVector3f& centre, float halfSize)
{
    Geometry::CBox3D cube;
    cube.Extend(centre.x - halfSize, centre.y - halfSize, centre.z - halfSize);
    cube.Extend(centre.x + halfSize, centre.y + halfSize, centre.z + halfSize);
    return cube;
}

float LargestExtent(const Geometry::CBox3D& box)
{
    return std::max({box.max.x - box.min.x, box.max.y - box.min.y, box.max.z - box.min.z});
}

}  // namespace

CFrontOfEye::CFrontOfEye(const SCutRegion& region,
                         std::shared_ptr<const Base::ISurfelCollection> collection)
    : m_region(region),
      m_collection(std::move(collection)),
      m_combined(LqMatrix4Rf(region.trafo) *
                 ((region.selection->transform1 * region.selection->transform2) *
                  region.selection->transform3))
{}

bool CFrontOfEye::ReachesBehind() const
{
    const Geometry::CBox3D box = m_collection->GetPointCloudSupport()->GetBoundingBox().box;
    if (box.IsEmpty())
    {
        return false;
    }
    for (const float x : {box.min.x, box.max.x})
    {
        for (const float y : {box.min.y, box.max.y})
        {
            for (const float z : {box.min.z, box.max.z})
            {
                if (!(TransformHomogeneous(m_combined, x, y, z).w > 0.0F))
                {
                    return true;
                }
            }
        }
    }
    return false;
}

std::shared_ptr<const Base::ISurfelCollection> CFrontOfEye::MakeAcceptable(
    const DataLayer::CCutPointCloudWithPixelMask& cutter) const
{
    if (cutter.IntersectsRegion(m_region.trafo, *m_collection) || !ReachesBehind())
    {
        return m_collection;
    }
    const std::optional<LqVector3f> surfel = findNearPaint();
    if (!surfel)
    {
        return m_collection;
    }
    // The surfel alone may still miss the bounds, which end at the last pixel's integer corner, or
    // the depth range; a box around it that grows soon reaches both.
    const float extent = LargestExtent(m_collection->GetPointCloudSupport()->GetBoundingBox().box);
    for (int step = 0; step <= c_numGrowthSteps; ++step)
    {
        const float halfSize = step == 0 ? 0.0F : std::ldexp(extent, step - c_numGrowthSteps);
        auto standIn =
            std::make_shared<CStandInCollection>(m_collection, MakeCube(*surfel, halfSize));
        if (cutter.IntersectsRegion(m_region.trafo, *standIn))
        {
            return standIn;
        }
    }
    return m_collection;
}

std::uint64_t CFrontOfEye::TakeBackBehind(const std::vector<Base::CSurfelBitMask>& before,
                                          std::vector<Base::CSurfelBitMask>& after,
                                          std::uint32_t begin, std::uint32_t end) const
{
    const auto& positions = m_collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    std::uint64_t numKept = 0;
    for (std::uint32_t index = begin; index < end; ++index)
    {
        const bool wasCut = !before.empty() && (before[index].bits & c_cut) != 0;
        if ((after[index].bits & c_cut) == 0 || wasCut)
        {
            continue;
        }
        const LqVector3f position = positions.At(index);
        const float w = TransformHomogeneous(m_combined, position.x, position.y, position.z).w;
        if (w > 0.0F)
        {
            ++numKept;
        }
        else
        {
            after[index].bits = static_cast<std::uint16_t>(after[index].bits & ~c_cut);
        }
    }
    return numKept;
}

/// Some surfel in front of the eye that projects into the bounds of the painted pixels. Which one
/// it is makes no difference to the cut: all are classified as soon as one is let in.
std::optional<LqVector3f> CFrontOfEye::findNearPaint() const
{
    const SPaintBounds bounds = BoundPaint(*m_region.selection);
    if (bounds.IsEmpty())
    {
        return std::nullopt;
    }
    const auto& positions = m_collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const std::uint64_t count = m_collection->GetCount();
    const float width = static_cast<float>(m_region.selection->maskWidth);
    const float height = static_cast<float>(m_region.selection->maskHeight);

    std::mutex mutex;
    std::optional<LqVector3f> found;
    std::atomic<bool> isFound = false;
    const auto numBlocks =
        static_cast<std::uint32_t>((count + c_surfelsPerBlock - 1) / c_surfelsPerBlock);
    Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
        const std::uint64_t begin = std::uint64_t{block} * c_surfelsPerBlock;
        const std::uint64_t end = std::min<std::uint64_t>(begin + c_surfelsPerBlock, count);
        for (std::uint64_t index = begin; index < end && !isFound.load(std::memory_order_relaxed);
             ++index)
        {
            const LqVector3f position = positions.At(index);
            const auto point = TransformHomogeneous(m_combined, position.x, position.y, position.z);
            if (point.w > 0.0F &&
                IsWithin(DataLayer::DeviceToPixelX(point.x / point.w, width), bounds.firstColumn,
                         bounds.lastColumn) &&
                IsWithin(DataLayer::DeviceToPixelY(point.y / point.w, height), bounds.firstRow,
                         bounds.lastRow))
            {
                const std::lock_guard lock(mutex);
                found = position;
                isFound.store(true, std::memory_order_relaxed);
            }
        }
    });
    return found;
}

}  // namespace Application
