#include "Apps/CommandLine/CNewFolder.h"

#include <gmock/gmock.h>

#include "Application/Files/COutputError.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace
{

using CommandLine::CNewFolder;

using CNewFolderTest = TestSupport::CCommandTest;

TEST_F(CNewFolderTest, Constructor_MakesAllThatIsMissing)
{
    const CNewFolder folder(in("a/b/../c/").string());
    EXPECT_TRUE(std::filesystem::is_directory(in("a/b")));
    EXPECT_TRUE(std::filesystem::is_directory(in("a/c")));
}

TEST_F(CNewFolderTest, Destructor_TakesBackWhatIsEmpty)
{
    std::filesystem::create_directory(in("old"));
    {
        const CNewFolder folder(in("old/a/b").string());
        const CNewFolder again(in("old/a/b").string());
    }
    EXPECT_TRUE(exists("old"));
    EXPECT_FALSE(exists("old/a"));
}

TEST_F(CNewFolderTest, Destructor_LeavesWhatIsUsed)
{
    {
        const CNewFolder folder(in("a/b").string());
        write("a/file", "x");
    }
    EXPECT_TRUE(exists("a/file"));
    EXPECT_FALSE(exists("a/b"));
}

TEST_F(CNewFolderTest, Constructor_AFailureTakesBackWhatItMade)
{
    // Longer than any file system's names.
    const std::string folder = in("a").string() + '/' + std::string(300, 'x');
    EXPECT_THROW(CNewFolder{folder}, Application::COutputError);
    EXPECT_FALSE(exists("a"));
}

TEST_F(CNewFolderTest, Constructor_AFileInItsPlaceIsAnError)
{
    write("a", "x");
    EXPECT_THROW(CNewFolder{in("a").string()}, Application::COutputError);
    EXPECT_THROW(CNewFolder{in("a/b").string()}, Application::COutputError);
    EXPECT_EQ(read("a"), "x");
}

// It would be taken for the current folder.
TEST_F(CNewFolderTest, Constructor_AnEmptyNameIsRefused)
{
    EXPECT_THROW(CNewFolder{""}, CommandLine::CUsageError);
    EXPECT_EQ(run({"demo", "--output", "", "--points", "2000"}).exitCode, 2);
    EXPECT_TRUE(list().empty());
}

}  // namespace
