#pragma once

#include <memory>

#include "Application/Scans/CMemoryScan.h"
#include "Application/Scans/SScanBytes.h"

namespace Application
{

/// An STL file, ASCII or binary, as a mesh: corners with the same bits are one vertex, numbered in
/// the order of their first appearance.
///
/// It is binary when its size is the one that the number of triangles asks for, whatever it begins
/// with.
class CStlScan : public CMemoryScan
{
public:
    /// @throw CInputError when the bytes are not a valid STL file.
    [[nodiscard]] static std::shared_ptr<const IScanContent> Parse(
        const SScanBytes& bytes, const ProgressCallback& progress);

    [[nodiscard]] SScanDescription Describe() const override;
    void WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                   const ProgressCallback& progress) const override;

private:
    CStlScan(const SScanBytes& bytes, const ProgressCallback& progress);

    void readBinary(CProgress& progress);
    void readText(CProgress& progress);
    void writeBinary(CReplacementFile& file, const CKeptPoints& kept, CProgress& progress) const;
    void writeText(CReplacementFile& file, const CKeptPoints& kept, CProgress& progress) const;

    SScanBytes m_source;
    bool m_isBinary = false;
};

}  // namespace Application
