#include "Apps/CommandLine/OutputFiles.h"

#include <filesystem>
#include <system_error>

#include "Application/Files/CReplacementFile.h"
#include "Application/Pictures/CPicture.h"
#include "Apps/CommandLine/CUsageError.h"

namespace CommandLine
{

namespace
{

/// The file's one true name, whatever way it is written, whether it exists or not.
std::filesystem::path ToTrueName(const std::string& file)
{
    std::error_code error;
    const auto absolute = std::filesystem::absolute(file, error);
    const auto canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : canonical;
}

}  // namespace

void CheckOutputs(const std::vector<SOutputFile>& outputs, const std::vector<std::string>& inputs)
{
    for (auto output = outputs.begin(); output != outputs.end(); ++output)
    {
        if (output->file.empty())
        {
            continue;
        }
        for (auto earlier = outputs.begin(); earlier != output; ++earlier)
        {
            if (!earlier->file.empty() && ToTrueName(earlier->file) == ToTrueName(output->file))
            {
                throw CUsageError(earlier->option + " and " + output->option +
                                  " name the same file '" + output->file + "'");
            }
        }
        for (const std::string& input : inputs)
        {
            if (!input.empty() && ToTrueName(input) == ToTrueName(output->file))
            {
                throw CUsageError(output->option + " would replace the input '" + input +
                                  "' by something else");
            }
        }
        // Made and taken back: an unfinished file that is never committed leaves no trace.
        const Application::CReplacementFile probe(output->file, output->isReplaced);
    }
}

void WriteText(const std::string& file, std::string_view text, bool force)
{
    Application::CReplacementFile output(file, force);
    output.Write(text);
    output.Commit();
}

void WritePicture(const std::string& file, const Application::CPicture& picture, bool force)
{
    Application::CReplacementFile output(file, force);
    output.Write(picture.ToPng());
    output.Commit();
}

}  // namespace CommandLine
