#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Application
{
class CPicture;
}

namespace CommandLine
{

/// An output that a command was asked for; the option was not given where \p file is empty.
struct SOutputFile
{
    std::string option;
    std::string file;
    bool isReplaced = false;  ///< when it exists
};

/// Finds out before the work whether its results can be written.
/// \p inputs are read for them; none of the outputs may take the place of one.
/// @throw CUsageError when two of the outputs are the same file, or one is an input.
/// @throw Application::COutputError when one exists and is not replaced, or cannot be written.
void CheckOutputs(const std::vector<SOutputFile>& outputs,
                  const std::vector<std::string>& inputs = {});

/// Writes a whole file, complete or not at all.
/// @throw Application::COutputError when it exists and not \p force, or cannot be written.
void WriteText(const std::string& file, std::string_view text, bool force);
void WritePicture(const std::string& file, const Application::CPicture& picture, bool force);

}  // namespace CommandLine
