#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Base/Math/LqMatrix4R.h"

namespace Application
{

/// One line of a list of registered scans.
struct SListedTransform
{
    /// As the list names it: relative to the list's folder.
    std::string file;
    LqMatrix4Rd transform;
};

/// Reads a list of registered scans: a text file with one line per scan, its file name and the 16
/// numbers of the transform from its coordinates to the common frame, in the order of the elements
/// of LqMatrix4R (the translation at 12, 13, 14), separated by blanks. Names may contain blanks.
/// Empty lines and lines that begin with # are passed over.
/// @throw CInputError naming the file and the line.
[[nodiscard]] std::vector<SListedTransform> ReadTransformList(const std::filesystem::path& file);

/// The text of such a list, in which a name that would be read as something else begins with "./".
/// @throw COutputError naming \p file, where the list is to stand, when a scan's name has a line
/// end or ends with a blank, which no line can hold.
[[nodiscard]] std::string PrintTransformList(const std::vector<SListedTransform>& list,
                                             const std::filesystem::path& file);

}  // namespace Application
