#include "Application/Files/CMappedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "Application/Files/CInputError.h"
#include "Application/Files/TextTokens.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace
{

using Application::CMappedFile;
using FileTest::CTemporaryFolder;

[[nodiscard]] std::string messageOf(const std::filesystem::path& file)
{
    try
    {
        (void)CMappedFile::Open(file);
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return {};
}

TEST(CMappedFile, Open_GivesTheBytes)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", std::string("one\0two", 7));

    const auto file = CMappedFile::Open(folder / "a");

    EXPECT_EQ(Application::AsText(file->GetBytes()), std::string("one\0two", 7));
    EXPECT_EQ(file->GetPath(), folder / "a");
}

TEST(CMappedFile, Open_BytesOutliveTheFile)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "content");
    const auto file = CMappedFile::Open(folder / "a");

    std::filesystem::remove(folder / "a");

    EXPECT_EQ(Application::AsText(file->GetBytes()), "content");
}

TEST(CMappedFile, Open_MissingFile)
{
    const CTemporaryFolder folder;

    EXPECT_EQ(messageOf(folder / "a"),
              (folder / "a").string() + ": cannot be read: No such file or directory");
}

TEST(CMappedFile, Open_Folder)
{
    const CTemporaryFolder folder;

    EXPECT_EQ(messageOf(folder.GetPath()),
              folder.GetPath().string() + ": expected a file, found a directory");
}

TEST(CMappedFile, Open_EmptyFile)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "");

    EXPECT_EQ(messageOf(folder / "a"),
              (folder / "a").string() + ": expected data, found an empty file");
}

TEST(CMappedFile, Open_PipeDoesNotWait)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "a").c_str(), 0600), 0);

    EXPECT_EQ(messageOf(folder / "a"),
              (folder / "a").string() + ": expected a regular file, found a device or pipe");
}

TEST(CMappedFile, Open_FileThatMayNotBeRead)
{
    if (::geteuid() == 0)
    {
        GTEST_SKIP() << "root may read everything";
    }
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "content");
    std::filesystem::permissions(folder / "a", std::filesystem::perms::none);

    EXPECT_EQ(messageOf(folder / "a"),
              (folder / "a").string() + ": cannot be read: Permission denied");
}

}  // namespace
