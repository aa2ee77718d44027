#include <string>

#include "Application/Files/CInputError.h"
#include "Application/Projects/ProjectJson.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

/// Larger projects are only read.
constexpr std::size_t c_largestWritten = 1 << 16;

}  // namespace

/// The text of a project file. One that is accepted must survive being written and read again.
void TestInput(std::span<const std::uint8_t> input)
{
    const std::string_view json(reinterpret_cast<const char*>(input.data()), input.size());
    try
    {
        const auto project = Application::ParseProject(json, "project.json");
        Require(project.numDone <= project.edits.size(), "only edits that there are are done");
        if (json.size() > c_largestWritten)
        {
            return;
        }
        const std::string written = Application::PrintProject(project, "project.json");
        Require(Application::PrintProject(Application::ParseProject(written, "project.json"),
                                          "project.json") == written,
                "a project that is written reads as the same project");
    }
    catch (const Application::CInputError&)
    {}
}

}  // namespace Fuzzing
