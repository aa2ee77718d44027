#pragma once

#include <memory>

#include "Application/Scans/CMemoryScan.h"
#include "Application/Scans/SScanBytes.h"

namespace Application
{

/// Points as text, one per line; see CXyzReader.
class CXyzScan : public CMemoryScan
{
public:
    /// @throw CInputError when a line is no point, or there is none.
    [[nodiscard]] static std::shared_ptr<const IScanContent> Parse(
        const SScanBytes& bytes, const ProgressCallback& progress);

    [[nodiscard]] SScanDescription Describe() const override;
    void WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                   const ProgressCallback& progress) const override;

private:
    CXyzScan(const SScanBytes& bytes, const ProgressCallback& progress);

    SScanBytes m_source;
};

}  // namespace Application
