#pragma once

#include <string>

#include "Application/Files/CProgress.h"

namespace CommandLine
{

class CConsole;

/// Reports the step \p label of a command: draws the progress bar on \p console, which must outlive
/// the callback, and ends an unfinished step with a CInterruptedError when the user asked for that.
[[nodiscard]] Application::ProgressCallback MakeStepProgress(CConsole& console, std::string label);

}  // namespace CommandLine
