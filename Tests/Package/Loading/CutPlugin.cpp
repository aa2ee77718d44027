#include "Tests/Package/Loading/CutPlugin.h"

#include <memory>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"

std::size_t CutSomeSurfels()
{
    using DataLayer::CCutPointCloudWithPixelMask;
    const LqMatrix4Rf identity(c_matIdentityD);
    const CCutPointCloudWithPixelMask cutter(Base::MakeRegionSelection(
        identity, identity, identity, std::vector<std::uint8_t>(16, 1), 4, 4));
    // Several blocks, so that worker threads are started.
    const auto collection = std::make_shared<DataLayer::CSurfelCollectionPosition>();
    for (int index = 0; index < 300000; ++index)
    {
        collection->AddSurfelNoReset({{index % 2 == 0 ? 0.0F : -0.9F, 0.0F, 0.5F}});
    }
    CCutPointCloudWithPixelMask::Results results;
    cutter.Compute({{collection, {}, c_matIdentityD}}, results);
    std::size_t numCut = 0;
    for (const Base::CSurfelBitMask word : results.front().second)
    {
        numCut += word.bits / Base::CSurfelBitMask::SurfelFlagCut;
    }
    return numCut;
}
