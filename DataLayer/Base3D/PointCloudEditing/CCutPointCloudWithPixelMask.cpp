#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/CheckedCount.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutRuns.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"

namespace DataLayer
{

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;

// No message is written to it, but its category is one that an application may list.
const Logging::CLogger c_logger(L"Veko2.CCutPointCloudWithPixelMask");

/// A collection larger than this is split, so that a single one keeps all workers busy.
constexpr std::uint32_t c_surfelsPerBlock = 16384;

/// The bounds of the painted pixels over the whole depth of the view, also where nothing is
/// painted.
UxBoundingBox3D BoundPaint(const Base::SRegionSelectionInfo& selection)
{
    UxBoundingBox3D bounds;
    bounds.box = BoundPaintedPixels(selection);
    bounds.box.min.z = 0.0F;
    bounds.box.max.z = 1.0F;
    return bounds;
}

/// The flags of a collection before the cut: those it has, or \p numWords words of 0.
void AssignOldWords(const Words& oldWords, std::size_t numWords, Words& words)
{
    if (oldWords.empty())
    {
        words.assign(numWords, Base::CSurfelBitMask());
    }
    else
    {
        words = oldWords;
    }
}

void SetColumn(float (&coefficients)[4], const LqMatrix4Rf& matrix, std::size_t column)
{
    for (std::size_t row = 0; row < 4; ++row)
    {
        coefficients[row] = matrix(row, column);
    }
}

const SCutSurfelsKernel& FastestKernel()
{
    static const SCutSurfelsKernel fastest = GetCutSurfelsKernels().front();
    return fastest;
}

/// What is known of runs of the surfels 0 to \p count - 1; null when nothing is, or when they are
/// so few that it would not pay.
const SSurfelRuns* FindRuns(const ISurfelRuns* support, const SCutMask& mask, std::uint32_t count)
{
    constexpr std::uint32_t c_leastCount = SSurfelRuns::c_surfelsPerGroup;
    if (support == nullptr || !mask.isPacked || count < c_leastCount)
    {
        return nullptr;
    }
    const SSurfelRuns* const runs = support->FindSurfelRuns();
    const bool isComplete =
        runs != nullptr &&
        runs->runs.size() >= (std::size_t{count} - 1) / SSurfelRuns::c_surfelsPerRun + 1 &&
        runs->groups.size() >= (std::size_t{count} - 1) / SSurfelRuns::c_surfelsPerGroup + 1;
    return isComplete ? runs : nullptr;
}

/// Cuts the surfels 0 to \p count - 1, by \p runs where there are any and they pay, and says
/// whether a word was changed.
bool CutSurfels(const SCutSurfelsTask& task, const SSurfelRuns* runs, std::uint32_t count)
{
    static_assert(c_surfelsPerBlock % SSurfelRuns::c_surfelsPerGroup == 0);
    const std::uint32_t numBlocks =
        count / c_surfelsPerBlock + (count % c_surfelsPerBlock != 0 ? 1 : 0);
    const CutSurfelsKernel kernel = task.mask->isPacked ? FastestKernel().cut : CutSurfelsScalar;
    const bool isByRuns = runs != nullptr && DoRunsPay(task, FastestKernel(), *runs, count);
    std::atomic<bool> hasChanged = false;
    Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
        const std::uint32_t begin = block * c_surfelsPerBlock;
        const std::uint32_t end = begin + std::min(count - begin, c_surfelsPerBlock);
        if (isByRuns ? CutRuns(task, kernel, *runs, begin, end) : kernel(task, begin, end))
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
      m_pixelBounds(BoundPaint(*m_regionSelection)),
      m_viewProjection((m_regionSelection->transform1 * m_regionSelection->transform2) *
                       m_regionSelection->transform3),
      m_width(static_cast<float>(m_regionSelection->maskWidth)),
      m_height(static_cast<float>(m_regionSelection->maskHeight)),
      m_mask(std::make_shared<const CCutMask>(*m_regionSelection, m_pixelBounds.box))
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
    Base::ParallelFor(CheckedCount(inputs.size()), [&](std::uint32_t index) {
        const SInputData& input = inputs[index];
        classify(*input.collection, input.bitMasks, input.trafo, results[index]);
    });
}

bool CCutPointCloudWithPixelMask::IntersectsRegion(const LqMatrix4Rd& trafo,
                                                   const Base::ISurfelCollection& collection) const
{
    const UxBoundingBox3D bounds = collection.GetPointCloudSupport()->GetBoundingBox();
    return intersectsPixelBounds(combine(trafo), bounds);
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

bool CCutPointCloudWithPixelMask::intersectsPixelBounds(const LqMatrix4Rf& combined,
                                                        UxBoundingBox3D bounds) const
{
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

void CCutPointCloudWithPixelMask::classify(const Base::ISurfelCollection& collection,
                                           const Words& oldWords, const LqMatrix4Rd& trafo,
                                           Results::value_type& result) const
{
    auto& [hasChanged, words] = result;
    hasChanged = false;
    const std::size_t numWords =
        oldWords.empty() ? CheckedCount(collection.GetCount()) : oldWords.size();
    const LqMatrix4Rf combined = combine(trafo);
    std::shared_ptr<const Base::IPointCloudSupport> support = collection.GetPointCloudSupport();
    if (!intersectsPixelBounds(combined, support->GetBoundingBox()))
    {
        AssignOldWords(oldWords, numWords, words);
        return;
    }
    // A support without runs is let go at once, as is one of too few surfels to ask for them.
    const auto runs = numWords < SSurfelRuns::c_surfelsPerGroup
                          ? nullptr
                          : std::dynamic_pointer_cast<const ISurfelRuns>(std::move(support));
    support.reset();
    SCutSurfelsTask task;
    std::uint32_t count = 0;
    try
    {
        const auto& positions = collection.GetReadAccessor<Base::CSCElementDefinitionPosition>();
        task.firstPosition = positions.GetFirstElement();
        task.positionStride = positions.GetStrideInBytes();
        task.numPositions = CheckedCount(collection.GetCount());
        task.fetchDistance = FastestKernel().fetchDistance;
        count = static_cast<std::uint32_t>(std::min<std::size_t>(task.numPositions, numWords));
    }
    catch (...)
    {
        AssignOldWords(oldWords, numWords, words);
        throw;
    }
    if (words.size() == numWords && count == numWords)
    {
        // The kernel writes every word, so that nothing is to be copied first.
        task.oldWords = oldWords.empty() ? nullptr : oldWords.data();
    }
    else
    {
        AssignOldWords(oldWords, numWords, words);
        task.oldWords = words.data();
    }
    task.words = words.data();
    SetColumn(task.clipX, combined, 0);
    SetColumn(task.clipY, combined, 1);
    SetColumn(task.clipW, combined, 3);
    task.mask = &m_mask->Get();
    task.isStreamed = count > c_maximumCachedSurfels;
    hasChanged = CutSurfels(task, FindRuns(runs.get(), *task.mask, count), count);
}

}  // namespace DataLayer
