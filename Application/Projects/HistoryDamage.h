#pragma once

#include <string>
#include <vector>

#include "Application/Projects/CProjectFolder.h"
#include "Application/Projects/SProjectDocument.h"

namespace Application
{

/// Reads every byte of a project's history and says what is wrong with it, from the oldest edit on;
/// nothing when it is whole.
///
/// It is when each edit's file has its size and its checksums, changes only scans that the project
/// has, and begins where the one before it ended. Takes the time to read the files, on all
/// processors.
[[nodiscard]] std::vector<std::string> FindHistoryDamage(const SProjectDocument& document,
                                                         const CProjectFolder& folder);

}  // namespace Application
