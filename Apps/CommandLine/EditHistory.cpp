#include "Apps/CommandLine/EditHistory.h"

#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/StationFiles.h"

namespace CommandLine
{

void AddEdit(Application::CProject& project, const std::string& command,
             const std::vector<std::shared_ptr<const Base::CSurfelCollectionMask>>& masks,
             CConsole& console, SReport& report)
{
    std::vector<Application::CProject::SNewFlags> changed;
    for (std::size_t index = 0; index < masks.size(); ++index)
    {
        if (masks[index])
        {
            changed.push_back({index, masks[index]->GetBitMasks()});
        }
    }
    report.document["scansChanged"] = changed.size();
    report.document["editsDropped"] = 0;
    if (changed.empty())
    {
        return;
    }
    console.ShowProgress("Writing", 0.0);
    const std::size_t numDropped = project.Commit(command, changed);
    report.document["editsDropped"] = numDropped;
    if (numDropped > 0)
    {
        console.Warn("the history is larger than " +
                     std::to_string(project.GetDocument().historyBudget) + " bytes: the oldest " +
                     ToCount(numDropped, "edit") + " can no longer be undone");
    }
}

}  // namespace CommandLine
