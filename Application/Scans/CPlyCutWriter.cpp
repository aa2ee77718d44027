#include "Application/Scans/CPlyCutWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <span>
#include <string>

#include "Application/Files/CReplacementFile.h"
#include "Application/Scans/CStripCutter.h"

namespace Application
{

namespace
{

/// Pieces small enough to report progress between them.
constexpr std::size_t c_pieceSize = std::size_t{8} << 20;

[[nodiscard]] bool IsSigned(PlyType type)
{
    return type == PlyType::Int8 || type == PlyType::Int16 || type == PlyType::Int32;
}

[[nodiscard]] std::int64_t GetLargest(PlyType type)
{
    const int bits = static_cast<int>(8 * GetPlyTypeSize(type));
    return (std::int64_t{1} << (IsSigned(type) ? bits - 1 : bits)) - 1;
}

}  // namespace

CPlyCutWriter::CPlyCutWriter(const SPlyDocument& document, const CKeptPoints& kept)
    : m_document(document), m_kept(kept)
{}

void CPlyCutWriter::Write(CReplacementFile& file, const ProgressCallback& progress)
{
    const std::size_t size = m_document.source.bytes.size();
    m_progress.emplace(progress, size);
    const std::vector<SPlyElement>& elements = m_document.header.GetElements();
    const std::uint64_t vertexCount = m_document.GetVertices().count;
    const std::uint64_t keptCount = m_kept.CountKept(vertexCount);
    if (keptCount == vertexCount)
    {
        copy(file, 0, size);
        return;
    }
    const bool hasReferences = std::any_of(
        elements.begin(), elements.end(),
        [](const SPlyElement& element) { return FindVertexReferences(element).has_value(); });
    if (hasReferences)
    {
        m_ranks.emplace(m_kept);
    }
    std::vector<std::uint64_t> counts;
    for (std::size_t index = 0; index < elements.size(); ++index)
    {
        counts.push_back(index == m_document.vertexElement ? keptCount : countKept(index));
    }
    file.Write(m_document.header.Print(counts));
    for (std::size_t index = 0; index < elements.size(); ++index)
    {
        const std::optional<SPlyReferences> references = FindVertexReferences(elements[index]);
        if (index == m_document.vertexElement)
        {
            writeVertices(file);
        }
        else if (references.has_value())
        {
            writeReferences(file, index, *references);
        }
        else
        {
            copy(file, m_document.tables[index].begin, m_document.tables[index + 1].begin);
        }
    }
    copy(file, m_document.tables.back().begin, size);
}

std::uint64_t CPlyCutWriter::countKept(std::size_t elementIndex)
{
    const SPlyElement& element = m_document.header.GetElements()[elementIndex];
    const std::optional<SPlyReferences> references = FindVertexReferences(element);
    if (!references.has_value() || references->isStrips)
    {
        return element.count;
    }
    std::uint64_t count = 0;
    CPlyRecordReader reader(m_document, elementIndex);
    while (reader.Next())
    {
        count += isKept(reader, *references) ? 1U : 0U;
    }
    return count;
}

void CPlyCutWriter::writeVertices(CReplacementFile& file)
{
    if (m_document.HasFixedRecords(m_document.GetVertices()))
    {
        writeFixedVertices(file);
        return;
    }
    // What lies between the records (blank lines) stays; runs of kept records are written whole.
    CPlyRecordReader reader(m_document, m_document.vertexElement);
    std::size_t begin = reader.GetEnd();
    for (std::uint64_t index = 0; reader.Next(); ++index)
    {
        if (!m_kept.IsKept(index))
        {
            copy(file, begin, reader.GetBegin());
            begin = reader.GetEnd();
        }
        m_progress->Report(reader.GetEnd());
    }
    copy(file, begin, reader.GetEnd());
}

void CPlyCutWriter::writeFixedVertices(CReplacementFile& file)
{
    const std::uint64_t count = m_document.GetVertices().count;
    const std::size_t size = m_document.GetVertices().GetRecordSize();
    const std::size_t begin = m_document.tables[m_document.vertexElement].begin;
    // What is kept whole is written whole, whatever the number of groups.
    std::size_t wholeBegin = begin;
    std::size_t wholeEnd = begin;
    for (std::uint64_t first = 0; first < count; first += CKeptPoints::c_groupSize)
    {
        const std::uint64_t numRecords = std::min(count - first, CKeptPoints::c_groupSize);
        const std::uint64_t kept = m_kept.GetGroup(first / CKeptPoints::c_groupSize);
        const std::size_t groupBegin = wholeEnd;
        wholeEnd += static_cast<std::size_t>(numRecords) * size;
        if (static_cast<std::uint64_t>(std::popcount(kept)) != numRecords)
        {
            copy(file, wholeBegin, groupBegin);
            copyMarked(file, groupBegin, size, kept);
            wholeBegin = wholeEnd;
        }
    }
    copy(file, wholeBegin, wholeEnd);
}

void CPlyCutWriter::writeReferences(CReplacementFile& file, std::size_t elementIndex,
                                    const SPlyReferences& references)
{
    const SPlyElement& element = m_document.header.GetElements()[elementIndex];
    CPlyRecordReader reader(m_document, elementIndex);
    std::size_t end = reader.GetEnd();
    while (reader.Next())
    {
        copy(file, end, reader.GetBegin());
        end = reader.GetEnd();
        if (references.isStrips || isKept(reader, references))
        {
            renumber(reader, element, references);
            file.Write(m_record);
        }
        m_progress->Report(end);
    }
}

bool CPlyCutWriter::isKept(const CPlyRecordReader& reader, const SPlyReferences& references) const
{
    bool isKept = true;
    for (const std::size_t property : references.properties)
    {
        reader.ForEachInteger(property, [&](std::int64_t vertex, std::size_t, std::size_t) {
            isKept = isKept && m_ranks->IsKept(static_cast<std::uint64_t>(vertex));
        });
    }
    return isKept;
}

void CPlyCutWriter::renumber(const CPlyRecordReader& reader, const SPlyElement& element,
                             const SPlyReferences& references)
{
    m_record.clear();
    std::size_t done = reader.GetBegin();
    for (const std::size_t property : references.properties)
    {
        if (references.isStrips)
        {
            appendBytes(done, reader.GetLengthBegin(property));
            done = renumberStrips(reader, element.properties[property], property);
            continue;
        }
        const PlyType type = element.properties[property].type;
        reader.ForEachInteger(property,
                              [&](std::int64_t vertex, std::size_t begin, std::size_t end) {
                                  appendBytes(done, begin);
                                  appendNumber(type, getRank(vertex));
                                  done = end;
                              });
    }
    appendBytes(done, reader.GetEnd());
}

std::size_t CPlyCutWriter::renumberStrips(const CPlyRecordReader& reader,
                                          const SPlyProperty& property, std::size_t index)
{
    std::size_t done = reader.GetLengthEnd(index);
    const auto forEachNew = [&](auto&& emit) {
        const auto isKept = [&](std::int64_t vertex) {
            return m_ranks->IsKept(static_cast<std::uint64_t>(vertex));
        };
        CStripCutter cutter(isKept, emit);
        reader.ForEachInteger(index, [&](std::int64_t vertex, std::size_t, std::size_t end) {
            cutter.Add(vertex);
            done = end;
        });
    };
    std::int64_t length = 0;
    bool hasSeparator = false;
    forEachNew([&](std::int64_t vertex) {
        ++length;
        hasSeparator = hasSeparator || vertex < 0;
    });
    if (hasSeparator && !IsSigned(property.type))
    {
        throw reader.MakeError(
            "expected a signed type for the separators between the parts of triangle strips, "
            "where vertices are removed",
            "'" + PrintPlyProperty(property) + "'");
    }
    if (length > GetLargest(*property.countType))
    {
        throw reader.MakeError(
            "expected triangle strips whose parts, where vertices are removed, "
            "fit into '" +
                PrintPlyProperty(property) + "'",
            std::to_string(length) + " vertex numbers");
    }
    appendNumber(*property.countType, length);
    forEachNew([&](std::int64_t vertex) {
        if (m_document.IsText())
        {
            m_record.push_back(std::byte{' '});
        }
        appendNumber(property.type, vertex < 0 ? vertex : getRank(vertex));
    });
    return done;
}

std::int64_t CPlyCutWriter::getRank(std::int64_t vertex) const
{
    return static_cast<std::int64_t>(m_ranks->GetRank(static_cast<std::uint64_t>(vertex)));
}

void CPlyCutWriter::appendBytes(std::size_t begin, std::size_t end)
{
    const auto bytes = m_document.source.bytes.subspan(begin, end - begin);
    m_record.insert(m_record.end(), bytes.begin(), bytes.end());
}

void CPlyCutWriter::appendNumber(PlyType type, std::int64_t value)
{
    if (m_document.IsText())
    {
        const std::string printed = std::to_string(value);
        const auto bytes = std::as_bytes(std::span(printed));
        m_record.insert(m_record.end(), bytes.begin(), bytes.end());
        return;
    }
    m_record.resize(m_record.size() + GetPlyTypeSize(type));
    StorePlyInteger(m_record.data() + m_record.size() - GetPlyTypeSize(type), type,
                    m_document.IsSwapped(), value);
}

/// Writes those of up to 64 records that have a bit in \p marked.
void CPlyCutWriter::copyMarked(CReplacementFile& file, std::size_t begin, std::size_t recordSize,
                               std::uint64_t marked)
{
    m_progress->Report(begin);
    if (marked == 0)
    {
        return;
    }
    // Every record is copied, in steps of a register's size, and the next one takes the place of
    // one that is not marked: so there is no branch, which nothing could predict.
    constexpr std::size_t c_step = 16;
    const std::span<const std::byte> source = m_document.source.bytes;
    const std::size_t last = 63 - static_cast<std::size_t>(std::countl_zero(marked));
    m_record.resize(CKeptPoints::c_groupSize * recordSize + c_step);
    std::byte* target = m_record.data();
    const std::byte* record = source.data() + begin;
    const bool hasRoom = source.size() - begin >= (last + 1) * recordSize + c_step;
    for (std::size_t index = 0; index <= last; ++index)
    {
        if (hasRoom)
        {
            for (std::size_t offset = 0; offset < recordSize; offset += c_step)
            {
                std::memcpy(target + offset, record + offset, c_step);
            }
        }
        else
        {
            std::memcpy(target, record, recordSize);
        }
        record += recordSize;
        target += (marked >> index & 1U) != 0 ? recordSize : 0;
    }
    file.Write({m_record.data(), target});
}

void CPlyCutWriter::copy(CReplacementFile& file, std::size_t begin, std::size_t end)
{
    while (begin < end)
    {
        const std::size_t size = std::min(end - begin, c_pieceSize);
        file.Write(m_document.source.bytes.subspan(begin, size));
        begin += size;
        m_progress->Report(begin);
    }
}

}  // namespace Application
