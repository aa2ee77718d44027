#include "Application/Scans/CObjScan.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "Application/Files/CReplacementFile.h"
#include "Application/Files/TextTokens.h"
#include "Application/Scans/CKeptPoints.h"
#include "Application/Scans/CKeptRanks.h"

namespace Application
{

namespace
{

[[nodiscard]] bool HasReferences(ObjStatement statement)
{
    return statement == ObjStatement::Face || statement == ObjStatement::Line ||
           statement == ObjStatement::Point;
}

/// Stands for a vertex without a normal.
constexpr std::uint32_t c_noNormal = std::numeric_limits<std::uint32_t>::max();

}  // namespace

std::shared_ptr<const IScanContent> CObjScan::Parse(const SScanBytes& bytes,
                                                    const ProgressCallback& progress)
{
    return std::shared_ptr<const IScanContent>(new CObjScan(bytes, progress));
}

CObjScan::CObjScan(const SScanBytes& bytes, const ProgressCallback& progress) : m_source(bytes)
{
    count();
    read(progress);
}

void CObjScan::count()
{
    CObjLineReader reader(m_source.path, AsText(m_source.bytes));
    while (reader.Next())
    {
        m_counts.vertices += reader.GetStatement() == ObjStatement::Vertex ? 1U : 0U;
        m_counts.normals += reader.GetStatement() == ObjStatement::Normal ? 1U : 0U;
        if (reader.GetStatement() == ObjStatement::Face)
        {
            std::uint64_t corners = 0;
            std::string_view rest = reader.GetWords();
            while (!TakeObjWord(rest).empty())
            {
                ++corners;
            }
            if (corners < 3)
            {
                throw reader.MakeError("expected at least 3 corners of a face",
                                       std::to_string(corners));
            }
            m_counts.triangles += corners - 2;
            ++m_counts.faces;
        }
    }
    if (m_counts.vertices == 0)
    {
        throw CInputError(m_source.path, "expected lines 'v x y z', found none");
    }
    const std::uint64_t largest = std::max(m_counts.vertices, m_counts.normals);
    if (largest >= c_noNormal)
    {
        throw CInputError(m_source.path,
                          "expected fewer than 4294967295 vertices and normals, found " +
                              std::to_string(largest));
    }
}

void CObjScan::read(const ProgressCallback& progress)
{
    Coordinates coordinates;
    coordinates.reserve(m_counts.vertices);
    std::vector<LqVector3f> fileNormals;
    fileNormals.reserve(m_counts.normals);
    Triangles triangles;
    triangles.reserve(m_counts.triangles);
    // Normals may stand behind the faces that use them: a vertex keeps its normal's number until
    // all are known.
    std::vector<std::uint32_t> normalNumbers(
        m_counts.normals > 0 && m_counts.faces > 0 ? m_counts.vertices : 0, c_noNormal);

    CProgress steps(progress, m_source.bytes.size());
    CObjLineReader reader(m_source.path, AsText(m_source.bytes));
    while (reader.Next())
    {
        if (reader.GetStatement() == ObjStatement::Vertex)
        {
            coordinates.push_back(reader.ReadVector());
        }
        else if (reader.GetStatement() == ObjStatement::Normal)
        {
            fileNormals.push_back(CCoordinateShift::ConvertNormal(reader.ReadVector()));
        }
        else if (HasReferences(reader.GetStatement()))
        {
            readCorners(reader, coordinates.size(), fileNormals.size(), normalNumbers, triangles);
        }
        steps.Report(reader.GetEnd());
    }
    std::vector<LqVector3f> normals;
    if (arePairedInOrder())
    {
        normals = std::move(fileNormals);
    }
    else
    {
        normals.reserve(normalNumbers.size());
        for (const std::uint32_t number : normalNumbers)
        {
            normals.push_back(number == c_noNormal ? LqVector3f{} : fileNormals[number]);
        }
    }
    setPoints(std::move(coordinates), std::move(triangles), std::move(normals));
}

void CObjScan::readCorners(const CObjLineReader& reader, std::uint64_t verticesBefore,
                           std::uint64_t normalsBefore, std::vector<std::uint32_t>& normalNumbers,
                           Triangles& triangles) const
{
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::uint64_t index = 0;
    std::string_view rest = reader.GetWords();
    for (std::string_view word = TakeObjWord(rest); !word.empty(); word = TakeObjWord(rest))
    {
        const SObjCorner corner = SplitObjCorner(word);
        const auto vertex = static_cast<std::uint32_t>(
            reader.Resolve(corner.vertex, verticesBefore, m_counts.vertices, "vertex"));
        if (!corner.normal.empty())
        {
            const std::uint64_t normal =
                reader.Resolve(corner.normal, normalsBefore, m_counts.normals, "normal");
            if (!normalNumbers.empty() && normalNumbers[vertex] == c_noNormal)
            {
                normalNumbers[vertex] = static_cast<std::uint32_t>(normal);
            }
        }
        if (reader.GetStatement() == ObjStatement::Face && index >= 2)
        {
            triangles.push_back({first, last, vertex});
        }
        first = index == 0 ? vertex : first;
        last = vertex;
        ++index;
    }
}

bool CObjScan::arePairedInOrder() const
{
    return m_counts.faces == 0 && m_counts.normals == m_counts.vertices;
}

SScanDescription CObjScan::Describe() const
{
    SScanDescription description;
    description.format = "OBJ";
    description.elements = {
        {"v", m_counts.vertices, {}}, {"vn", m_counts.normals, {}}, {"f", m_counts.faces, {}}};
    return description;
}

void CObjScan::WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                         const ProgressCallback& progress) const
{
    const std::string_view text = AsText(m_source.bytes);
    const std::uint64_t keptCount = kept.CountKept(m_counts.vertices);
    if (keptCount == m_counts.vertices)
    {
        file.Write(text);
        return;
    }
    const CKeptRanks ranks(kept);
    const KeptNormals normals = chooseNormals(ranks, keptCount);
    CProgress steps(progress, text.size());
    CObjLineReader reader(m_source.path, text);
    std::uint64_t before = 0;
    std::uint64_t normalsBefore = 0;
    std::string line;
    while (reader.Next())
    {
        steps.Report(reader.GetEnd());
        const ObjStatement statement = reader.GetStatement();
        const std::string_view raw =
            text.substr(reader.GetBegin(), reader.GetEnd() - reader.GetBegin());
        if (statement == ObjStatement::FreeForm)
        {
            throw reader.MakeError("expected vertices and polygons only, to cut them",
                                   raw.substr(0, raw.find_last_not_of("\r\n") + 1));
        }
        if (HasReferences(statement))
        {
            if (renumber(reader, ranks, before, normals, line))
            {
                file.Write(line);
            }
            continue;
        }
        bool isKept = true;
        if (statement == ObjStatement::Vertex)
        {
            isKept = ranks.IsKept(before++);
        }
        else if (statement == ObjStatement::Normal && normals != KeptNormals::All)
        {
            isKept = normals == KeptNormals::OfKeptVertices && ranks.IsKept(normalsBefore++);
        }
        if (isKept)
        {
            file.Write(raw);
        }
    }
}

CObjScan::KeptNormals CObjScan::chooseNormals(const CKeptRanks& ranks,
                                              std::uint64_t keptCount) const
{
    if (arePairedInOrder())
    {
        return KeptNormals::OfKeptVertices;
    }
    const bool isPairedByChance = m_counts.normals == keptCount && !hasKeptFace(ranks);
    return isPairedByChance ? KeptNormals::None : KeptNormals::All;
}

bool CObjScan::hasKeptFace(const CKeptRanks& ranks) const
{
    CObjLineReader reader(m_source.path, AsText(m_source.bytes));
    std::uint64_t before = 0;
    std::string line;
    while (reader.Next())
    {
        before += reader.GetStatement() == ObjStatement::Vertex ? 1U : 0U;
        if (reader.GetStatement() == ObjStatement::Face &&
            renumber(reader, ranks, before, KeptNormals::All, line))
        {
            return true;
        }
    }
    return false;
}

bool CObjScan::renumber(const CObjLineReader& reader, const CKeptRanks& ranks, std::uint64_t before,
                        KeptNormals normals, std::string& line) const
{
    const std::string_view text = AsText(m_source.bytes);
    line.clear();
    std::size_t done = reader.GetBegin();
    const std::uint64_t newBefore =
        before < m_counts.vertices ? ranks.GetRank(before)
                                   : ranks.GetRank(before - 1) + (ranks.IsKept(before - 1) ? 1 : 0);
    std::string_view rest = reader.GetWords();
    for (std::string_view word = TakeObjWord(rest); !word.empty(); word = TakeObjWord(rest))
    {
        const SObjCorner corner = SplitObjCorner(word);
        const std::string_view number = corner.vertex;
        const std::uint64_t vertex = reader.Resolve(number, before, m_counts.vertices, "vertex");
        if (!ranks.IsKept(vertex))
        {
            return false;
        }
        const std::size_t begin = static_cast<std::size_t>(number.data() - text.data());
        line += text.substr(done, begin - done);
        const std::uint64_t rank = ranks.GetRank(vertex);
        const bool isRelative = number.front() == '-';
        line.append(isRelative ? "-" : "");
        line.append(std::to_string(isRelative ? newBefore - rank : rank + 1));
        done = begin + number.size();
        if (normals != KeptNormals::All && !corner.normal.empty())
        {
            const auto normalBegin = static_cast<std::size_t>(corner.normal.data() - text.data());
            // "//" or "/vt/"
            const std::string_view between = text.substr(done, normalBegin - done);
            line += between.substr(0, between.find_last_not_of('/') + 1);
            done = normalBegin + corner.normal.size();
        }
    }
    line += text.substr(done, reader.GetEnd() - done);
    return true;
}

}  // namespace Application
