#include <gmock/gmock.h>

#include <array>
#include <new>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Application/Projects/CProject.h"
#include "Tests/Application/Files/CSystemCallLog.h"
#include "Tests/Application/Projects/CProjectTestFixture.h"
#include "Tests/Support/Allocations.h"

// The edits of a project: making, undoing and redoing them.

namespace
{

using Application::COutputError;
using Application::CProject;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::array<std::uint16_t, 4> c_values{1, 2, 3, 4};

using CProjectHistoryTest = ProjectTest::CProjectTest;

TEST_F(CProjectHistoryTest, Commit_ChangesOnlyTheScansGiven)
{
    commit(1, 8);
    EXPECT_TRUE(read(0).empty());
    EXPECT_EQ(read(1), Words(3, {8}));
}

TEST_F(CProjectHistoryTest, UndoAndRedo_GoThroughEveryEdit)
{
    for (const std::uint16_t value : c_values)
    {
        commit(0, value);
    }
    for (const std::uint16_t value : {c_values[2], c_values[1], c_values[0]})
    {
        EXPECT_EQ(edit().Undo(1).commands.size(), 1U);
        EXPECT_EQ(read(0), Words(3, {value}));
    }
    edit().Undo(1);
    EXPECT_TRUE(read(0).empty());
    for (const std::uint16_t value : c_values)
    {
        EXPECT_EQ(edit().Redo(1).commands.size(), 1U);
        EXPECT_EQ(read(0), Words(3, {value}));
    }
}

TEST_F(CProjectHistoryTest, Undo_SeveralAtOnceNameTheEditsFromTheLast)
{
    commit(0, 1);
    commit(1, 2);
    commit(0, 3);
    const CProject::SStep step = edit().Undo(2);
    EXPECT_THAT(step.commands, ElementsAre("edit 3", "edit 2"));
    EXPECT_THAT(step.scans, ElementsAre(0, 1));
    EXPECT_EQ(read(0), Words(3, {1}));
    EXPECT_TRUE(read(1).empty());
}

TEST_F(CProjectHistoryTest, Undo_MoreThanThereIsTakesAllBack)
{
    commit(0, 1);
    commit(0, 2);
    EXPECT_EQ(edit().Undo(100).commands.size(), 2U);
    EXPECT_TRUE(read(0).empty());
}

TEST_F(CProjectHistoryTest, UndoAndRedo_WithNothingToDoChangeNothing)
{
    const auto before = snapshot();
    EXPECT_THAT(edit().Undo(1).commands, IsEmpty());
    EXPECT_THAT(edit().Redo(1).commands, IsEmpty());
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectHistoryTest, Preview_SaysWhatAStepWouldDoAndChangesNothing)
{
    commit(0, 1);
    commit(1, 2);
    commit(0, 3);
    edit().Undo(1);
    const auto before = snapshot();
    const CProject open = CProject::Open(project(), Access::Read);
    const CProject::SStep undo = open.PreviewUndo(2);
    EXPECT_THAT(undo.commands, ElementsAre("edit 2", "edit 1"));
    EXPECT_THAT(undo.scans, ElementsAre(0, 1));
    const CProject::SStep redo = open.PreviewRedo(2);
    EXPECT_THAT(redo.commands, ElementsAre("edit 3"));
    EXPECT_THAT(redo.scans, ElementsAre(0));
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectHistoryTest, Preview_FailsAsTheStepWould)
{
    commit(0, 1);
    CProject open = edit();
    FileTest::WriteAll(data("1.edit"), "x");
    EXPECT_THROW((void)open.PreviewUndo(1), Application::CInputError);
    EXPECT_THROW(open.Undo(1), Application::CInputError);
}

TEST_F(CProjectHistoryTest, Commit_EndsWhatCouldBeRedone)
{
    commit(0, 1);
    commit(0, 2);
    edit().Undo(1);
    commit(0, 3);
    EXPECT_THAT(edit().Redo(1).commands, IsEmpty());
    EXPECT_THAT(edit().Undo(2).commands, ElementsAre("edit 3", "edit 1"));
}

TEST_F(CProjectHistoryTest, Commit_LeavesOnlyTheFilesThatCount)
{
    commit(0, 1);
    commit(0, 2);
    EXPECT_THAT(listData(), ElementsAre("1.edit", "2-0.flags", "2.edit"));
}

TEST_F(CProjectHistoryTest, Commit_RemovesWhatAKilledProcessLeft)
{
    FileTest::WriteAll(data("9-0.flags"), "x");
    FileTest::WriteAll(data("9.edit"), "x");
    FileTest::WriteAll(data(".veko2-0123456789abcdef.part"), "x");
    commit(0, 1);
    EXPECT_THAT(listData(), ElementsAre("10-0.flags", "10.edit"));
}

TEST_F(CProjectHistoryTest, Commit_NumbersNeverBeginAgain)
{
    // The largest number that 64 bits hold is not one of ours.
    FileTest::WriteAll(data("18446744073709551615.edit"), "x");
    commit(0, 1);
    EXPECT_THAT(listData(), ElementsAre("1-0.flags", "1.edit", "18446744073709551615.edit"));
    FileTest::WriteAll(data("999999999999999999.edit"), "x");
    const auto before = snapshot();
    EXPECT_THROW(commit(0, 2), COutputError);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectHistoryTest, FindFreeNumber_RefusesToGuessWhereTheFolderCannotBeListed)
{
    const Application::CProjectFolder folder(project(), Application::CFolderLock::Kind::Exclusive);
    std::filesystem::rename(data(""), m_folder / "aside");
    EXPECT_THROW((void)folder.FindFreeNumber(), COutputError);
}

TEST_F(CProjectHistoryTest, Commit_NeverReplacesFlags)
{
    commit(0, 1);
    {
        CProject open = edit();
        FileTest::CSystemCallLog log;
        log.DoOnceNamed("2-0.flags", [&] { FileTest::WriteAll(data("2-1.flags"), "x"); });
        EXPECT_THROW(open.Commit("edit", {{0, Words(3, {2})}, {1, Words(3, {2})}}), COutputError);
    }
    EXPECT_EQ(read(0), Words(3, {1}));
    EXPECT_TRUE(read(1).empty());
}

TEST_F(CProjectHistoryTest, Commit_LeavesFilesOfOtherNamesAlone)
{
    for (const char* const name :
         {"notes.txt", "1.edit.bak", "x-1.flags", "01.edit", "1-2-3.flags"})
    {
        FileTest::WriteAll(data(name), "x");
    }
    commit(0, 1);
    EXPECT_THAT(listData(), testing::IsSupersetOf({"notes.txt", "1.edit.bak", "x-1.flags",
                                                   "01.edit", "1-2-3.flags"}));
}

TEST_F(CProjectHistoryTest, Commit_DropsTheOldestEditsBeyondTheBudget)
{
    commit(0, 1);
    const std::uint64_t bytes = edit().GetDocument().edits[0].bytes;
    create(2 * bytes);
    EXPECT_EQ(commit(0, 1), 0U);
    EXPECT_EQ(commit(0, 2), 0U);
    EXPECT_EQ(commit(0, 3), 1U);
    EXPECT_THAT(edit().Undo(9).commands, ElementsAre("edit 3", "edit 2"));
    EXPECT_EQ(read(0), Words(3, {1}));
}

TEST_F(CProjectHistoryTest, Commit_KeepsTheNewestEditWhateverTheBudget)
{
    create(0);
    EXPECT_EQ(commit(0, 1), 0U);
    EXPECT_EQ(commit(0, 2), 1U);
    EXPECT_THAT(edit().Undo(9).commands, ElementsAre("edit 2"));
}

TEST_F(CProjectHistoryTest, Commit_AFailureLeavesTheProjectAsItWas)
{
    commit(0, 1);
    const auto before = snapshot();
    CProject open = edit();
    // A folder in the place of the project file cannot be replaced by a file.
    std::filesystem::rename(project(), m_folder / "aside");
    std::filesystem::create_directory(project());
    EXPECT_THROW(open.Commit("edit", {{0, Words(3, {2})}}), COutputError);
    EXPECT_THROW(open.Undo(1), COutputError);
    std::filesystem::remove(project());
    std::filesystem::rename(m_folder / "aside", project());
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectHistoryTest, Commit_MemoryThatRunsOutAtItsEndLeavesTheProjectWhole)
{
    const std::string command = "edit";
    const std::vector<CProject::SNewFlags> flags{{0, Words(3, {2})}};
    const auto begin = [&] {
        create(1U << 20U);
        commit(0, 1);
        return edit();
    };
    std::size_t numAllocations = 0;
    {
        CProject open = begin();
        const std::size_t before = TestSupport::GetAllocationCount();
        open.Commit(command, flags);
        numAllocations = TestSupport::GetAllocationCount() - before;
    }
    // From the last one back to the first that comes before the project file is replaced.
    bool isDone = true;
    std::size_t fromEnd = 0;
    for (; isDone && fromEnd < numAllocations; ++fromEnd)
    {
        {
            CProject open = begin();
            try
            {
                const TestSupport::CAllocationFaults faults(numAllocations - fromEnd,
                                                            TestSupport::EFailing::FromThereOn);
                open.Commit(command, flags);
            }
            catch (const std::bad_alloc&)
            {
                isDone = false;
            }
            EXPECT_EQ(open.GetDocument().edits.size(), isDone ? 2U : 1U) << fromEnd;
        }
        EXPECT_EQ(openMessage(), "") << fromEnd;
        EXPECT_EQ(read(0), Words(3, {static_cast<std::uint16_t>(isDone ? 2 : 1)})) << fromEnd;
    }
    EXPECT_FALSE(isDone);
    EXPECT_GT(fromEnd, 1U);
}

TEST_F(CProjectHistoryTest, Commit_ThroughASymbolicLinkChangesTheProjectBehindIt)
{
    std::filesystem::create_directory(m_folder / "links");
    std::filesystem::create_symlink(project(), m_folder / "links" / "link.json");
    CProject::Open(m_folder / "links" / "link.json", Access::Edit)
        .Commit("edit", {{0, Words(3, {5})}});
    EXPECT_EQ(read(0), Words(3, {5}));
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "links" / "link.json"));
}

TEST_F(CProjectHistoryTest, Create_ThroughASymbolicLinkToNoFileYetMakesTheProjectBehindIt)
{
    std::filesystem::create_directory(m_folder / "links");
    std::filesystem::create_symlink(m_folder / "new.json", m_folder / "links" / "link.json");
    const auto document = CProject::Open(project(), Access::Read).GetDocument();
    (void)CProject::Create(m_folder / "links" / "link.json", document, {{0, Words(3, {2})}}, false);
    const CProject created = CProject::Open(m_folder / "new.json", Access::Read);
    EXPECT_EQ(created.ReadFlags(0), Words(3, {2}));
    EXPECT_TRUE(std::filesystem::exists(m_folder / "new.data"));
}

}  // namespace
