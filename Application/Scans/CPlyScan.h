#pragma once

#include <memory>

#include "Application/Files/CProgress.h"
#include "Application/Scans/IScanContent.h"
#include "Application/Scans/SPlyDocument.h"

namespace Application
{

/// A PLY file: ASCII, binary little or big endian.
///
/// Further elements are kept as they are, with two exceptions: the records of an element with lists
/// of vertex numbers, or with the ends of an edge (see FindVertexReferences()), are kept when all
/// their vertices are; and triangle strips are split where a vertex is missing.
class CPlyScan : public IScanContent
{
public:
    /// @throw CInputError when the bytes are not a valid PLY file with vertices that have x, y, z.
    [[nodiscard]] static std::shared_ptr<const IScanContent> Parse(
        const SScanBytes& bytes, const ProgressCallback& progress);

    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection()
        const override
    {
        return m_collection;
    }
    [[nodiscard]] LqMatrix4Rd GetTransform() const override { return m_transform; }
    [[nodiscard]] bool HasTriangles() const override;
    [[nodiscard]] std::shared_ptr<const Geometry::CTriangulation> GetTriangulation() const override;
    [[nodiscard]] SScanDescription Describe() const override;
    void WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                   const ProgressCallback& progress) const override;
    [[nodiscard]] bool CheckFlaggable() const override;
    void WriteFlagged(CReplacementFile& file, std::span<const Base::CSurfelBitMask> flags,
                      const ProgressCallback& progress) const override;

private:
    CPlyScan(SPlyDocument document, const ProgressCallback& progress);

    [[nodiscard]] SPlyTable checkTable(std::size_t elementIndex, CProgress& progress);

    SPlyDocument m_document;
    /// As many as the lengths of the lists allow.
    std::uint64_t m_mostTriangles = 0;
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
    LqMatrix4Rd m_transform;
    bool m_isInPlace = false;
};

}  // namespace Application
