#include <gmock/gmock.h>

#include <cerrno>

#include "Application/Files/COutputError.h"
#include "Application/Projects/CProject.h"
#include "Tests/Application/Files/CSystemCallLog.h"
#include "Tests/Application/Projects/CProjectTestFixture.h"

// What is left of a project when the power fails: told from the order of the system calls.

namespace
{

using Application::COutputError;
using Application::CProject;
using Application::SProjectDocument;
using FileTest::CSystemCallLog;
using testing::IsEmpty;
using Kind = CSystemCallLog::Kind;

/// With few scans each file is synchronised by itself, with many all are at once.
class CProjectPermanenceTest : public ProjectTest::CProjectTest,
                               public testing::WithParamInterface<std::size_t>
{
protected:
    CProjectPermanenceTest() { create(SProjectDocument::c_defaultHistoryBudget, GetParam()); }

    [[nodiscard]] std::vector<CProject::SNewFlags> makeFlags(std::uint16_t value) const
    {
        std::vector<CProject::SNewFlags> flags;
        for (std::size_t scan = 0; scan < GetParam(); ++scan)
        {
            flags.push_back({scan, Words(3, {value})});
        }
        return flags;
    }

    /// All that the project file names is on the disk before it names it, and it itself when the
    /// call returns.
    static void expectPermanent(const CSystemCallLog& log)
    {
        const std::size_t end = log.FindNaming("p.veko2.json");
        EXPECT_THAT(log.FindLosable(end), IsEmpty());
        EXPECT_THAT(log.FindLosable(), IsEmpty());
    }

    /// A project file whose data is on the disk only later could be empty after a power failure.
    static void expectWholeProjectFile(const CSystemCallLog& log)
    {
        EXPECT_THAT(log.FindNamedTooEarly(), testing::Not(testing::Contains("p.veko2.json")));
    }
};

TEST_P(CProjectPermanenceTest, Commit_FlagsAndEditAreOnTheDiskBeforeTheProjectNamesThem)
{
    CProject open = edit();
    const CSystemCallLog log;
    open.Commit("edit", makeFlags(1));
    expectPermanent(log);
    expectWholeProjectFile(log);
    EXPECT_GT(log.FindNaming("p.veko2.json"), log.FindNaming("1.edit"));
}

TEST_P(CProjectPermanenceTest, UndoAndRedo_FlagsAreOnTheDiskBeforeTheProjectNamesThem)
{
    edit().Commit("edit", makeFlags(1));
    CProject open = edit();
    open.Commit("edit", makeFlags(2));
    {
        const CSystemCallLog log;
        open.Undo(1);
        expectPermanent(log);
        expectWholeProjectFile(log);
    }
    const CSystemCallLog log;
    open.Redo(1);
    expectPermanent(log);
    expectWholeProjectFile(log);
}

TEST_P(CProjectPermanenceTest, Create_FlagsAreOnTheDiskBeforeTheProjectNamesThem)
{
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    const CSystemCallLog log;
    CProject::Create(project(), document, makeFlags(1), false);
    expectPermanent(log);
    expectWholeProjectFile(log);
}

TEST_P(CProjectPermanenceTest, Commit_FlagsThatTheDiskRefusesLeaveTheProjectAsItWas)
{
    edit().Commit("edit", makeFlags(1));
    const auto before = snapshot();
    {
        CProject open = edit();
        CSystemCallLog log;
        log.Fail(Kind::SyncAll, EIO);
        log.Fail(Kind::SyncFile, EIO);
        EXPECT_THROW(open.Commit("edit", makeFlags(2)), COutputError);
        EXPECT_THROW(open.Undo(1), COutputError);
    }
    EXPECT_EQ(snapshot(), before);
}

TEST_P(CProjectPermanenceTest, Commit_FlagsThatClosingRefusesLeaveTheProjectAsItWas)
{
    edit().Commit("edit", makeFlags(1));
    const auto before = snapshot();
    {
        CProject open = edit();
        CSystemCallLog log;
        log.Fail(Kind::Close, EIO);
        EXPECT_THROW(open.Commit("edit", makeFlags(2)), COutputError);
        EXPECT_THROW(open.Undo(1), COutputError);
    }
    EXPECT_EQ(snapshot(), before);
}

TEST_P(CProjectPermanenceTest, Commit_ClosingThatFailsBehindTheProjectFileIsNoFailure)
{
    edit().Commit("edit", makeFlags(1));
    {
        CProject open = edit();
        CSystemCallLog log;
        log.FailOnceNamed("p.veko2.json", Kind::Close, EIO);
        EXPECT_NO_THROW(open.Commit("edit", makeFlags(2)));
    }
    EXPECT_EQ(openMessage(), "");
    EXPECT_EQ(read(0), Words(3, {2}));
}

INSTANTIATE_TEST_SUITE_P(FewAndManyScans, CProjectPermanenceTest, testing::Values(1, 2, 12));

}  // namespace
