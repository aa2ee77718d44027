#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace CommandLine
{

/// What a command has to say when it is done, in both forms; the user's choice is printed.
// The document's move says that it throws nothing. NOLINTNEXTLINE(bugprone-exception-escape)
struct SReport
{
    /// For programs: the one document of `--json`.
    nlohmann::ordered_json document;
    /// For people: lines, each ended.
    std::string text;
    /// What is wrong with the inputs, where saying so is the command's answer: the run prints what
    /// it found, then these, and fails as one whose input is damaged.
    std::vector<std::string> damages = {};
};

}  // namespace CommandLine
