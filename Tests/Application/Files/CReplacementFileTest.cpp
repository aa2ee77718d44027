#include "Application/Files/CReplacementFile.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <new>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Files/CMappedFile.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Files/FileTestSupport.h"
#include "Tests/Support/Allocations.h"

namespace
{

using Application::COutputError;
using Application::CReplacementFile;
using FileTest::CTemporaryFolder;
using FileTest::ReadAll;
using FileTest::WriteAll;
using Names = std::vector<std::string>;

/// The message of the COutputError that \p action throws; empty when it does not.
template <typename Action>
[[nodiscard]] std::string MessageOf(const Action& action)
{
    try
    {
        action();
    }
    catch (const COutputError& error)
    {
        return error.what();
    }
    return {};
}

void Replace(const std::filesystem::path& target, std::string_view content, bool force)
{
    CReplacementFile file(target, force);
    file.Write(content);
    file.Commit();
}

TEST(CReplacementFile, Commit_MakesTheFile)
{
    const CTemporaryFolder folder;

    Replace(folder / "a", "content", false);

    EXPECT_EQ(ReadAll(folder / "a"), "content");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Commit_EmptyFile)
{
    const CTemporaryFolder folder;

    Replace(folder / "a", "", false);

    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Write_PiecesOfEverySizeComeInOrder)
{
    const CTemporaryFolder folder;
    std::string expected;
    {
        CReplacementFile file(folder / "a", false);
        for (const std::size_t size :
             {1U, 131071U, 131072U, 3U, 1048576U, 1000000U, 60000U, 0U, 120000U, 17000000U, 17U})
        {
            std::string piece(size, '\0');
            for (std::size_t index = 0; index < size; ++index)
            {
                piece[index] = static_cast<char>(index * 31 + size);
            }
            file.Write(piece);
            expected += piece;
        }
        file.Commit();
    }

    EXPECT_TRUE(ReadAll(folder / "a") == expected);
}

TEST(CReplacementFile, Constructor_ExistingTargetNeedsForce)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");

    EXPECT_EQ(MessageOf([&] { Replace(folder / "a", "new", false); }),
              (folder / "a").string() + ": exists already and is replaced only with --force");
    EXPECT_EQ(ReadAll(folder / "a"), "old");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Commit_ForceReplaces)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");

    Replace(folder / "a", "new", true);

    EXPECT_EQ(ReadAll(folder / "a"), "new");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Commit_TargetMadeMeanwhileStays)
{
    const CTemporaryFolder folder;

    EXPECT_EQ(MessageOf([&] {
                  CReplacementFile file(folder / "a", false);
                  WriteAll(folder / "a", "somebody's");
                  file.Commit();
              }),
              (folder / "a").string() + ": exists already and is replaced only with --force");
    EXPECT_EQ(ReadAll(folder / "a"), "somebody's");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Commit_PermissionsOfTheReplacedFileStay)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");
    ASSERT_EQ(::chmod((folder / "a").c_str(), 0640), 0);

    Replace(folder / "a", "new", true);

    struct stat status = {};
    ASSERT_EQ(::stat((folder / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST(CReplacementFile, Commit_SymbolicLinkStaysALink)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directory(folder / "other");
    WriteAll(folder / "other/a", "old");
    std::filesystem::create_symlink("other/a", folder / "link");

    Replace(folder / "link", "new", true);

    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(ReadAll(folder / "other/a"), "new");
}

TEST(CReplacementFile, Commit_SymbolicLinkToNoFileYetMakesThatFile)
{
    for (const bool force : {false, true})
    {
        const CTemporaryFolder folder;
        std::filesystem::create_directory(folder / "other");
        std::filesystem::create_symlink("other/second", folder / "link");
        std::filesystem::create_symlink("a", folder / "other/second");

        Replace(folder / "link", "new", force);

        EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
        EXPECT_TRUE(std::filesystem::is_symlink(folder / "other/second"));
        EXPECT_EQ(ReadAll(folder / "other/a"), "new");
    }
}

TEST(CReplacementFile, Constructor_RefusesASymbolicLinkToItself)
{
    const CTemporaryFolder folder;
    std::filesystem::create_symlink("link", folder / "link");

    EXPECT_THROW(CReplacementFile(folder / "link", true), COutputError);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST(CReplacementFile, FollowLinks_LeavesANameThatIsNoLink)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");

    EXPECT_EQ(CReplacementFile::FollowLinks(folder / "a"), folder / "a");
    EXPECT_EQ(CReplacementFile::FollowLinks("missing/a"), "missing/a");
}

TEST(CReplacementFile, Destructor_WithoutCommitLeavesNothing)
{
    const CTemporaryFolder folder;
    {
        CReplacementFile file(folder / "a", false);
        file.Write("half");
    }

    EXPECT_EQ(folder.List(), (Names{}));
}

TEST(CReplacementFile, Destructor_AfterAnExceptionLeavesTheOldFile)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");
    try
    {
        CReplacementFile file(folder / "a", true);
        file.Write(std::string(3000000, 'x'));
        throw 1;
    }
    catch (int)
    {}

    EXPECT_EQ(ReadAll(folder / "a"), "old");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Constructor_FolderForATarget)
{
    const CTemporaryFolder folder;
    const auto messageFor = [](const std::filesystem::path& target) {
        return MessageOf([&] { Replace(target, "x", true); });
    };

    EXPECT_EQ(messageFor(folder.GetPath()),
              folder.GetPath().string() + ": expected a file to write, found a directory");
    EXPECT_EQ(messageFor("/dev/null"),
              "/dev/null: expected a regular file to write, found a device or pipe");
    EXPECT_EQ(messageFor(folder / "no/a"),
              (folder / "no/a").string() + ": cannot be written: No such file or directory");
    EXPECT_EQ(messageFor(folder / "new/"),
              (folder / "new/").string() + ": cannot be written: Is a directory");
    WriteAll(folder / "file", "x");
    EXPECT_EQ(messageFor(folder / "file/a"),
              (folder / "file/a").string() + ": cannot be written: Not a directory");
}

TEST(CReplacementFile, Constructor_FolderThatMayNotBeWrittenTo)
{
    if (::geteuid() == 0)
    {
        GTEST_SKIP() << "root may write everywhere";
    }
    const CTemporaryFolder folder;
    std::filesystem::permissions(
        folder.GetPath(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);

    EXPECT_EQ(MessageOf([&] { Replace(folder / "a", "x", false); }),
              (folder / "a").string() + ": cannot be written: Permission denied");
    std::filesystem::permissions(folder.GetPath(), std::filesystem::perms::owner_all);
}

TEST(CReplacementFile, Write_FullDiskLeavesTheOldFile)
{
    const CTemporaryFolder folder;
    if (::mount("tmpfs", folder.GetPath().c_str(), "tmpfs", 0, "size=1m") != 0)
    {
        GTEST_SKIP() << "a small disk cannot be mounted here";
    }
    WriteAll(folder / "a", "old");

    const std::string message =
        MessageOf([&] { Replace(folder / "a", std::string(2000000, 'x'), true); });
    const std::string after = ReadAll(folder / "a");
    const Names names = folder.List();
    ASSERT_EQ(::umount(folder.GetPath().c_str()), 0);

    EXPECT_EQ(message, (folder / "a").string() + ": cannot be written: No space left on device");
    EXPECT_EQ(after, "old");
    EXPECT_EQ(names, (Names{"a"}));
}

TEST(CReplacementFile, Write_FileSizeLimitLeavesTheOldFile)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {4096, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);

    const std::string message =
        MessageOf([&] { Replace(folder / "a", std::string(10000, 'x'), true); });
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);

    EXPECT_EQ(message, (folder / "a").string() + ": cannot be written: File too large");
    EXPECT_EQ(ReadAll(folder / "a"), "old");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Write_MappedFileThatIsShortenedIsAnErrorOfTheInput)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "scan", std::string(1 << 20, 'x'));
    const auto mapped = Application::CMappedFile::Open(folder / "scan");
    std::filesystem::resize_file(folder / "scan", 10);
    CReplacementFile file(folder / "a", false);
    try
    {
        file.Write(mapped->GetBytes());
        FAIL();
    }
    catch (const Application::CInputError& error)
    {
        EXPECT_EQ(error.what(), std::filesystem::canonical(folder / "scan").string() +
                                    ": was shortened, or its disk failed, while it was being read");
    }
    EXPECT_EQ(folder.List(), (Names{"scan"}));
}

TEST(CReplacementFile, Write_KilledProcessLeavesTheOldFile)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");
    const std::string content(3000000, 'x');
    int pipe[2] = {};
    ASSERT_EQ(::pipe(pipe), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        CReplacementFile file(folder / "a", true);
        file.Write(content);
        const bool isTold = ::write(pipe[1], "w", 1) == 1;
        while (isTold)
        {
            ::pause();
        }
        ::_exit(1);
    }
    ::close(pipe[1]);
    char written = 0;
    EXPECT_EQ(::read(pipe[0], &written, 1), 1);
    ::close(pipe[0]);

    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(ReadAll(folder / "a"), "old");
    EXPECT_EQ(folder.List(), (Names{"a"}));
}

TEST(CReplacementFile, Commit_NamedFromTheStartEndsTheSame)
{
    const CTemporaryFolder folder;
    for (const std::string content : {"first", "second"})
    {
        CReplacementFile file(folder / "a", content == "second",
                              CReplacementFile::Naming::FromTheStart);
        file.Write(content);
        const Names names = folder.List();
        EXPECT_TRUE(std::any_of(names.begin(), names.end(), CReplacementFile::IsUnfinishedName));
        file.Commit();
        EXPECT_EQ(ReadAll(folder / "a"), content);
        EXPECT_EQ(folder.List(), (Names{"a"}));
    }
    EXPECT_EQ(MessageOf([&] {
                  CReplacementFile file(folder / "b", false,
                                        CReplacementFile::Naming::FromTheStart);
                  WriteAll(folder / "b", "somebody's");
                  file.Commit();
              }),
              (folder / "b").string() + ": exists already and is replaced only with --force");
    EXPECT_EQ(folder.List(), (Names{"a", "b"}));
}

TEST(CReplacementFile, RemoveStale_LeavesWhatIsBeingWritten)
{
    const CTemporaryFolder folder;
    WriteAll(folder / ".veko2-0123456789abcdef.part", "left behind");
    WriteAll(folder / ".veko2-notes.txt", "mine");
    WriteAll(folder / "x.part", "mine");
    std::filesystem::create_directory(folder / ".veko2-folder.part");
    CReplacementFile file(folder / "a", false, CReplacementFile::Naming::FromTheStart);
    file.Write("content");

    CReplacementFile::RemoveStale(folder.GetPath());
    EXPECT_EQ(folder.List().size(), 4U);
    EXPECT_FALSE(std::filesystem::exists(folder / ".veko2-0123456789abcdef.part"));
    file.Commit();
    EXPECT_EQ(ReadAll(folder / "a"), "content");
}

TEST(CReplacementFile, RemoveStale_MissingFolderIsNoFailure)
{
    CReplacementFile::RemoveStale("/nowhere/at/all");
}

TEST(CReplacementFile, RemoveStale_WithoutMemoryCanBeDoneAgain)
{
    const CTemporaryFolder folder;
    bool isDone = false;
    std::size_t number = 1;
    for (; !isDone; ++number)
    {
        WriteAll(folder / ".veko2-0123456789abcdef.part", "left behind");
        try
        {
            const TestSupport::CAllocationFaults faults(number, TestSupport::EFailing::Once);
            CReplacementFile::RemoveStale(folder.GetPath());
            isDone = faults.GetNumFailed() == 0;
        }
        catch (const std::bad_alloc&)
        {
            EXPECT_EQ(folder.List().size(), 1U) << number;
        }
    }
    EXPECT_GT(number, 2U);
    EXPECT_TRUE(folder.List().empty());
}

TEST(CReplacementFile, MakePermanent_OneFileAndMany)
{
    const CTemporaryFolder folder;
    Names names;
    for (int index = 0; index < 20; ++index)
    {
        names.push_back(std::to_string(100 + index));
        CReplacementFile file(folder / names.back(), false);
        file.Write("content");
        file.Commit(CReplacementFile::Permanence::Later);
        CReplacementFile::MakePermanent(folder.GetPath(), names);
    }
    EXPECT_EQ(folder.List(), names);
    EXPECT_EQ(ReadAll(folder / "119"), "content");
    EXPECT_THROW(CReplacementFile::MakePermanent(folder.GetPath(), {"missing"}), COutputError);
}

}  // namespace
