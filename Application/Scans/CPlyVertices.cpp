#include "Application/Scans/CPlyVertices.h"

#include <algorithm>
#include <utility>

#include "Application/Files/CInputError.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace Application
{

CPlyVertices::CPlyVertices(const SPlyDocument& document)
    : m_document(document), m_element(document.GetVertices())
{
    const std::optional<Triple> positions = findTriple("x", "y", "z");
    if (!positions.has_value())
    {
        throw CInputError(document.source.path,
                          "expected the number properties 'x', 'y' and 'z' of element 'vertex', "
                          "found no such three");
    }
    m_positions = *positions;
    m_normals = findTriple("nx", "ny", "nz");
    if (!m_normals.has_value())
    {
        m_normals = findTriple("normal_x", "normal_y", "normal_z");
    }
}

std::optional<CPlyVertices::Triple> CPlyVertices::findTriple(const char* first, const char* second,
                                                             const char* third) const
{
    Triple triple = {};
    std::size_t axis = 0;
    for (const char* const name : {first, second, third})
    {
        const std::optional<std::size_t> property = m_element.FindProperty(name);
        if (!property.has_value() || m_element.properties[*property].IsList())
        {
            return std::nullopt;
        }
        triple[axis++] = *property;
    }
    return triple;
}

const std::byte* CPlyVertices::findInPlace(const Triple& properties) const
{
    const auto isFloat = [&](std::size_t property) {
        return m_element.properties[property].type == PlyType::Float32;
    };
    const bool isInPlace = !m_document.IsSwapped() && properties[1] == properties[0] + 1 &&
                           properties[2] == properties[1] + 1 &&
                           std::all_of(properties.begin(), properties.end(), isFloat);
    return isInPlace ? m_document.source.bytes.data() +
                           m_document.tables[m_document.vertexElement].begin +
                           m_element.GetPropertyOffset(properties[0])
                     : nullptr;
}

CCoordinateShift::Precision CPlyVertices::getPrecision() const
{
    const auto isFloat = [&](std::size_t property) {
        return m_element.properties[property].type == PlyType::Float32;
    };
    return std::all_of(m_positions.begin(), m_positions.end(), isFloat)
               ? CCoordinateShift::Precision::Text
               : CCoordinateShift::Precision::Double;
}

SPlyTable CPlyVertices::Read(CProgress& progress)
{
    return m_document.HasFixedRecords(m_element) ? readFixed(progress) : readRecords(progress);
}

SPlyTable CPlyVertices::readFixed(CProgress& progress)
{
    // Made for its check that the file has all records.
    [[maybe_unused]] const CPlyRecordReader checked(m_document, m_document.vertexElement);
    const std::size_t begin = m_document.tables[m_document.vertexElement].begin;
    const std::size_t size = m_element.GetRecordSize();
    const std::uint64_t count = m_element.count;
    const std::byte* const records = m_document.source.bytes.data() + begin;

    const std::byte* const positions = findInPlace(m_positions);
    const std::byte* const normals = m_normals.has_value() ? findInPlace(*m_normals) : nullptr;
    SConverted arrays;
    if (positions == nullptr)
    {
        for (std::uint64_t index = 0; index < count; ++index)
        {
            const auto [x, y, z] = loadTriple(m_positions, records + index * size);
            m_shift.Extend(x, y, z);
            progress.Report(begin + index * size / 2);
        }
        m_shift.Choose(getPrecision());
        arrays.positions.reserve(count);
        for (std::uint64_t index = 0; index < count; ++index)
        {
            const auto [x, y, z] = loadTriple(m_positions, records + index * size);
            arrays.positions.push_back(m_shift.Apply(x, y, z));
            progress.Report(begin + (count + index) * size / 2);
        }
    }
    if (m_normals.has_value() && normals == nullptr)
    {
        arrays.normals.reserve(count);
        for (std::uint64_t index = 0; index < count; ++index)
        {
            arrays.normals.push_back(
                CCoordinateShift::ConvertNormal(loadTriple(*m_normals, records + index * size)));
        }
    }
    share(std::move(arrays), positions, normals);
    return {begin + static_cast<std::size_t>(count) * size, 0};
}

std::array<double, 3> CPlyVertices::loadTriple(const Triple& properties,
                                               const std::byte* record) const
{
    std::array<double, 3> triple = {};
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        triple[axis] =
            LoadPlyReal(record + m_element.GetPropertyOffset(properties[axis]),
                        m_element.properties[properties[axis]].type, m_document.IsSwapped());
    }
    return triple;
}

SPlyTable CPlyVertices::readRecords(CProgress& progress)
{
    CPlyRecordReader reader(m_document, m_document.vertexElement);
    std::vector<std::array<double, 3>> coordinates;
    coordinates.reserve(m_element.count);
    SConverted arrays;
    arrays.normals.reserve(m_normals.has_value() ? m_element.count : 0);
    while (reader.Next())
    {
        const auto read = [&](const Triple& triple) {
            return std::array<double, 3>{reader.ReadReal(triple[0]), reader.ReadReal(triple[1]),
                                         reader.ReadReal(triple[2])};
        };
        const auto& [x, y, z] = coordinates.emplace_back(read(m_positions));
        m_shift.Extend(x, y, z);
        if (m_normals.has_value())
        {
            arrays.normals.push_back(CCoordinateShift::ConvertNormal(read(*m_normals)));
        }
        progress.Report(reader.GetEnd());
    }
    m_shift.Choose(getPrecision());
    arrays.positions.reserve(coordinates.size());
    for (const auto& [x, y, z] : coordinates)
    {
        arrays.positions.push_back(m_shift.Apply(x, y, z));
    }
    share(std::move(arrays), nullptr, nullptr);
    return reader.GetEndOfTable();
}

void CPlyVertices::share(SConverted arrays, const std::byte* positions, const std::byte* normals)
{
    // Keeps alive what the collection reads: the file's bytes, converted arrays, or some of each.
    struct SOwner
    {
        SConverted arrays;
        std::shared_ptr<const void> source;
    };
    const auto owner =
        std::make_shared<const SOwner>(SOwner{std::move(arrays), m_document.source.owner});
    const std::size_t recordSize = m_element.GetRecordSize();
    const std::size_t packed = sizeof(LqVector3f);
    m_isInPlace = positions != nullptr;
    const void* const firstPosition =
        m_isInPlace ? static_cast<const void*>(positions) : owner->arrays.positions.data();
    const void* firstNormal = normals;
    if (m_normals.has_value() && normals == nullptr)
    {
        firstNormal = owner->arrays.normals.data();
    }
    m_collection = std::make_shared<const DataLayer::CSurfelCollectionView>(
        owner, m_element.count, firstPosition, m_isInPlace ? recordSize : packed, firstNormal,
        normals != nullptr ? recordSize : packed);
}

}  // namespace Application
