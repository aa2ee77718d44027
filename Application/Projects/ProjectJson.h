#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "Application/Projects/SProjectDocument.h"

namespace Application
{

/// Reads the text of a project file; \p name stands for the file in errors. Every field is checked,
/// and one that is not known is refused, since writing the file again would lose it.
/// @throw CInputError naming the file and the field, what was expected and what was found.
[[nodiscard]] SProjectDocument ParseProject(std::string_view json,
                                            const std::filesystem::path& name);

/// The text of a project file, from which ParseProject() reads the same document.
/// @throw COutputError, with \p name as the file, when a scan's file name is not UTF-8.
[[nodiscard]] std::string PrintProject(const SProjectDocument& document,
                                       const std::filesystem::path& name);

/// Whether \p file is a project, judged by its content: a JSON document whose format says so. False
/// for a file that cannot be read.
[[nodiscard]] bool IsProjectFile(const std::filesystem::path& file);

/// An identifier as its text in a project file.
[[nodiscard]] std::string PrintKey(const Base::CUniqueID& key);

}  // namespace Application
