#include "Tests/Apps/CommandLine/CProjectCommandTest.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "Application/Projects/CProject.h"

namespace TestSupport
{

using Application::CProject;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

CProjectCommandTest::CProjectCommandTest()
{
    write("a.ply", makeScan());
    write("b.ply", makeScan());
    write("list.txt",
          "a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n"
          "b.ply 1 0 0 0 0 1 0 0 0 0 1 0 0.5 0 0 1\n");
    writeView("view.json");
    writeMask("mask.png", {{2, 2}, {4, 2}});
    expectDone({"project", "create", "p.json", "--transforms", "list.txt"});
}

std::string CProjectCommandTest::expectDone(const std::vector<std::string>& arguments) const
{
    const auto result = run(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
}

std::string CProjectCommandTest::cut() const
{
    return expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png"});
}

std::vector<unsigned> CProjectCommandTest::readFlags(std::size_t scan,
                                                     const std::string& project) const
{
    std::vector<unsigned> bits;
    for (const auto& word : CProject::Open(in(project), CProject::Access::Read).ReadFlags(scan))
    {
        bits.push_back(word.bits);
    }
    return bits;
}

void CProjectCommandTest::expectFailure(const std::vector<std::string>& arguments, int exitCode,
                                        const std::string& message) const
{
    const auto before = snapshot();
    const auto result = run(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << result.err;
    EXPECT_THAT(result.err, AllOf(StartsWith("veko2: "), HasSubstr(message)));
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(snapshot(), before);
}

std::vector<std::string> CProjectCommandTest::snapshot() const
{
    std::vector<std::string> content;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(in("")))
    {
        content.push_back(entry.path().string());
        if (entry.is_regular_file())
        {
            content.back() += read(std::filesystem::relative(entry.path(), in("")).string());
        }
    }
    std::sort(content.begin(), content.end());
    return content;
}

}  // namespace TestSupport
