#pragma once

#include <vector>

#include "Application/Files/CProgress.h"
#include "Application/Projects/CProject.h"
#include "Application/Projects/SStation.h"
#include "Base/Interfaces/SyncableEntityMap.h"

namespace Application
{

/// Loads all scans of a project with their flags, in the project's order. \p progress is called
/// before each scan, however many there are: a host that cancels waits for one of them at most.
/// @throw CInputError when one cannot be read, or has not the number of points that it had when it
/// was added.
[[nodiscard]] std::vector<SStation> LoadStations(const CProject& project,
                                                 const ProgressCallback& progress = {});

/// A scan that belongs to no project, under a random key; \p flags are one word per point, or none.
[[nodiscard]] SStation MakeStation(CScanFile scan, std::vector<Base::CSurfelBitMask> flags);

/// The state of a synchronised map with one entry per station, in their order.
[[nodiscard]] Base::CEntityMapSyncBatch MakeSyncBatch(const std::vector<SStation>& stations);

}  // namespace Application
