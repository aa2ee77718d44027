#pragma once

#include <cstdint>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "Application/Projects/CProjectFolder.h"
#include "Application/Projects/SProjectDocument.h"
#include "Base/Interfaces/CUniqueID.h"

namespace Application
{

using FlagChecksums = std::unordered_map<Base::CUniqueID, std::uint32_t>;

/// Reads every byte of a project's history and says what is wrong with it, from the oldest edit on;
/// nothing when it is whole.
///
/// It is when each edit's file has its size and its checksums, changes only scans that the project
/// has, and begins where the one before it ended. Takes the time to read the files, on all
/// processors.
///
/// \p checksums becomes, by the key of each scan that the history knows, what
/// CMaskChanges::ComputeChecksum() answers for the flags that the edits that are done lead to;
/// empty when the history is not whole.
[[nodiscard]] std::vector<std::string> FindHistoryDamage(const SProjectDocument& document,
                                                         const CProjectFolder& folder,
                                                         FlagChecksums& checksums);

/// What is wrong with a file of a project that the system cannot tell the size of: " is missing",
/// or why it cannot be read.
[[nodiscard]] std::string DescribeAbsence(const std::error_code& error);

}  // namespace Application
