#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "Application/Files/COutputError.h"
#include "Application/Files/CReplacementFile.h"
#include "Tests/Application/Files/CSystemCallLog.h"
#include "Tests/Application/Files/FileTestSupport.h"

// What is left when the power fails: told from the order of the system calls.

namespace
{

using Application::COutputError;
using Application::CReplacementFile;
using FileTest::CSystemCallLog;
using FileTest::CTemporaryFolder;
using FileTest::ReadAll;
using FileTest::WriteAll;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = CSystemCallLog::Kind;
using Naming = CReplacementFile::Naming;
using Permanence = CReplacementFile::Permanence;

void Write(const std::filesystem::path& target, Naming naming = Naming::WhenComplete,
           Permanence permanence = Permanence::Now)
{
    CReplacementFile file(target, true, naming);
    file.Write("content");
    file.Commit(permanence);
}

/// Commits that many files for later and makes them permanent; their names.
std::vector<std::string> WriteMany(const CTemporaryFolder& folder, int count)
{
    std::vector<std::string> names;
    for (int index = 0; index < count; ++index)
    {
        names.push_back("file" + std::to_string(index));
        Write(folder / names.back(), Naming::WhenComplete, Permanence::Later);
    }
    return names;
}

TEST(CReplacementFilePermanence, Commit_NewFileIsOnTheDiskBeforeItHasItsName)
{
    for (const Naming naming : {Naming::WhenComplete, Naming::FromTheStart})
    {
        const CTemporaryFolder folder;
        const CSystemCallLog log;
        Write(folder / "a", naming);
        EXPECT_THAT(log.FindNamedTooEarly(), IsEmpty());
        EXPECT_GT(log.Count(Kind::Write), 0U);
        EXPECT_EQ(ReadAll(folder / "a"), "content");
    }
}

TEST(CReplacementFilePermanence, Commit_ReplacingFileIsOnTheDiskBeforeItHasItsName)
{
    for (const Naming naming : {Naming::WhenComplete, Naming::FromTheStart})
    {
        const CTemporaryFolder folder;
        WriteAll(folder / "a", "old");
        const CSystemCallLog log;
        Write(folder / "a", naming);
        EXPECT_THAT(log.FindNamedTooEarly(), IsEmpty());
        EXPECT_EQ(ReadAll(folder / "a"), "content");
    }
}

TEST(CReplacementFilePermanence, Commit_NameIsOnTheDiskWhenItReturns)
{
    for (const Naming naming : {Naming::WhenComplete, Naming::FromTheStart})
    {
        const CTemporaryFolder folder;
        const CSystemCallLog log;
        Write(folder / "a", naming);
        EXPECT_THAT(log.FindLosable(), IsEmpty());
        // It is the folder's synchronisation that does it.
        EXPECT_THAT(log.FindLosable(log.FindNaming("a") + 1), ElementsAre("a"));
        Write(folder / "a", naming);
        EXPECT_THAT(log.FindLosable(), IsEmpty());
    }
}

TEST(CReplacementFilePermanence, Commit_ForLaterWaitsForNothing)
{
    const CTemporaryFolder folder;
    const CSystemCallLog log;
    Write(folder / "a", Naming::WhenComplete, Permanence::Later);
    EXPECT_THAT(log.FindLosable(), ElementsAre("a"));
    EXPECT_EQ(log.Count(Kind::SyncFile) + log.Count(Kind::SyncFolder), 0U);
}

TEST(CReplacementFilePermanence, Commit_DataThatTheDiskRefusesLeavesTheOldFile)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");
    CSystemCallLog log;
    log.Fail(Kind::SyncFile, EIO);
    EXPECT_THROW(Write(folder / "a"), COutputError);
    EXPECT_EQ(ReadAll(folder / "a"), "old");
    EXPECT_THAT(folder.List(), ElementsAre("a"));
}

TEST(CReplacementFilePermanence, Commit_NameThatTheDiskRefusesLeavesTheOldFile)
{
    const CTemporaryFolder folder;
    WriteAll(folder / "a", "old");
    CSystemCallLog log;
    log.Fail(Kind::Name, EIO);
    EXPECT_THROW(Write(folder / "a"), COutputError);
    EXPECT_EQ(ReadAll(folder / "a"), "old");
    EXPECT_THAT(folder.List(), ElementsAre("a"));
}

TEST(CReplacementFilePermanence, Commit_DataThatClosingRefusesLeavesTheOldFile)
{
    for (const Permanence permanence : {Permanence::Now, Permanence::Later})
    {
        for (const Naming naming : {Naming::WhenComplete, Naming::FromTheStart})
        {
            const CTemporaryFolder folder;
            WriteAll(folder / "a", "old");
            CSystemCallLog log;
            log.Fail(Kind::Close, EIO);
            EXPECT_THROW(Write(folder / "a", naming, permanence), COutputError);
            EXPECT_EQ(ReadAll(folder / "a"), "old");
            EXPECT_THAT(folder.List(), ElementsAre("a"));
        }
    }
}

TEST(CReplacementFilePermanence, Commit_ClosingThatFailsBehindTheNameIsNoFailure)
{
    for (const Permanence permanence : {Permanence::Now, Permanence::Later})
    {
        for (const Naming naming : {Naming::WhenComplete, Naming::FromTheStart})
        {
            const CTemporaryFolder folder;
            WriteAll(folder / "a", "old");
            CSystemCallLog log;
            log.FailOnceNamed("a", Kind::Close, EIO);
            EXPECT_NO_THROW(Write(folder / "a", naming, permanence));
            EXPECT_EQ(ReadAll(folder / "a"), "content");
        }
    }
}

TEST(CReplacementFilePermanence, MakePermanent_FewFilesAreOnTheDiskOneByOne)
{
    const CTemporaryFolder folder;
    const CSystemCallLog log;
    const auto names = WriteMany(folder, 8);
    EXPECT_EQ(log.FindLosable(), names);
    CReplacementFile::MakePermanent(folder.GetPath(), names);
    EXPECT_THAT(log.FindLosable(), IsEmpty());
    EXPECT_EQ(log.Count(Kind::SyncFile), 8U);
    EXPECT_EQ(log.Count(Kind::SyncAll), 0U);
}

TEST(CReplacementFilePermanence, MakePermanent_ManyFilesAreOnTheDiskAtOnce)
{
    const CTemporaryFolder folder;
    const CSystemCallLog log;
    const auto names = WriteMany(folder, 9);
    EXPECT_EQ(log.FindLosable(), names);
    CReplacementFile::MakePermanent(folder.GetPath(), names);
    EXPECT_THAT(log.FindLosable(), IsEmpty());
    EXPECT_EQ(log.Count(Kind::SyncAll), 1U);
    EXPECT_EQ(log.Count(Kind::SyncFile), 0U);
}

TEST(CReplacementFilePermanence, MakePermanent_WhatCannotBeDoneAtOnceIsDoneOneByOne)
{
    const CTemporaryFolder folder;
    CSystemCallLog log;
    const auto names = WriteMany(folder, 9);
    log.Fail(Kind::SyncAll, ENOSYS);
    CReplacementFile::MakePermanent(folder.GetPath(), names);
    EXPECT_THAT(log.FindLosable(), IsEmpty());
    EXPECT_EQ(log.Count(Kind::SyncFile), 9U);
}

TEST(CReplacementFilePermanence, MakePermanent_DataThatTheDiskRefusesIsAnError)
{
    for (const int count : {1, 9})
    {
        const CTemporaryFolder folder;
        CSystemCallLog log;
        const auto names = WriteMany(folder, count);
        log.Fail(Kind::SyncAll, EIO);
        log.Fail(Kind::SyncFile, EIO);
        EXPECT_THROW(CReplacementFile::MakePermanent(folder.GetPath(), names), COutputError);
    }
}

TEST(CReplacementFilePermanence, MakePermanent_NoFilesNeedNothing)
{
    const CTemporaryFolder folder;
    const CSystemCallLog log;
    CReplacementFile::MakePermanent(folder.GetPath(), {});
    EXPECT_EQ(log.Count(Kind::SyncFolder) + log.Count(Kind::SyncAll), 0U);
}

}  // namespace
