#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Application/Scans/CPlyHeader.h"
#include "Application/Scans/SScanBytes.h"

namespace Application
{

/// Where the records of one element begin.
struct SPlyTable
{
    std::size_t begin = 0;
    /// The line of that byte in an ASCII file, from 1.
    std::uint64_t line = 0;
};

/// The bytes of a PLY file, their header and where its elements lie.
struct SPlyDocument
{
    SScanBytes source;
    CPlyHeader header;
    std::size_t vertexElement = 0;
    /// One per element of the header, and one more for the end of the last.
    std::vector<SPlyTable> tables;

    [[nodiscard]] bool IsText() const { return header.GetFormat() == PlyFormat::Ascii; }

    /// True when binary numbers are not in this machine's byte order.
    [[nodiscard]] bool IsSwapped() const
    {
        return (header.GetFormat() == PlyFormat::BinaryBigEndian) !=
               (std::endian::native == std::endian::big);
    }

    /// True when all records of the element have the same size.
    [[nodiscard]] bool HasFixedRecords(const SPlyElement& element) const
    {
        return !IsText() && !element.HasLists();
    }

    [[nodiscard]] const SPlyElement& GetVertices() const
    {
        return header.GetElements()[vertexElement];
    }
};

/// Which properties of an element hold vertex numbers.
struct SPlyReferences
{
    std::vector<std::size_t> properties;
    /// The list is one of triangle strips, separated by negative numbers.
    bool isStrips = false;
};

/// The vertex numbers of an element: lists named vertex_indices or vertex_index in any element but
/// the vertices, and the numbers vertex1 and vertex2 of the element edge. Empty when it has none.
[[nodiscard]] std::optional<SPlyReferences> FindVertexReferences(const SPlyElement& element);

}  // namespace Application
