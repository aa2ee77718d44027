#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Application/Projects/CProject.h"
#include "Apps/CommandLine/SReport.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"

namespace CommandLine
{

class CConsole;

/// Adds an edit to the project's history, with the new masks of its scans in their order, empty
/// where a scan did not change; without any there is no edit. The caller has asked CheckUnchanged()
/// of the scans that the masks were made from. Says in \p report whether there was an edit, and
/// warns where the history had to drop older ones.
/// @throw Application::CInputError and Application::COutputError as CProject::Commit().
void AddEdit(Application::CProject& project, const std::string& command,
             const std::vector<std::shared_ptr<const Base::CSurfelCollectionMask>>& masks,
             CConsole& console, SReport& report);

}  // namespace CommandLine
