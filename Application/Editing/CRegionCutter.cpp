#include "Application/Editing/CRegionCutter.h"

#include <utility>

#include "Application/Editing/CFrontOfEye.h"
#include "Application/Editing/CStandInCollection.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;

std::uint64_t CountNewlyCut(const Words& before, const Words& after)
{
    std::uint32_t count = 0;
    if (before.empty())
    {
        for (const Base::CSurfelBitMask& word : after)
        {
            count += (word.bits & c_cut) != 0 ? 1 : 0;
        }
        return count;
    }
    const Base::CSurfelBitMask* const oldWords = before.data();
    for (std::size_t index = 0; index < after.size(); ++index)
    {
        count += (after[index].bits & ~oldWords[index].bits & c_cut) != 0 ? 1 : 0;
    }
    return count;
}

}  // namespace

CRegionCutter::CRegionCutter(const SCutRegion& region, CSurfelCutter::Reach reach,
                             const Surfels& collection)
    : m_region(region),
      m_cutter(region.selection),
      m_isFrontOnly(reach == CSurfelCutter::Reach::FrontOfEye)
{
    const Surfels standIn = CFrontOfEye(region, collection).MakeStandIn(m_cutter);
    m_hasStandIn = standIn != nullptr;
    m_box = (m_hasStandIn ? standIn : collection)->GetPointCloudSupport()->GetBoundingBox().box;
}

bool CRegionCutter::IsAccepted(const Surfels& collection) const
{
    return m_cutter.IntersectsRegion(m_region.trafo, *collection) ||
           (m_isFrontOnly && m_hasStandIn && CFrontOfEye(m_region, collection).ReachesBehind());
}

std::uint64_t CRegionCutter::Cut(const Surfels& block, Words& words) const
{
    std::vector<DataLayer::CCutPointCloudWithPixelMask::SInputData> inputs(1);
    inputs[0].collection = std::make_shared<CStandInCollection>(block, m_box);
    inputs[0].bitMasks = std::move(words);
    inputs[0].trafo = m_region.trafo;
    // Words of the right number are only written, not made first.
    DataLayer::CCutPointCloudWithPixelMask::Results results(1);
    results[0].second.resize(block->GetCount());
    m_cutter.Compute(inputs, results);
    words = std::move(results[0].second);
    if (!results[0].first)
    {
        return 0;
    }
    const Words& before = inputs[0].bitMasks;
    const CFrontOfEye front(m_region, block);
    return m_isFrontOnly && front.ReachesBehind()
               ? front.TakeBackBehind(before, words, 0, static_cast<std::uint32_t>(words.size()))
               : CountNewlyCut(before, words);
}

}  // namespace Application
