#include "Tests/Application/Fusion/FusionScenes.h"

#include <cmath>
#include <utility>

#include "Base/Interfaces/SyncableEntityMap.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/CMockSurfelCollection.h"

namespace TestSupport
{

Application::CScanFuser::SScan MakeScan(Positions positions, const LqMatrix4Rd& trafo,
                                        std::vector<Base::CSurfelBitMask> words)
{
    Application::CScanFuser::SScan scan;
    scan.key = Base::CUniqueID();
    scan.entity = std::make_shared<CMockGeometricEntity>(
        std::make_shared<CMockSurfelCollection>(std::move(positions)));
    scan.trafo = trafo;
    scan.mask = std::make_shared<Base::CSurfelCollectionMask>(std::move(words));
    return scan;
}

Positions MakeSphere(const LqVector3f& center, float radius, std::uint32_t count)
{
    Positions points;
    for (std::uint32_t index = 0; index < count; ++index)
    {
        const double height = 1.0 - (2.0 * index + 1.0) / count;
        const double ring = std::sqrt(1.0 - height * height);
        const double azimuth = 2.399963229728653 * index;
        points.push_back({center.x + radius * static_cast<float>(ring * std::cos(azimuth)),
                          center.y + radius * static_cast<float>(ring * std::sin(azimuth)),
                          center.z + radius * static_cast<float>(height)});
    }
    return points;
}

Positions Join(const std::vector<Positions>& lists)
{
    Positions joined;
    for (const Positions& list : lists)
    {
        joined.insert(joined.end(), list.begin(), list.end());
    }
    return joined;
}

LqMatrix4Rd MakeShift(double x, double y, double z)
{
    LqMatrix4Rd shift = c_matIdentityD;
    shift(3, 0) = x;
    shift(3, 1) = y;
    shift(3, 2) = z;
    return shift;
}

std::vector<std::vector<bool>> FlagSmallComponents(
    const std::vector<Application::CScanFuser::SScan>& scans,
    Application::CScanFuser::SFusion fusion)
{
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (const auto& scan : scans)
    {
        Base::CEntityMapValue value;
        value.entity = scan.entity;
        value.mask = scan.mask;
        value.trafo = scan.trafo;
        Base::CEntityMapSyncEntry& entry = entries.emplace_back();
        entry.key = scan.key;
        entry.value = std::move(value);
    }
    const DataLayer::CSmallComponentModifyOperation operation(fusion.content);
    const Base::CEntityMapModifyBatch batch =
        operation.ComputeModifications(Base::CEntityMapSyncBatch(std::move(entries)));

    std::vector<std::vector<bool>> flagged;
    for (const auto& scan : scans)
    {
        auto mask = scan.mask;
        for (const Base::CEntityMapModifyMessage& message : batch.messages)
        {
            if (message.key == scan.key)
            {
                mask = message.GetNewState().mask.GetValue();
            }
        }
        std::vector<bool>& ofScan =
            flagged.emplace_back(scan.entity->GetSurfelCollection(true)->GetCount());
        for (std::size_t surfel = 0; surfel < mask->GetBitMasks().size(); ++surfel)
        {
            ofScan[surfel] = (mask->GetBitMasks()[surfel].bits &
                              Base::CSurfelBitMask::SurfelFlagSmallComponent) != 0;
        }
    }
    return flagged;
}

}  // namespace TestSupport
