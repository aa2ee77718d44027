#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Apps/CommandLine/ExitCode.h"

namespace CommandLine
{

/// The text of a document that `--json` prints, its last line ended.
[[nodiscard]] std::string PrintDocument(const nlohmann::ordered_json& document);

/// The document of a run that failed.
[[nodiscard]] std::string PrintFailure(ExitCode code, const std::string& message);

}  // namespace CommandLine
