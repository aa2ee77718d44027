#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/CheckedCount.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

namespace DataLayer
{

namespace
{

// No message is written to it, but its category is one that an application may list.
const Logging::CLogger c_logger(L"Veko2.CCutPointCloudWithPixelMask");

constexpr std::uint8_t c_painted = 1;

/// A collection larger than this is split, so that a single one keeps all workers busy.
constexpr std::uint32_t c_surfelsPerBlock = 65536;

/// The bounds of the painted pixels' integer corners. Their far corners are left out on purpose.
UxBoundingBox3D boundPaintedPixels(const Base::SRegionSelectionInfo& selection)
{
    const std::size_t width = selection.maskWidth;
    UxBoundingBox3D bounds;
    if (width > 0)
    {
        for (std::uint32_t row = 0; row < selection.maskHeight; ++row)
        {
            const std::uint8_t* const pixels = selection.maskData + row * width;
            const auto* const first =
                static_cast<const std::uint8_t*>(std::memchr(pixels, c_painted, width));
            if (first != nullptr)
            {
                const auto* const last =
                    static_cast<const std::uint8_t*>(memrchr(pixels, c_painted, width));
                const float y = static_cast<float>(row);
                bounds.box.Extend(static_cast<float>(first - pixels), y, 1.0F);
                bounds.box.Extend(static_cast<float>(last - pixels), y, 1.0F);
            }
        }
    }
    bounds.box.min.z = 0.0F;
    bounds.box.max.z = 1.0F;
    return bounds;
}

/// Runs the kernel over the surfels 0 to \p count - 1 and says whether a word was changed.
bool cutSurfels(const SCutSurfelsTask& task, std::uint32_t count)
{
    const std::uint32_t numBlocks =
        count / c_surfelsPerBlock + (count % c_surfelsPerBlock != 0 ? 1 : 0);
    std::atomic<bool> hasChanged = false;
    Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
        const std::uint32_t begin = block * c_surfelsPerBlock;
        const std::uint32_t end = begin + std::min(count - begin, c_surfelsPerBlock);
        if (CutSurfelsScalar(task, begin, end))
        {
            hasChanged.store(true, std::memory_order_relaxed);
        }
    });
    return hasChanged.load(std::memory_order_relaxed);
}

}  // namespace

CCutPointCloudWithPixelMask::CCutPointCloudWithPixelMask(
    std::shared_ptr<const Base::SRegionSelectionInfo> regionSelection)
    : m_regionSelection(std::move(regionSelection)),
      m_pixelBounds(boundPaintedPixels(*m_regionSelection)),
      m_viewProjection((m_regionSelection->transform1 * m_regionSelection->transform2) *
                       m_regionSelection->transform3),
      m_width(static_cast<float>(m_regionSelection->maskWidth)),
      m_height(static_cast<float>(m_regionSelection->maskHeight))
{}

CCutPointCloudWithPixelMask::CCutPointCloudWithPixelMask(const CCutPointCloudWithPixelMask&) =
    default;
CCutPointCloudWithPixelMask& CCutPointCloudWithPixelMask::operator=(
    const CCutPointCloudWithPixelMask&) = default;
CCutPointCloudWithPixelMask::~CCutPointCloudWithPixelMask() = default;

void CCutPointCloudWithPixelMask::Compute(const std::vector<SInputData>& inputs,
                                          Results& results) const
{
    results.resize(inputs.size());
    Base::ParallelFor(CheckedCount(inputs.size()),
                      [&](std::uint32_t index) { classify(inputs[index], results[index]); });
}

bool CCutPointCloudWithPixelMask::IntersectsRegion(const LqMatrix4Rd& trafo,
                                                   const Base::ISurfelCollection& collection) const
{
    return intersectsPixelBounds(combine(trafo), collection);
}

void CCutPointCloudWithPixelMask::ApplyViewport(LqVector3f& point, float width, float height)
{
    point.x = DeviceToPixelX(point.x, width);
    point.y = DeviceToPixelY(point.y, height);
}

LqMatrix4Rf CCutPointCloudWithPixelMask::combine(const LqMatrix4Rd& trafo) const
{
    return LqMatrix4Rf(trafo) * m_viewProjection;
}

bool CCutPointCloudWithPixelMask::intersectsPixelBounds(
    const LqMatrix4Rf& combined, const Base::ISurfelCollection& collection) const
{
    UxBoundingBox3D bounds = collection.GetPointCloudSupport()->GetBoundingBox();
    bounds.Transform(combined);
    // Extending by the corners of an empty box would make one that overlaps.
    if (bounds.box.IsEmpty())
    {
        return false;
    }
    LqVector3f minCorner = bounds.box.min;
    LqVector3f maxCorner = bounds.box.max;
    ApplyViewport(minCorner, m_width, m_height);
    ApplyViewport(maxCorner, m_width, m_height);
    // The viewport swaps the corners' order in y.
    Geometry::CBox3D screenBounds;
    screenBounds.Invalidate();
    screenBounds.Extend(minCorner);
    screenBounds.Extend(maxCorner);
    return m_pixelBounds.box.Intersects(screenBounds);
}

void CCutPointCloudWithPixelMask::classify(const SInputData& input,
                                           Results::value_type& result) const
{
    const Base::ISurfelCollection& collection = *input.collection;
    auto& [hasChanged, words] = result;
    hasChanged = false;
    words = input.bitMasks;
    if (words.empty())
    {
        words.resize(CheckedCount(collection.GetCount()));
    }
    const LqMatrix4Rf combined = combine(input.trafo);
    if (!intersectsPixelBounds(combined, collection))
    {
        return;
    }
    const auto& positions = collection.GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const std::uint32_t count = CheckedCount(collection.GetCount());

    SCutSurfelsTask task;
    task.matrix = combined;
    task.width = m_width;
    task.height = m_height;
    task.mask = m_regionSelection->maskData;
    task.maskWidth = m_regionSelection->maskWidth;
    // A size above 2^24 may have been rounded up as a float. No other float lies between the true
    // size and that one, so that no pixel leads outside the mask's bytes.
    task.endColumn = EndOfPixels(m_width);
    task.endRow = EndOfPixels(m_height);
    task.firstPosition = positions.GetFirstElement();
    task.positionStride = positions.GetStrideInBytes();
    task.words = words.data();
    hasChanged =
        cutSurfels(task, static_cast<std::uint32_t>(std::min<std::size_t>(count, words.size())));
}

}  // namespace DataLayer
