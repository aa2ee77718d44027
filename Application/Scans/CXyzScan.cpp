#include "Application/Scans/CXyzScan.h"

#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/TextTokens.h"
#include "Application/Scans/CKeptPoints.h"
#include "Application/Scans/CXyzReader.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

std::shared_ptr<const IScanContent> CXyzScan::Parse(const SScanBytes& bytes,
                                                    const ProgressCallback& progress)
{
    return std::shared_ptr<const IScanContent>(new CXyzScan(bytes, progress));
}

CXyzScan::CXyzScan(const SScanBytes& bytes, const ProgressCallback& progress) : m_source(bytes)
{
    const std::string_view text = AsText(bytes.bytes);
    std::size_t count = 0;
    for (CXyzReader counted(bytes.path, text); counted.Next();)
    {
        ++count;
    }
    if (count == 0)
    {
        throw CInputError(bytes.path, "expected lines that begin with x, y and z, found none");
    }
    Coordinates coordinates;
    coordinates.reserve(count);
    CProgress steps(progress, text.size());
    CXyzReader reader(bytes.path, text);
    while (reader.Next())
    {
        coordinates.push_back(reader.ReadPoint());
        steps.Report(reader.GetEnd());
    }
    setPoints(std::move(coordinates), {}, {});
}

SScanDescription CXyzScan::Describe() const
{
    SScanDescription description;
    description.format = "XYZ text";
    description.elements.push_back({"point", GetSurfelCollection()->GetCount(), {"x", "y", "z"}});
    return description;
}

void CXyzScan::WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                         const ProgressCallback& progress) const
{
    const std::string_view text = AsText(m_source.bytes);
    CProgress steps(progress, text.size());
    CXyzReader reader(m_source.path, text);
    std::size_t begin = 0;
    for (std::uint64_t index = 0; reader.Next(); ++index)
    {
        if (!kept.IsKept(index))
        {
            file.Write(text.substr(begin, reader.GetBegin() - begin));
            begin = reader.GetEnd();
        }
        steps.Report(reader.GetEnd());
    }
    file.Write(text.substr(begin));
}

}  // namespace Application
