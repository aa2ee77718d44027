#include "Tests/Apps/CommandLine/CCommandTest.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "Application/Pictures/CPicture.h"
#include "Application/View/CView.h"

namespace TestSupport
{

namespace
{

/// Names the folder of the test that runs.
constexpr const char* c_folderVariable = "VEKO2_COMMAND_TEST_FOLDER";

}  // namespace

CCommandTest::CCommandTest()
{
    if (const char* const folder = std::getenv(c_folderVariable))
    {
        m_folder = folder;
        return;
    }
    std::string name = testing::TempDir() + "veko2-command-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
    {
        throw std::runtime_error("no folder for the test: " + name);
    }
    m_folder = name;
    m_isOwner = true;
    setenv(c_folderVariable, name.c_str(), 1);
}

CCommandTest::~CCommandTest()
{
    if (m_isOwner)
    {
        unsetenv(c_folderVariable);
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
}

SProgramResult CCommandTest::run(const std::vector<std::string>& arguments) const
{
    return run(arguments, {});
}

SProgramResult CCommandTest::run(const std::vector<std::string>& arguments,
                                 SProgramSetting setting) const
{
    setting.workingFolder = m_folder;
    return RunProgram(arguments, setting);
}

std::filesystem::path CCommandTest::in(const std::string& file) const
{
    return m_folder / file;
}

void CCommandTest::write(const std::string& file, std::string_view content) const
{
    std::ofstream(in(file), std::ios::binary) << content;
}

void CCommandTest::write(const std::string& file, std::span<const std::byte> content) const
{
    write(file, std::string_view(reinterpret_cast<const char*>(content.data()), content.size()));
}

std::string CCommandTest::read(const std::string& file) const
{
    std::ifstream stream(in(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

bool CCommandTest::exists(const std::string& file) const
{
    return std::filesystem::exists(in(file));
}

std::vector<std::string> CCommandTest::list() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

LqVector3f CCommandTest::atPixel(std::uint32_t column, std::uint32_t row)
{
    const auto device = [](std::uint32_t index) {
        return static_cast<float>(index) / (c_size / 2.0F) - 1.0F;
    };
    return {device(column), -device(row), 0.5F};
}

std::string CCommandTest::makePly(const std::vector<LqVector3f>& points)
{
    std::ostringstream text;
    text << "ply\nformat ascii 1.0\nelement vertex " << points.size()
         << "\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
    for (const LqVector3f& point : points)
    {
        text << point.x << ' ' << point.y << ' ' << point.z << '\n';
    }
    return text.str();
}

std::vector<LqVector3f> CCommandTest::scanPoints()
{
    return {atPixel(2, 2), atPixel(4, 2), atPixel(2, 4), atPixel(6, 6)};
}

std::string CCommandTest::makeScan()
{
    return makePly(scanPoints());
}

void CCommandTest::writeView(const std::string& file) const
{
    const Application::CView view(c_size, c_size, {},
                                  {c_matIdentityD, c_matIdentityD, c_matIdentityD});
    write(file, view.ToJson());
}

void CCommandTest::writePerspectiveView(const std::string& file) const
{
    const Application::CView view(
        c_size, c_size, {},
        {c_matIdentityD, MakePerspective(1.0, 1.0, 0.5, 100.0), c_matIdentityD});
    write(file, view.ToJson());
}

void CCommandTest::writeMask(const std::string& file, const std::vector<SPixel>& painted,
                             std::uint32_t size) const
{
    Application::CPicture mask(size, size);
    for (const SPixel& pixel : painted)
    {
        mask.SetPixel(pixel.column, pixel.row, {255, 255, 255});
    }
    write(file, mask.ToPng());
}

}  // namespace TestSupport
