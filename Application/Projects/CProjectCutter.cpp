#include "Application/Projects/CProjectCutter.h"

#include <optional>
#include <utility>

#include "Application/Editing/CFrontOfEye.h"
#include "Application/Projects/Stations.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"

namespace Application
{

namespace
{

using Base::CSurfelBitMask;
using Words = std::vector<CSurfelBitMask>;

constexpr std::uint16_t c_cut = CSurfelBitMask::SurfelFlagCut;

bool IsSkeleton(const SStation& station)
{
    return station.entity->FindTag("ISkeletonEntityTag") != nullptr;
}

std::uint16_t GetBits(const Words& words, std::size_t index)
{
    return words.empty() ? std::uint16_t{0} : words[index].bits;
}

/// Cuts what the regions left and leaves what they cut; what was cut before stays cut.
void Invert(const SStation& before, SStation& station)
{
    Words words = station.GetFlags();
    words.resize(station.scan.GetPointCount());
    CSurfelCutter::Invert(before.GetFlags(), words);
    station.mask = std::make_shared<const Base::CSurfelCollectionMask>(std::move(words));
}

CProjectCutter::SResult Compare(const SStation& before, const SStation& after)
{
    CProjectCutter::SResult result;
    const Words& words = after.GetFlags();
    bool hasChanged = false;
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        const std::uint16_t old = GetBits(before.GetFlags(), index);
        const auto isNew = [&](std::uint16_t bit) {
            return (words[index].bits & bit) != 0 && (old & bit) == 0;
        };
        result.numNewlyCut += isNew(c_cut) ? 1 : 0;
        result.numNewlyFrozen += isNew(CSurfelBitMask::SurfelFlagOutlierFrozen) ? 1 : 0;
        hasChanged = hasChanged || words[index].bits != old;
    }
    if (hasChanged)
    {
        result.mask = after.mask;
    }
    return result;
}

}  // namespace

CProjectCutter::CProjectCutter(std::vector<SCutRegion> regions, CSurfelCutter::Reach reach,
                               CSurfelCutter::Side side)
    : m_regions(std::move(regions)), m_reach(reach), m_side(side)
{}

std::vector<CProjectCutter::SResult> CProjectCutter::Apply(
    const std::vector<SStation>& stations) const
{
    std::vector<SStation> after = stations;
    for (const SCutRegion& region : m_regions)
    {
        cut(region, after);
    }
    std::vector<SResult> results(stations.size());
    Base::ParallelFor(static_cast<std::uint32_t>(stations.size()), [&](std::uint32_t index) {
        if (m_side == CSurfelCutter::Side::Unpainted && !IsSkeleton(stations[index]))
        {
            Invert(stations[index], after[index]);
        }
        results[index] = Compare(stations[index], after[index]);
    });
    return results;
}

void CProjectCutter::cut(const SCutRegion& region, std::vector<SStation>& stations) const
{
    const bool isFrontOnly = m_reach == CSurfelCutter::Reach::FrontOfEye;
    const auto count = static_cast<std::uint32_t>(stations.size());
    std::vector<SCutRegion> placed(count);
    std::vector<std::optional<CFrontOfEye>> fronts(count);
    std::vector<SStation> asked = stations;
    if (isFrontOnly)
    {
        // A scan that the operation would reject although it reaches behind the eye is asked for
        // under another bounding box; see CFrontOfEye.
        const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
        Base::ParallelFor(count, [&](std::uint32_t index) {
            placed[index] = {region.selection, stations[index].trafo * region.trafo};
            const auto collection = stations[index].entity->GetSurfelCollection(true);
            fronts[index].emplace(placed[index], collection);
            asked[index].entity =
                stations[index].entity->With(fronts[index]->MakeAcceptable(cutter));
        });
    }
    const DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation operation(
        ScanAPI::shared_not_null<const Base::SRegionSelectionInfo>(region.selection), region.trafo);
    const Base::CEntityMapModifyBatch batch = operation.ComputeModifications(MakeSyncBatch(asked));
    if (batch.messages.empty())
    {
        return;
    }
    // One message per entry, in the entries' order.
    Base::ParallelFor(count, [&](std::uint32_t index) {
        const auto& mask = batch.messages[index].GetNewState().mask.GetValue();
        if (!isFrontOnly || mask == stations[index].mask)
        {
            stations[index].mask = mask;
            return;
        }
        Words words = mask->GetBitMasks();
        fronts[index]->TakeBackBehind(stations[index].GetFlags(), words);
        stations[index].mask =
            std::make_shared<const Base::CSurfelCollectionMask>(std::move(words));
    });
}

}  // namespace Application
