#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace CommandLine
{

/// What a command has to say when it is done, in both forms; the user's choice is printed.
struct SReport
{
    /// For programs: the one document of `--json`.
    nlohmann::ordered_json document;
    /// For people: lines, each ended.
    std::string text;
};

}  // namespace CommandLine
