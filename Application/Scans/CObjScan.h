#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Application/Scans/CMemoryScan.h"
#include "Application/Scans/CObjLineReader.h"
#include "Application/Scans/SScanBytes.h"

namespace Application
{

class CKeptRanks;

/// An OBJ file as a mesh: its vertices, and its faces as fans of triangles.
///
/// A vertex takes the normal of the first corner that gives it one; in a file without faces that
/// has as many normals as vertices, they belong together in order. Statements that mean nothing to
/// a scan (groups, materials, texture coordinates) are passed over and kept.
class CObjScan : public CMemoryScan
{
public:
    /// @throw CInputError when a vertex, normal, face, line or point is not valid, or there is no
    /// vertex.
    [[nodiscard]] static std::shared_ptr<const IScanContent> Parse(
        const SScanBytes& bytes, const ProgressCallback& progress);

    [[nodiscard]] SScanDescription Describe() const override;

    /// Leaves out the lines of vertices that are not kept and of faces, lines and points that refer
    /// to one. Normals that belong to the vertices in order go with them. All normals go where no
    /// face is left and they would be as many as the vertices by chance: on reading they would be
    /// taken for the vertices' own. Where normals go, lines and points forget the numbers of
    /// theirs, which nothing uses without faces. Other lines stay as they are but for the vertex
    /// numbers.
    /// @throw CInputError when the file has curves or surfaces, which cannot be cut.
    void WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                   const ProgressCallback& progress) const override;

private:
    /// The normals that stay where vertices are removed.
    enum class KeptNormals
    {
        All,
        OfKeptVertices,
        None,
    };

    struct SCounts
    {
        std::uint64_t vertices = 0;
        std::uint64_t normals = 0;
        std::uint64_t faces = 0;
        std::uint64_t triangles = 0;
    };

    CObjScan(const SScanBytes& bytes, const ProgressCallback& progress);

    void count();
    void read(const ProgressCallback& progress);
    void readCorners(const CObjLineReader& reader, std::uint64_t verticesBefore,
                     std::uint64_t normalsBefore, std::vector<std::uint32_t>& normalNumbers,
                     Triangles& triangles) const;
    [[nodiscard]] bool arePairedInOrder() const;
    [[nodiscard]] KeptNormals chooseNormals(const CKeptRanks& ranks, std::uint64_t keptCount) const;
    [[nodiscard]] bool hasKeptFace(const CKeptRanks& ranks) const;
    [[nodiscard]] bool renumber(const CObjLineReader& reader, const CKeptRanks& ranks,
                                std::uint64_t before, KeptNormals normals, std::string& line) const;

    SScanBytes m_source;
    SCounts m_counts;
};

}  // namespace Application
