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

void CRegionCutter::Cut(const Surfels& block, Words& words) const
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
    if (results[0].first && m_isFrontOnly)
    {
        CFrontOfEye(m_region, block).TakeBackBehind(inputs[0].bitMasks, words);
    }
}

}  // namespace Application
