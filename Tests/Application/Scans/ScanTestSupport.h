#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Application/Scans/CScanFile.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Math/LqVector3f.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace ScanTest
{

using FileTest::CTemporaryFolder;
using FileTest::ReadAll;
using FileTest::WriteAll;

/// A scan from bytes in memory; \p name gives the format.
[[nodiscard]] Application::CScanFile ParseScan(std::string content,
                                               const std::string& name = "scan.ply");

/// The message of the CInputError that parsing throws; empty when it does not.
[[nodiscard]] std::string ParseMessage(const std::string& content,
                                       const std::string& name = "scan.ply");

/// The positions of all surfels, in their own coordinates.
[[nodiscard]] std::vector<LqVector3f> PositionsOf(const Application::CScanFile& scan);
[[nodiscard]] std::vector<LqVector3f> NormalsOf(const Application::CScanFile& scan);

/// What the file holds once the points at \p dropped are cut away.
[[nodiscard]] std::string Cut(const std::string& content, const std::vector<std::size_t>& dropped,
                              const std::string& name = "scan.ply");

/// The number's bytes in the given order.
template <typename T>
[[nodiscard]] std::string Bytes(T value, std::endian order = std::endian::little)
{
    std::string bytes(reinterpret_cast<const char*>(&value), sizeof value);
    return order == std::endian::native ? bytes : std::string(bytes.rbegin(), bytes.rend());
}

}  // namespace ScanTest
