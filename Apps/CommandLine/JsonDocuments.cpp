#include "Apps/CommandLine/JsonDocuments.h"

#include <nlohmann/json.hpp>

namespace CommandLine
{

std::string PrintDocument(const nlohmann::ordered_json& document)
{
    // File names may hold any byte; those that are not UTF-8 must not cost the whole document.
    return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

std::string PrintFailure(ExitCode code, const std::string& message)
{
    return PrintDocument({{"error", {{"code", static_cast<int>(code)}, {"message", message}}}});
}

}  // namespace CommandLine
