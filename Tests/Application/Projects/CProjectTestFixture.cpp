#include "Tests/Application/Projects/CProjectTestFixture.h"

#include <algorithm>
#include <stdexcept>

namespace ProjectTest
{

using Application::CProject;
using Application::SProjectDocument;

CProjectTest::CProjectTest()
{
    create(SProjectDocument::c_defaultHistoryBudget);
}

void CProjectTest::create(std::uint64_t historyBudget, std::size_t numScans)
{
    SProjectDocument document;
    document.historyBudget = historyBudget;
    for (std::size_t index = 0; index < numScans; ++index)
    {
        const std::string letter(1, static_cast<char>('a' + index));
        const std::string name = letter + ".ply";
        FileTest::WriteAll(m_folder / name, letter);
        document.scans.emplace_back().file = name;
        document.scans.back().key = Base::CUniqueID();
        document.scans.back().points = 3;
    }
    CProject::Create(project(), document, {}, true);
}

CProject CProjectTest::edit() const
{
    return CProject::Open(project(), Access::Edit);
}

std::size_t CProjectTest::commit(std::size_t scan, std::uint16_t value) const
{
    return edit().Commit("edit " + std::to_string(value), {{scan, Words(3, {value})}});
}

CProjectTest::Words CProjectTest::read(std::size_t scan) const
{
    return CProject::Open(project(), Access::Read).ReadFlags(scan);
}

std::string CProjectTest::openMessage(Access access) const
{
    try
    {
        (void)CProject::Open(project(), access);
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "";
}

std::vector<std::string> CProjectTest::listData() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(data("")))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> CProjectTest::snapshot() const
{
    std::vector<std::string> content{FileTest::ReadAll(project())};
    for (const std::string& name : listData())
    {
        content.push_back(name + FileTest::ReadAll(data(name)));
    }
    return content;
}

}  // namespace ProjectTest
