#include "Application/Projects/Stations.h"

#include <string>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Base/Interfaces/CGeometricEntityPacket.h"

namespace Application
{

namespace
{

std::shared_ptr<const Base::CSurfelCollectionMask> MakeMask(
    std::vector<Base::CSurfelBitMask>&& words)
{
    return words.empty() ? nullptr
                         : std::make_shared<const Base::CSurfelCollectionMask>(std::move(words));
}

}  // namespace

std::vector<SStation> LoadStations(const CProject& project, const ProgressCallback& progress)
{
    std::vector<SStation> stations;
    const std::vector<SProjectScan>& scans = project.GetDocument().scans;
    for (std::size_t index = 0; index < scans.size(); ++index)
    {
        const SProjectScan& entry = scans[index];
        if (progress)
        {
            progress(static_cast<double>(index) / static_cast<double>(scans.size()));
        }
        CScanFile scan = CScanFile::Open(project.GetScanPath(index));
        if (scan.GetPointCount() != entry.points)
        {
            throw CInputError(project.GetPath(),
                              "scans[" + std::to_string(index) + "]: the scan '" +
                                  scan.GetPath().string() + "' has " +
                                  std::to_string(scan.GetPointCount()) + " points, but had " +
                                  std::to_string(entry.points) +
                                  " when it was added; put that file back, or make a new project");
        }
        auto entity = std::make_shared<const CScanEntity>(
            Base::CEntityID(entry.key), scan.GetSurfelCollection(), entry.isSkeleton);
        const LqMatrix4Rd trafo = scan.GetTransform() * entry.transform;
        stations.push_back({std::move(scan), std::move(entity), trafo,
                            MakeMask(project.ReadFlags(index)), entry.optimizationLevel});
    }
    if (progress)
    {
        progress(1.0);
    }
    return stations;
}

SStation MakeStation(CScanFile scan, std::vector<Base::CSurfelBitMask> flags)
{
    auto entity =
        std::make_shared<const CScanEntity>(Base::CEntityID(), scan.GetSurfelCollection(), false);
    const LqMatrix4Rd trafo = scan.GetTransform();
    return {std::move(scan), std::move(entity), trafo, MakeMask(std::move(flags)), 0};
}

Base::CEntityMapSyncBatch MakeSyncBatch(const std::vector<SStation>& stations)
{
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (const SStation& station : stations)
    {
        const Base::CGeometricEntityPacket packet(station.entity, station.trafo, station.mask,
                                                  station.optimizationLevel);
        entries.push_back({station.entity->GetID(), Base::MakeEntityMapValue(packet, false)});
    }
    return Base::CEntityMapSyncBatch(std::move(entries));
}

}  // namespace Application
