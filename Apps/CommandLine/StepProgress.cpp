#include "Apps/CommandLine/StepProgress.h"

#include <utility>

#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CInterruption.h"

namespace CommandLine
{

Application::ProgressCallback MakeStepProgress(CConsole& console, std::string label)
{
    return [&console, label = std::move(label)](double fraction) {
        // A step that has ended has left its result; it is too late to take that back.
        if (fraction < 1.0)
        {
            CInterruption::ThrowIfRequested();
        }
        console.ShowProgress(label, fraction);
    };
}

}  // namespace CommandLine
