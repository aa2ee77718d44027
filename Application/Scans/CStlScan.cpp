#include "Application/Scans/CStlScan.h"

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/TextTokens.h"
#include "Application/Scans/CKeptPoints.h"
#include "Application/Scans/CStlTextReader.h"
#include "Application/Scans/PlyType.h"
#include "Application/Scans/TVertexWelder.h"

namespace Application
{

namespace
{

constexpr std::size_t c_countOffset = 80;
constexpr std::size_t c_headerSize = 84;
constexpr std::size_t c_recordSize = 50;
constexpr std::size_t c_cornersOffset = 12;
/// Where an ASCII file must have shown that it is one.
constexpr std::size_t c_beginning = 1024;

/// So that 32 bits number all vertices.
constexpr std::uint64_t c_mostTriangles = 0xFFFFFFFE / 3;

constexpr bool c_isSwapped = std::endian::native == std::endian::big;

[[nodiscard]] std::uint64_t LoadCount(std::span<const std::byte> bytes)
{
    return static_cast<std::uint64_t>(
        LoadPlyInteger(bytes.data() + c_countOffset, PlyType::UInt32, c_isSwapped));
}

[[nodiscard]] bool IsBinary(std::span<const std::byte> bytes)
{
    if (bytes.size() >= c_headerSize &&
        bytes.size() - c_headerSize == LoadCount(bytes) * c_recordSize)
    {
        return true;
    }
    const std::string_view beginning = AsText(bytes).substr(0, c_beginning);
    std::string_view rest = beginning;
    const std::string_view word = TakeToken(rest);
    const auto has = [&](std::string_view keyword) {
        return beginning.find(keyword) != std::string_view::npos;
    };
    const bool isText = (word == "solid" || word == "SOLID" || word == "Solid") &&
                        (has("facet") || has("FACET") || has("endsolid") || has("ENDSOLID"));
    return !isText;
}

[[nodiscard]] bool IsKeptTriangle(const std::array<std::uint32_t, 3>& triangle,
                                  const CKeptPoints& kept)
{
    return std::all_of(triangle.begin(), triangle.end(),
                       [&](std::uint32_t corner) { return kept.IsKept(corner); });
}

}  // namespace

std::shared_ptr<const IScanContent> CStlScan::Parse(const SScanBytes& bytes,
                                                    const ProgressCallback& progress)
{
    return std::shared_ptr<const IScanContent>(new CStlScan(bytes, progress));
}

CStlScan::CStlScan(const SScanBytes& bytes, const ProgressCallback& progress)
    : m_source(bytes), m_isBinary(IsBinary(bytes.bytes))
{
    CProgress steps(progress, bytes.bytes.size());
    if (m_isBinary)
    {
        readBinary(steps);
    }
    else
    {
        readText(steps);
    }
}

void CStlScan::readBinary(CProgress& progress)
{
    const std::span<const std::byte> bytes = m_source.bytes;
    if (bytes.size() < c_headerSize)
    {
        throw CInputError::AtByte(
            m_source.path, bytes.size(),
            "expected 'solid' at the start or a binary header of 84 bytes, found the end of the "
            "file");
    }
    const std::uint64_t count = LoadCount(bytes);
    if (count > (bytes.size() - c_headerSize) / c_recordSize)
    {
        throw CInputError::AtByte(m_source.path, c_countOffset,
                                  "expected " + std::to_string(count) +
                                      " triangles of 50 bytes, found " +
                                      std::to_string(bytes.size() - c_headerSize) + " bytes");
    }
    if (count > c_mostTriangles)
    {
        throw CInputError::AtByte(m_source.path, c_countOffset,
                                  "expected at most " + std::to_string(c_mostTriangles) +
                                      " triangles, found " + std::to_string(count));
    }
    TVertexWelder<float> welder;
    Triangles triangles(static_cast<std::size_t>(count));
    const std::byte* record = bytes.data() + c_headerSize;
    for (auto& triangle : triangles)
    {
        const std::byte* number = record + c_cornersOffset;
        for (std::uint32_t& corner : triangle)
        {
            std::array<float, 3> point = {};
            for (float& coordinate : point)
            {
                coordinate = Detail::LoadPlyValue<float>(number, c_isSwapped);
                number += sizeof coordinate;
            }
            corner = welder.Add(point);
        }
        record += c_recordSize;
        progress.Report(static_cast<std::uint64_t>(record - bytes.data()));
    }
    const std::vector<std::array<float, 3>> points = welder.TakePoints();
    Coordinates coordinates(points.size());
    std::transform(points.begin(), points.end(), coordinates.begin(),
                   [](const std::array<float, 3>& point) {
                       return std::array<double, 3>{point[0], point[1], point[2]};
                   });
    setPoints(std::move(coordinates), std::move(triangles), {});
}

void CStlScan::readText(CProgress& progress)
{
    TVertexWelder<double> welder;
    Triangles triangles;
    CStlTextReader reader(m_source.path, AsText(m_source.bytes));
    while (reader.Next())
    {
        const auto& corners = reader.GetCorners();
        const std::uint32_t first = welder.Add(corners[0]);
        const std::uint32_t second = welder.Add(corners[1]);
        triangles.push_back({first, second, welder.Add(corners[2])});
        progress.Report(reader.GetEnd());
    }
    setPoints(welder.TakePoints(), std::move(triangles), {});
}

SScanDescription CStlScan::Describe() const
{
    SScanDescription description;
    description.format = m_isBinary ? "STL, binary" : "STL, ASCII";
    description.elements.push_back({"facet", getTriangles().size(), {}});
    if (m_isBinary)
    {
        description.trailingBytes =
            m_source.bytes.size() - c_headerSize - getTriangles().size() * c_recordSize;
    }
    return description;
}

void CStlScan::WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                         const ProgressCallback& progress) const
{
    CProgress steps(progress, m_source.bytes.size());
    if (m_isBinary)
    {
        writeBinary(file, kept, steps);
    }
    else
    {
        writeText(file, kept, steps);
    }
}

void CStlScan::writeBinary(CReplacementFile& file, const CKeptPoints& kept,
                           CProgress& progress) const
{
    const Triangles& triangles = getTriangles();
    const auto keptCount =
        std::count_if(triangles.begin(), triangles.end(),
                      [&](const auto& triangle) { return IsKeptTriangle(triangle, kept); });
    std::array<std::byte, 4> count = {};
    StorePlyInteger(count.data(), PlyType::UInt32, c_isSwapped, keptCount);
    file.Write(m_source.bytes.first(c_countOffset));
    file.Write(count);
    std::size_t begin = c_headerSize;
    for (const auto& triangle : triangles)
    {
        if (IsKeptTriangle(triangle, kept))
        {
            file.Write(m_source.bytes.subspan(begin, c_recordSize));
        }
        begin += c_recordSize;
        progress.Report(begin);
    }
    file.Write(m_source.bytes.subspan(begin));
}

void CStlScan::writeText(CReplacementFile& file, const CKeptPoints& kept, CProgress& progress) const
{
    const std::string_view text = AsText(m_source.bytes);
    CStlTextReader reader(m_source.path, text);
    std::size_t begin = 0;
    for (std::size_t index = 0; reader.Next(); ++index)
    {
        if (!IsKeptTriangle(getTriangles()[index], kept))
        {
            file.Write(text.substr(begin, reader.GetBegin() - begin));
            begin = reader.GetEnd();
        }
        progress.Report(reader.GetEnd());
    }
    file.Write(text.substr(begin));
}

}  // namespace Application
