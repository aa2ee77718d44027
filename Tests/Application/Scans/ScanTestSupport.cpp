#include "Tests/Application/Scans/ScanTestSupport.h"

#include <memory>
#include <span>
#include <utility>

#include "Application/Files/CInputError.h"

namespace ScanTest
{

Application::CScanFile ParseScan(std::string content, const std::string& name)
{
    // Exactly as long as the content, so that the address sanitizer sees every byte read behind it.
    const auto owner = std::make_shared<const std::vector<char>>(content.begin(), content.end());
    return Application::CScanFile::Parse({name, std::as_bytes(std::span(*owner)), owner});
}

std::string ParseMessage(const std::string& content, const std::string& name)
{
    try
    {
        (void)ParseScan(content, name);
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return {};
}

std::vector<LqVector3f> PositionsOf(const Application::CScanFile& scan)
{
    std::vector<LqVector3f> positions;
    for (const auto& [x, y, z] : scan.GetSurfelCollection()->GetAllPositions())
    {
        positions.push_back({x, y, z});
    }
    return positions;
}

std::vector<LqVector3f> NormalsOf(const Application::CScanFile& scan)
{
    std::vector<LqVector3f> normals;
    for (const auto& [x, y, z] : scan.GetSurfelCollection()->GetAllNormals())
    {
        normals.push_back({x, y, z});
    }
    return normals;
}

std::string Cut(const std::string& content, const std::vector<std::size_t>& dropped,
                const std::string& name)
{
    const Application::CScanFile scan = ParseScan(content, name);
    std::vector<Base::CSurfelBitMask> flags(scan.GetPointCount());
    for (const std::size_t index : dropped)
    {
        flags.at(index).bits = Base::CSurfelBitMask::SurfelFlagCut;
    }
    const CTemporaryFolder folder;
    scan.WriteKept(folder / name, Application::CKeptPoints(flags), false);
    return ReadAll(folder / name);
}

}  // namespace ScanTest
