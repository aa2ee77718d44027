#pragma once

#include <span>
#include <string>
#include <string_view>

#include "Application/Files/CProgress.h"
#include "Application/Scans/SPlyDocument.h"
#include "Base/Interfaces/CSurfelBitMask.h"

namespace Application
{

class CReplacementFile;

/// Writes a PLY file again with one more property of its vertices, behind the others: their flag
/// words, as "ushort veko2_flags". Everything else stays byte for byte.
class CPlyFlagWriter
{
public:
    static constexpr std::string_view c_propertyName = "veko2_flags";

    /// @throw CInputError when the vertices have a property of that name already.
    static void Check(const SPlyDocument& document);

    /// Both must live. \p document has passed Check(). \p flags has one word per vertex, or none,
    /// which stands for words of 0.
    CPlyFlagWriter(const SPlyDocument& document, std::span<const Base::CSurfelBitMask> flags);

    /// @throw COutputError when the file cannot be written.
    void Write(CReplacementFile& file, const ProgressCallback& progress) const;

private:
    [[nodiscard]] std::string makeHeader() const;
    void writeVertices(CReplacementFile& file, CProgress& progress) const;

    const SPlyDocument& m_document;
    std::span<const Base::CSurfelBitMask> m_flags;
};

}  // namespace Application
