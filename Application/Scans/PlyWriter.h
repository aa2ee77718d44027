#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "Base/Math/LqVector3f.h"

namespace Application
{

/// A new scan to be written; views of the caller's arrays.
struct SNewScan
{
    std::span<const LqVector3f> positions;
    /// One per position, or none.
    std::span<const LqVector3f> normals;
    std::span<const std::array<std::uint32_t, 3>> triangles;
    /// One line each.
    std::vector<std::string> comments;
};

/// Writes a scan as a binary little-endian PLY file: vertices with x, y, z and, if there are any,
/// nx, ny, nz as floats; faces as a list of uint "vertex_indices".
///
/// The same scan makes the same bytes on every machine.
/// @throw COutputError when the file exists and not \p force, or cannot be written.
/// @throw std::invalid_argument when there are neither as many normals as positions nor none, a
/// triangle names no position, or a comment has a line end.
void WritePly(const std::filesystem::path& file, const SNewScan& scan, bool force);

}  // namespace Application
