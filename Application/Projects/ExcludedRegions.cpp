#include "Application/Projects/ExcludedRegions.h"

#include <algorithm>

#include "Base/Math/PointTransform.h"

namespace Application
{

namespace
{

bool IsWithin(const SHomogeneousPoint<double>& point, const SWorldBox& box)
{
    return point.x >= box.min[0] && point.x <= box.max[0] && point.y >= box.min[1] &&
           point.y <= box.max[1] && point.z >= box.min[2] && point.z <= box.max[2];
}

}  // namespace

std::uint64_t ExcludeSurfels(const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo,
                             const std::vector<SWorldBox>& boxes,
                             std::vector<Base::CSurfelBitMask>& words)
{
    if (boxes.empty())
    {
        return 0;
    }
    const auto& positions = collection.GetReadAccessor<Base::CSCElementDefinitionPosition>();
    words.resize(collection.GetCount());
    std::uint64_t numExcluded = 0;
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        const LqVector3f position = positions.At(index);
        const auto point =
            TransformHomogeneous(trafo, static_cast<double>(position.x),
                                 static_cast<double>(position.y), static_cast<double>(position.z));
        const bool isExcluded = std::any_of(
            boxes.begin(), boxes.end(), [&](const SWorldBox& box) { return IsWithin(point, box); });
        if (isExcluded && (words[index].bits & Base::CSurfelBitMask::SurfelFlagExcluded) == 0)
        {
            words[index].bits |= Base::CSurfelBitMask::SurfelFlagExcluded;
            ++numExcluded;
        }
    }
    return numExcluded;
}

}  // namespace Application
