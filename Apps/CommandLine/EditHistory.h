#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Application/Projects/CProject.h"
#include "Application/Projects/SStation.h"
#include "Apps/CommandLine/SReport.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"

namespace CommandLine
{

class CConsole;

/// Adds an edit to the project's history, with the new masks of its scans in their order, empty
/// where a scan did not change; without any there is no edit. \p stations are the scans that the
/// masks were made from. Says in \p report whether there was one, and warns where the history had
/// to drop older edits.
/// @throw Application::CInputError as CScanFile::CheckUnchanged() and CProject::Commit(),
/// Application::COutputError as the latter.
void AddEdit(Application::CProject& project, const std::string& command,
             const std::vector<Application::SStation>& stations,
             const std::vector<std::shared_ptr<const Base::CSurfelCollectionMask>>& masks,
             CConsole& console, SReport& report);

}  // namespace CommandLine
