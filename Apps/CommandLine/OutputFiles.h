#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
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
    /// The one input that it may take the place of, if any.
    std::string ownInput = {};
};

/// Finds out before the work whether its results can be written.
/// \p inputs are read for them; no output may take the place of one but its own.
/// @throw CUsageError when two of the outputs are the same file, or one is an input.
/// @throw Application::COutputError when one exists and is not replaced, or cannot be written.
void CheckOutputs(const std::vector<SOutputFile>& outputs,
                  const std::vector<std::string>& inputs = {});

/// @throw CUsageError when \p file, the output that \p option asks for, lies in the data folder of
/// \p project or is that folder.
void CheckOutsideData(const std::string& option, const std::string& file,
                      const std::string& project);

/// The file's one true name, whatever way it is written, whether it exists or not.
[[nodiscard]] std::filesystem::path ToTrueName(const std::filesystem::path& file);

/// Writes a whole file, complete or not at all.
/// @throw Application::COutputError when it exists and not \p force, or cannot be written.
void WriteBytes(const std::string& file, std::span<const std::byte> bytes, bool force);
void WriteText(const std::string& file, std::string_view text, bool force);
void WritePicture(const std::string& file, const Application::CPicture& picture, bool force);

}  // namespace CommandLine
