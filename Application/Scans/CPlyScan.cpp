#include "Application/Scans/CPlyScan.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Scans/CPlyCutWriter.h"
#include "Application/Scans/CPlyFlagWriter.h"
#include "Application/Scans/CPlyRecordReader.h"
#include "Application/Scans/CPlyVertices.h"
#include "DataLayer/Base3D/CTriangulation.h"

namespace Application
{

namespace
{

/// Checks that the properties of vertex numbers are whole numbers.
void ExpectIntegerTypes(const SPlyDocument& document, const SPlyElement& element,
                        const SPlyReferences& references)
{
    for (const std::size_t index : references.properties)
    {
        if (!IsIntegerType(element.properties[index].type))
        {
            throw CInputError(document.source.path,
                              "expected an integer type for vertex numbers, "
                              "found '" +
                                  PrintPlyProperty(element.properties[index]) + "' in element '" +
                                  element.name + "'");
        }
    }
}

/// Makes triangles of the corners of a face, or of strips.
class CTriangleCollector
{
public:
    explicit CTriangleCollector(std::vector<std::array<std::uint32_t, 3>>& triangles)
        : m_triangles(triangles)
    {}

    void BeginRecord() { m_count = 0; }

    void AddFaceCorner(std::int64_t vertex)
    {
        const auto corner = static_cast<std::uint32_t>(vertex);
        if (m_count >= 2)
        {
            m_triangles.push_back({m_first, m_last, corner});
        }
        m_first = m_count == 0 ? corner : m_first;
        m_last = corner;
        ++m_count;
    }

    void AddStripCorner(std::int64_t vertex)
    {
        if (vertex < 0)
        {
            m_count = 0;
            return;
        }
        const auto corner = static_cast<std::uint32_t>(vertex);
        const bool isProper = m_first != m_last && m_last != corner && m_first != corner;
        if (m_count >= 2 && isProper)
        {
            m_triangles.push_back(m_count % 2 == 0
                                      ? std::array<std::uint32_t, 3>{m_first, m_last, corner}
                                      : std::array<std::uint32_t, 3>{m_last, m_first, corner});
        }
        m_first = m_last;
        m_last = corner;
        ++m_count;
    }

private:
    std::vector<std::array<std::uint32_t, 3>>& m_triangles;
    std::uint32_t m_first = 0;
    std::uint32_t m_last = 0;
    std::uint64_t m_count = 0;
};

/// True for elements whose vertex numbers are the corners of surfaces.
[[nodiscard]] bool IsSurface(const SPlyElement& element)
{
    return (element.name == "face" || element.name == "tristrips") && element.count > 0 &&
           FindVertexReferences(element).has_value();
}

/// Refuses triangles that take more than ten times the room of their faces in the file, unless they
/// are few. Only faces of many corners of one byte each come to that, where one more corner makes
/// one more triangle of 12 bytes: far more triangles than the mesh's 256 vertices have a use for.
void ExpectModestTriangles(const SPlyDocument& document, std::uint64_t numTriangles)
{
    constexpr std::uint64_t c_always = std::uint64_t{8} << 20;
    std::uint64_t numBytes = 0;
    const std::vector<SPlyElement>& elements = document.header.GetElements();
    for (std::size_t index = 0; index < elements.size(); ++index)
    {
        numBytes += IsSurface(elements[index])
                        ? document.tables[index + 1].begin - document.tables[index].begin
                        : 0;
    }
    const std::uint64_t most = (c_always + 10 * numBytes) / sizeof(std::array<std::uint32_t, 3>);
    if (numTriangles > most)
    {
        throw CInputError(document.source.path, "expected at most " + std::to_string(most) +
                                                    " triangles in faces of " +
                                                    std::to_string(numBytes) + " bytes, found " +
                                                    std::to_string(numTriangles));
    }
}

}  // namespace

std::shared_ptr<const IScanContent> CPlyScan::Parse(const SScanBytes& bytes,
                                                    const ProgressCallback& progress)
{
    const std::string_view text = AsText(bytes.bytes);
    CPlyHeader header = CPlyHeader::Parse(bytes.path, text);
    const std::optional<std::size_t> vertexElement = header.FindElement("vertex");
    if (!vertexElement.has_value())
    {
        throw CInputError(bytes.path, "expected an element 'vertex', found none");
    }
    const SPlyTable first = {header.GetSize(), header.GetLineCount() + 1};
    return std::shared_ptr<const IScanContent>(
        new CPlyScan(SPlyDocument{bytes, std::move(header), *vertexElement, {first}}, progress));
}

CPlyScan::CPlyScan(SPlyDocument document, const ProgressCallback& progress)
    : m_document(std::move(document))
{
    CPlyVertices vertices(m_document);
    CProgress steps(progress, m_document.source.bytes.size());
    const std::size_t elementCount = m_document.header.GetElements().size();
    m_document.tables.reserve(elementCount + 1);
    for (std::size_t index = 0; index < elementCount; ++index)
    {
        m_document.tables.push_back(index == m_document.vertexElement ? vertices.Read(steps)
                                                                      : checkTable(index, steps));
    }
    m_collection = vertices.GetSurfelCollection();
    m_transform = vertices.GetTransform();
    m_isInPlace = vertices.IsInPlace();
}

SPlyTable CPlyScan::checkTable(std::size_t elementIndex, CProgress& progress)
{
    const SPlyElement& element = m_document.header.GetElements()[elementIndex];
    const std::optional<SPlyReferences> references = FindVertexReferences(element);
    CPlyRecordReader reader(m_document, elementIndex);
    if (m_document.HasFixedRecords(element) && !references.has_value())
    {
        const std::size_t size =
            element.properties.empty()
                ? 0
                : static_cast<std::size_t>(element.count) * element.GetRecordSize();
        return {m_document.tables[elementIndex].begin + size, 0};
    }
    if (references.has_value())
    {
        ExpectIntegerTypes(m_document, element, *references);
    }
    const auto vertexCount = static_cast<std::int64_t>(m_document.GetVertices().count);
    const bool hasCorners = IsSurface(element);
    while (reader.Next())
    {
        progress.Report(reader.GetEnd());
        if (!references.has_value())
        {
            continue;
        }
        if (hasCorners)
        {
            const std::uint64_t numCorners = reader.GetLength(references->properties.front());
            m_mostTriangles += numCorners > 2 ? numCorners - 2 : 0;
        }
        for (const std::size_t property : references->properties)
        {
            reader.ForEachInteger(property, [&](std::int64_t vertex, std::size_t, std::size_t) {
                if (vertex >= vertexCount || (vertex < 0 && !references->isStrips))
                {
                    throw reader.MakeError("expected a vertex number below " +
                                               std::to_string(vertexCount) + " in element '" +
                                               element.name + "'",
                                           std::to_string(vertex));
                }
            });
        }
    }
    return reader.GetEndOfTable();
}

bool CPlyScan::HasTriangles() const
{
    const std::vector<SPlyElement>& elements = m_document.header.GetElements();
    return std::any_of(elements.begin(), elements.end(), IsSurface);
}

std::shared_ptr<const Geometry::CTriangulation> CPlyScan::GetTriangulation() const
{
    if (!HasTriangles())
    {
        return nullptr;
    }
    const std::uint64_t count = m_collection->GetCount();
    if (count > std::numeric_limits<std::uint32_t>::max())
    {
        throw CInputError(
            m_document.source.path,
            "expected at most 4294967295 vertices of a mesh, found " + std::to_string(count));
    }
    ExpectModestTriangles(m_document, m_mostTriangles);
    auto triangulation = std::make_shared<Geometry::CTriangulation>();
    const auto& positions = m_collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    triangulation->vertices.reserve(count);
    for (std::uint64_t index = 0; index < count; ++index)
    {
        triangulation->vertices.push_back(positions.At(index));
    }
    // At once: where corners are single bytes, growing would take far more room than the file.
    triangulation->triangles.reserve(m_mostTriangles);
    CTriangleCollector collector(triangulation->triangles);
    const std::vector<SPlyElement>& elements = m_document.header.GetElements();
    for (std::size_t index = 0; index < elements.size(); ++index)
    {
        if (!IsSurface(elements[index]))
        {
            continue;
        }
        const SPlyReferences references = *FindVertexReferences(elements[index]);
        CPlyRecordReader reader(m_document, index);
        while (reader.Next())
        {
            collector.BeginRecord();
            reader.ForEachInteger(references.properties.front(),
                                  [&](std::int64_t vertex, std::size_t, std::size_t) {
                                      references.isStrips ? collector.AddStripCorner(vertex)
                                                          : collector.AddFaceCorner(vertex);
                                  });
        }
    }
    return triangulation;
}

SScanDescription CPlyScan::Describe() const
{
    SScanDescription description;
    switch (m_document.header.GetFormat())
    {
        case PlyFormat::Ascii:
            description.format = "PLY, ASCII";
            break;
        case PlyFormat::BinaryLittleEndian:
            description.format = "PLY, binary little endian";
            break;
        case PlyFormat::BinaryBigEndian:
            description.format = "PLY, binary big endian";
            break;
    }
    for (const SPlyElement& element : m_document.header.GetElements())
    {
        SScanElement& described = description.elements.emplace_back();
        described.name = element.name;
        described.count = element.count;
        for (const SPlyProperty& property : element.properties)
        {
            described.properties.push_back(PrintPlyProperty(property));
        }
    }
    description.comments = m_document.header.GetComments();
    description.trailingBytes = m_document.source.bytes.size() - m_document.tables.back().begin;
    description.isMappedInPlace = m_isInPlace;
    return description;
}

void CPlyScan::WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                         const ProgressCallback& progress) const
{
    CPlyCutWriter(m_document, kept).Write(file, progress);
}

bool CPlyScan::CheckFlaggable() const
{
    CPlyFlagWriter::Check(m_document);
    return true;
}

void CPlyScan::WriteFlagged(CReplacementFile& file, std::span<const Base::CSurfelBitMask> flags,
                            const ProgressCallback& progress) const
{
    CPlyFlagWriter(m_document, flags).Write(file, progress);
}

}  // namespace Application
