#include "Apps/CommandLine/CInfoCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <memory>

#include "Application/Scans/CScanFile.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/StepProgress.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Support/ParallelFor.h"

namespace CommandLine
{

namespace
{

using Application::CScanFile;
using nlohmann::ordered_json;

constexpr std::uint64_t c_pointsPerBlock = 65536;

std::uint64_t CountNotFinite(const Base::ISurfelCollection& surfels)
{
    const std::uint64_t count = surfels.GetCount();
    const auto& positions = surfels.GetReadAccessor<Base::CSCElementDefinitionPosition>();
    std::atomic<std::uint64_t> total = 0;
    const auto numBlocks =
        static_cast<std::uint32_t>((count + c_pointsPerBlock - 1) / c_pointsPerBlock);
    Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
        const std::uint64_t begin = block * c_pointsPerBlock;
        const std::uint64_t end = std::min(begin + c_pointsPerBlock, count);
        std::uint64_t number = 0;
        for (std::uint64_t index = begin; index < end; ++index)
        {
            const LqVector3f position = positions.At(index);
            number +=
                std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z)
                    ? 0
                    : 1;
        }
        total.fetch_add(number, std::memory_order_relaxed);
    });
    return total.load();
}

/// The corners in file coordinates; null for a scan without a finite point.
ordered_json DescribeBounds(const CScanFile& scan)
{
    const auto surfels = scan.GetSurfelCollection();
    const Geometry::CBox3D box = surfels->GetPointCloudSupport()->GetBoundingBox().box;
    if (box.IsEmpty())
    {
        return nullptr;
    }
    const LqMatrix4Rd trafo = scan.GetTransform();
    const auto corner = [&](const LqVector3f& point) {
        return ordered_json{point.x + trafo(3, 0), point.y + trafo(3, 1), point.z + trafo(3, 2)};
    };
    return {{"min", corner(box.min)}, {"max", corner(box.max)}};
}

ordered_json Describe(const CScanFile& scan)
{
    const auto surfels = scan.GetSurfelCollection();
    const Application::SScanDescription description = scan.Describe();
    const LqMatrix4Rd trafo = scan.GetTransform();
    ordered_json elements = ordered_json::array();
    for (const Application::SScanElement& element : description.elements)
    {
        elements.push_back(
            {{"name", element.name}, {"count", element.count}, {"properties", element.properties}});
    }
    return {{"file", scan.GetPath().string()},
            {"format", description.format},
            {"points", scan.GetPointCount()},
            {"pointsWithoutPosition", CountNotFinite(*surfels)},
            {"hasNormals", surfels->HasNormals()},
            {"hasTriangles", scan.HasTriangles()},
            {"bounds", DescribeBounds(scan)},
            {"offset", {trafo(3, 0), trafo(3, 1), trafo(3, 2)}},
            {"mappedInPlace", description.isMappedInPlace},
            {"elements", std::move(elements)},
            {"comments", description.comments},
            {"trailingBytes", description.trailingBytes}};
}

std::string PrintVector(const ordered_json& vector)
{
    std::string text;
    for (const ordered_json& value : vector)
    {
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, value.get<double>(),
                                       std::chars_format::general, 10);
        text += (text.empty() ? "" : " ") + std::string(digits, end.ptr);
    }
    return text;
}

std::string ToLine(const std::string& name, const std::string& value)
{
    std::string line = "  " + name;
    line.resize(std::max<std::size_t>(line.size() + 1, 14), ' ');
    return line + value + '\n';
}

std::string DescribeElement(const ordered_json& element)
{
    std::string text = std::to_string(element["count"].get<std::uint64_t>());
    bool isFirst = true;
    for (const ordered_json& property : element["properties"])
    {
        text += (isFirst ? " x " : ", ") + property.get<std::string>();
        isFirst = false;
    }
    return text;
}

/// The scan's document for people.
std::string ToPlainText(const ordered_json& scan)
{
    std::string text = scan["file"].get<std::string>() + '\n';
    text += ToLine("format", scan["format"]);
    const auto numNotFinite = scan["pointsWithoutPosition"].get<std::uint64_t>();
    text += ToLine("points", std::to_string(scan["points"].get<std::uint64_t>()) +
                                 (numNotFinite > 0 ? " (" + std::to_string(numNotFinite) +
                                                         " without a finite position)"
                                                   : ""));
    text += ToLine("normals", scan["hasNormals"] ? "yes" : "no");
    text += ToLine("triangles", scan["hasTriangles"] ? "yes" : "no");
    if (!scan["bounds"].is_null())
    {
        text += ToLine("from", PrintVector(scan["bounds"]["min"]));
        text += ToLine("to", PrintVector(scan["bounds"]["max"]));
    }
    for (const ordered_json& element : scan["elements"])
    {
        text += ToLine(element["name"], DescribeElement(element));
    }
    for (const ordered_json& comment : scan["comments"])
    {
        text += ToLine("comment", comment);
    }
    return text;
}

}  // namespace

std::string CInfoCommand::GetName() const
{
    return "info";
}

std::string CInfoCommand::GetDescription() const
{
    return "Say what scan files hold.";
}

void CInfoCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(
        std::vector<std::string>{"veko2 info scan.ply", "veko2 info left.ply right.ply --json"}));
    command.add_option("SCAN", m_scans, "Scans: PLY, OBJ, STL or XYZ text.")->required();
}

SReport CInfoCommand::Run(CConsole& console)
{
    SReport report;
    ordered_json scans = ordered_json::array();
    for (const std::string& file : m_scans)
    {
        const CScanFile scan = CScanFile::Open(file, MakeStepProgress(console, "Reading"));
        scans.push_back(Describe(scan));
        scan.CheckUnchanged();
        report.text += ToPlainText(scans.back());
    }
    report.document = {{"command", "info"}, {"scans", std::move(scans)}};
    return report;
}

}  // namespace CommandLine
