#include "Application/Scans/SSurfelArrays.h"

#include <utility>

#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace Application
{

std::shared_ptr<const Base::ISurfelCollection> MakeSurfelCollection(SSurfelArrays arrays)
{
    const auto owner = std::make_shared<const SSurfelArrays>(std::move(arrays));
    return std::make_shared<const DataLayer::CSurfelCollectionView>(
        owner, owner->positions.size(), owner->positions.data(), sizeof(LqVector3f),
        owner->normals.empty() ? nullptr : owner->normals.data(), sizeof(LqVector3f));
}

}  // namespace Application
