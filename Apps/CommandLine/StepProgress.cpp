#include "Apps/CommandLine/StepProgress.h"

#include <utility>

#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CInterruption.h"

namespace CommandLine
{

Application::ProgressCallback MakeStepProgress(CConsole& console, std::string label)
{
    return [&console, label = std::move(label)](double fraction) {
        CInterruption::ThrowIfRequested();
        console.ShowProgress(label, fraction);
    };
}

}  // namespace CommandLine
