#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Application
{

/// One kind of record in a scan file, such as the vertices or faces of a PLY file.
struct SScanElement
{
    std::string name;
    std::uint64_t count = 0;
    /// As the file declares them, such as "float x" or "list uchar int vertex_indices".
    std::vector<std::string> properties;
};

/// What a scan file says about itself, for people to read.
struct SScanDescription
{
    /// Such as "PLY, binary little endian".
    std::string format;
    std::vector<SScanElement> elements;
    std::vector<std::string> comments;
    /// Bytes behind the last record. A cut file keeps them.
    std::uint64_t trailingBytes = 0;
    /// The positions are read from the file's own bytes; nothing was copied.
    bool isMappedInPlace = false;
};

}  // namespace Application
