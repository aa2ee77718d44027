#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "Application/Files/CProgress.h"
#include "Application/Scans/CCoordinateShift.h"
#include "Application/Scans/CPlyRecordReader.h"
#include "Application/Scans/SPlyDocument.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/LqVector3f.h"

namespace Application
{

/// The vertices of a PLY file as surfels.
class CPlyVertices
{
public:
    /// Finds the properties of positions and normals.
    /// @throw CInputError when x, y or z is missing or a list.
    explicit CPlyVertices(const SPlyDocument& document);

    /// Takes the vertices; the records' place in the document must be known. Returns where the next
    /// element begins.
    /// @throw CInputError when a record is damaged.
    SPlyTable Read(CProgress& progress);

    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection() const
    {
        return m_collection;
    }
    [[nodiscard]] LqMatrix4Rd GetTransform() const { return m_shift.GetTransform(); }

    /// True when the positions are the file's own bytes.
    [[nodiscard]] bool IsInPlace() const { return m_isInPlace; }

private:
    using Triple = std::array<std::size_t, 3>;

    /// Positions and normals that had to be converted from the file's own numbers.
    struct SConverted
    {
        std::vector<LqVector3f> positions;
        std::vector<LqVector3f> normals;
    };

    [[nodiscard]] std::optional<Triple> findTriple(const char* first, const char* second,
                                                   const char* third) const;
    [[nodiscard]] const std::byte* findInPlace(const Triple& properties) const;
    [[nodiscard]] CCoordinateShift::Precision getPrecision() const;
    SPlyTable readFixed(CProgress& progress);
    SPlyTable readRecords(CProgress& progress);
    [[nodiscard]] std::array<double, 3> loadTriple(const Triple& properties,
                                                   const std::byte* record) const;
    void share(SConverted arrays, const std::byte* positions, const std::byte* normals);

    const SPlyDocument& m_document;
    const SPlyElement& m_element;
    Triple m_positions = {};
    std::optional<Triple> m_normals;
    CCoordinateShift m_shift;
    bool m_isInPlace = false;
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
};

}  // namespace Application
