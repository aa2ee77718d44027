#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Application/Pictures/CPointRenderer.h"
#include "Application/Projects/SStation.h"
#include "Application/View/CCameraFit.h"

namespace CommandLine
{

class CConsole;

/// Opens a scan on its own; \p flags names its flag file, or is empty.
/// @throw Application::CInputError when either cannot be read.
[[nodiscard]] Application::SStation OpenStation(const std::string& scan, const std::string& flags,
                                                CConsole& console);

/// @throw Application::CInputError when \p file is missing, empty or no file.
void CheckReadable(const std::string& file);

/// Asked when everything is made of \p stations, and before any of it is kept.
/// @throw Application::CInputError as CScanFile::CheckUnchanged() of any of them.
void CheckUnchanged(const std::vector<Application::SStation>& stations);

/// The names of their files.
[[nodiscard]] std::vector<std::string> GetFiles(const std::vector<Application::SStation>& stations);

/// What a camera is fitted to, and what is drawn; the latter keeps views of the stations' flags.
[[nodiscard]] std::vector<Application::CCameraFit::SScan> ToFit(
    const std::vector<Application::SStation>& stations);
[[nodiscard]] std::vector<Application::CPointRenderer::SScan> ToDraw(
    const std::vector<Application::SStation>& stations);

/// Warns when nothing of a scan is left in \p output, which not every format can be read back from.
void WarnOfEmptyOutput(const std::string& output, std::uint64_t numPoints, std::uint64_t numKept,
                       CConsole& console);

/// How many of \p flags have \p bit.
[[nodiscard]] std::uint64_t CountFlagged(std::span<const Base::CSurfelBitMask> flags,
                                         std::uint16_t bit);

/// \p count and \p what, which gets an "s" where the count is not 1.
[[nodiscard]] std::string ToCount(std::uint64_t count, const std::string& what);

}  // namespace CommandLine
