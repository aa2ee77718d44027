#include "Apps/CommandLine/CDemoCommand.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <vector>

#include "Application/Demo/CDemoScene.h"
#include "Application/Files/CInputError.h"
#include "Application/Projects/TransformList.h"
#include "Application/Scans/PlyWriter.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CNewFolder.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/ValueParsing.h"
#include "Base/Math/PointTransform.h"

namespace CommandLine
{

namespace
{

using Application::CDemoScene;

/// Points and normals of all stations in the common coordinates.
struct SMergedScan
{
    std::vector<LqVector3f> positions;
    std::vector<LqVector3f> normals;
};

LqVector3f Rotate(const LqMatrix4Rd& trafo, const LqVector3f& normal)
{
    // A station's transform has no scale, so that it turns normals like points.
    const auto turned = TransformHomogeneous<double>(trafo, normal.x, normal.y, normal.z);
    return {static_cast<float>(turned.x - trafo(3, 0)), static_cast<float>(turned.y - trafo(3, 1)),
            static_cast<float>(turned.z - trafo(3, 2))};
}

SMergedScan Merge(const std::vector<CDemoScene::SScan>& scans)
{
    SMergedScan merged;
    for (const CDemoScene::SScan& scan : scans)
    {
        for (const LqVector3f& position : scan.positions)
        {
            const auto moved =
                TransformHomogeneous<double>(scan.trafo, position.x, position.y, position.z);
            merged.positions.push_back({static_cast<float>(moved.x), static_cast<float>(moved.y),
                                        static_cast<float>(moved.z)});
        }
        for (const LqVector3f& normal : scan.normals)
        {
            merged.normals.push_back(Rotate(scan.trafo, normal));
        }
    }
    return merged;
}

/// The list of the scans' transforms, to stand in \p file.
std::string ToText(const std::vector<CDemoScene::SScan>& scans, const std::string& file)
{
    std::vector<Application::SListedTransform> list;
    for (const CDemoScene::SScan& scan : scans)
    {
        list.push_back({scan.name + ".ply", scan.trafo});
    }
    return "# scan, then the 16 numbers of the transform into the common frame "
           "(row vectors; translation at 12, 13, 14)\n" +
           Application::PrintTransformList(list, file);
}

/// What is wrong with the settings was said on the command line.
CDemoScene MakeScene(const CDemoScene::SSettings& settings)
{
    try
    {
        return CDemoScene(settings);
    }
    catch (const Application::CInputError& error)
    {
        throw CUsageError(error.what());
    }
}

}  // namespace

std::string CDemoCommand::GetName() const
{
    return "demo";
}

std::string CDemoCommand::GetDescription() const
{
    return "Make scans of a teapot on a turntable to try the other commands on.";
}

void CDemoCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(std::vector<std::string>{
        "veko2 demo --output demo", "veko2 demo --output large --points 10000000"}));
    command.add_option("-o,--output", m_folder, "Write the scans into this folder.")
        ->type_name("FOLDER")
        ->required();
    command
        .add_option("--points", m_points,
                    "About how many points all scans have, 600 to 100000000 (300000).")
        ->type_name("COUNT");
    command.add_option("--seed", m_seed, "Other numbers give other noise (1).")
        ->type_name("NUMBER");
    command.add_flag("--force", m_force, "Replace files that exist.");
}

SReport CDemoCommand::Run(CConsole& console)
{
    CDemoScene::SSettings settings;
    if (!m_points.empty())
    {
        settings.numPoints = ParseCount("--points", m_points);
    }
    if (!m_seed.empty())
    {
        settings.seed = ParseCount("--seed", m_seed);
    }
    const CDemoScene scene = MakeScene(settings);
    const CNewFolder folder(m_folder);
    const auto in = [&](const std::string& name) {
        return (std::filesystem::path(m_folder) / name).string();
    };
    const std::string merged = in("object.ply");
    const std::string transforms = in("transforms.txt");
    std::vector<SOutputFile> outputs{{"object", merged, m_force},
                                     {"transforms", transforms, m_force}};
    for (std::uint32_t station = 0; station < CDemoScene::c_numStations; ++station)
    {
        const std::string name = CDemoScene::GetStationName(station);
        outputs.push_back({name, in(name + ".ply"), m_force});
    }
    CheckOutputs(outputs);
    console.ShowProgress("Scanning", 0.0);
    const std::vector<CDemoScene::SScan> scans = scene.Generate();
    CInterruption::ThrowIfRequested();

    SReport report;
    report.document = {{"command", "demo"}, {"scans", nlohmann::ordered_json::array()}};
    const auto writeScan = [&](const std::string& file, const std::vector<LqVector3f>& positions,
                               const std::vector<LqVector3f>& normals, const std::string& comment) {
        CInterruption::ThrowIfRequested();
        Application::WritePly(file, {positions, normals, {}, {comment}}, m_force);
        report.text += file + ": " + std::to_string(positions.size()) + " points\n";
        return nlohmann::ordered_json{{"file", file}, {"points", positions.size()}};
    };
    for (const CDemoScene::SScan& scan : scans)
    {
        report.document["scans"].push_back(writeScan(in(scan.name + ".ply"), scan.positions,
                                                     scan.normals, "veko2 demo, one station"));
    }
    const SMergedScan all = Merge(scans);
    report.document["object"] =
        writeScan(merged, all.positions, all.normals, "veko2 demo, all stations");
    WriteText(transforms, ToText(scans, transforms), m_force);
    report.document["transforms"] = transforms;
    report.text += transforms + '\n';
    return report;
}

}  // namespace CommandLine
