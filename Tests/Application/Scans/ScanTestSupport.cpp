#include "Tests/Application/Scans/ScanTestSupport.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "Application/Files/CInputError.h"

namespace ScanTest
{

CTemporaryFolder::CTemporaryFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "veko2-scans-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
    {
        throw std::runtime_error("no temporary folder");
    }
    m_path = name;
}

CTemporaryFolder::~CTemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> CTemporaryFolder::List() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string ReadAll(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::filesystem::path& file, std::string_view content)
{
    std::ofstream(file, std::ios::binary) << content;
}

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
