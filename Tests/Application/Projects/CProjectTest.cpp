#include "Application/Projects/CProject.h"

#include <gmock/gmock.h>

#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Application/Files/COutputError.h"
#include "Tests/Application/Projects/CProjectTestFixture.h"
#include "Tests/Support/Allocations.h"

namespace
{

using Application::COutputError;
using Application::CProject;
using Application::SProjectDocument;
using ProjectTest::CProjectTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(CProjectTest, Create_StartsWithoutFlagsAndHistory)
{
    EXPECT_TRUE(read(0).empty());
    EXPECT_THAT(listData(), IsEmpty());
}

TEST_F(CProjectTest, Create_WritesTheFlagsGiven)
{
    SProjectDocument document = edit().GetDocument();
    CProject::Create(project(), document, {{1, Words{{1}, {2}, {3}}}}, true);
    EXPECT_TRUE(read(0).empty());
    EXPECT_EQ(read(1), (Words{{1}, {2}, {3}}));
}

TEST_F(CProjectTest, Create_ReplacesOnlyWhenForced)
{
    const auto before = snapshot();
    const SProjectDocument document = edit().GetDocument();
    EXPECT_THROW(CProject::Create(project(), document, {}, false), COutputError);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectTest, Create_RefusesTheFolderOfALostProject)
{
    commit(0, 8);
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    EXPECT_THROW(CProject::Create(project(), document, {}, false), COutputError);
    EXPECT_THAT(listData(), testing::SizeIs(2));
}

TEST_F(CProjectTest, Create_RefusesTheFolderOfAnotherProject)
{
    commit(0, 8);
    const SProjectDocument document = edit().GetDocument();
    const auto before = snapshot();
    const std::filesystem::path other = m_folder / "p.veko2";
    for (const bool force : {false, true})
    {
        EXPECT_THROW(CProject::Create(other, document, {}, force), COutputError);
    }
    EXPECT_EQ(snapshot(), before);
    // Another name of the same project is none of another.
    std::filesystem::create_symlink(project(), other);
    CProject::Create(project(), document, {}, true);
    CProject::Create(other, document, {}, true);
    std::filesystem::rename(project(), m_folder / "moved");
    std::filesystem::rename(m_folder / "moved", other);
    EXPECT_THROW(CProject::Create(project(), document, {}, true), COutputError);
}

TEST_F(CProjectTest, Create_RefusesToReplaceWhatIsNoProject)
{
    const SProjectDocument document = edit().GetDocument();
    for (const bool force : {false, true})
    {
        EXPECT_THROW(CProject::Create(m_folder / "a.ply", document, {}, force), COutputError);
        EXPECT_THROW(CProject::CheckCreate(m_folder / "a.ply", force), COutputError);
    }
    EXPECT_EQ(FileTest::ReadAll(m_folder / "a.ply"), "a");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "a.ply.data"));
}

TEST_F(CProjectTest, CheckCreate_WithoutMemoryThrows)
{
    const std::filesystem::path file = m_folder / "new.json";
    std::filesystem::create_directory(m_folder / "new.data");
    FileTest::WriteAll(m_folder / "new.data" / "a file with a name that takes memory", "x");
    std::size_t number = 0;
    for (bool hasFailed = true; hasFailed;)
    {
        const TestSupport::CAllocationFaults faults(++number, TestSupport::EFailing::Once);
        try
        {
            CProject::CheckCreate(file, false);
        }
        catch (const std::bad_alloc&)
        {
            continue;
        }
        catch (const COutputError&)
        {
            hasFailed = faults.GetNumFailed() > 0;
        }
    }
    EXPECT_GT(number, 2U);
}

TEST_F(CProjectTest, Create_TakesTheFolderThatAKilledOneLeft)
{
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    // It was killed when the folder was made,
    CProject::Create(project(), document, {}, false);
    std::filesystem::remove(project());
    // or when the first flags were written.
    FileTest::WriteAll(data(".veko2-new-project.part"), "");
    FileTest::WriteAll(data("1-0.flags"), "x");
    CProject::Create(project(), document, {{1, Words{{1}, {2}, {3}}}}, false);
    EXPECT_THAT(listData(), ElementsAre("2-1.flags"));
    EXPECT_EQ(read(1), (Words{{1}, {2}, {3}}));
}

TEST_F(CProjectTest, Create_RefusesAFolderOfOtherThings)
{
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    FileTest::WriteAll(data("notes.txt"), "x");
    EXPECT_THROW(CProject::Create(project(), document, {}, false), COutputError);
    EXPECT_THAT(listData(), ElementsAre("notes.txt"));
}

TEST_F(CProjectTest, Create_AFailureTakesItsFolderBack)
{
    SProjectDocument document = edit().GetDocument();
    // No JSON text can hold this name.
    document.scans[0].file = "\xff.ply";
    EXPECT_THROW(CProject::Create(m_folder / "q.json", document, {{1, Words(3, {1})}}, false),
                 COutputError);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "q.data"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "q.json"));
}

TEST_F(CProjectTest, Create_AFailureLeavesTheFlagsOfALostProject)
{
    commit(0, 8);
    SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    document.scans[0].file = "\xff.ply";
    EXPECT_THROW(CProject::Create(project(), document, {}, true), COutputError);
    EXPECT_THAT(listData(), testing::IsSupersetOf({"1-0.flags", "1.edit"}));
}

TEST_F(CProjectTest, Create_GivesTheOldHistoryUp)
{
    commit(0, 8);
    create(100);
    EXPECT_TRUE(read(0).empty());
    EXPECT_THAT(listData(), IsEmpty());
}

/// Flags that the project of the tests cannot have, and what is said of them.
const std::pair<std::vector<CProject::SNewFlags>, const char*> c_wrongFlags[] = {
    {{{0, {{1}, {2}, {3}}}, {2, {}}}, "flags of scan 2: the project has 2 scans"},
    {{{1, {{1}, {2}}}}, "flags of scan 1: 2 words, but the scan has 3 points"},
    {{{1, {{1}, {2}, {3}, {4}}}}, "flags of scan 1: 4 words, but the scan has 3 points"},
    {{{1, {}}, {0, {}}, {1, {}}}, "flags of scan 1: named twice"},
};

TEST_F(CProjectTest, Commit_RefusesFlagsThatTheProjectCannotHave)
{
    commit(0, 8);
    const auto before = snapshot();
    for (const auto& [flags, message] : c_wrongFlags)
    {
        CProject open = edit();
        const auto& wrong = flags;
        EXPECT_THAT([&] { open.Commit("edit", wrong); },
                    testing::ThrowsMessage<std::invalid_argument>(message));
    }
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectTest, Create_RefusesFlagsThatTheProjectCannotHave)
{
    commit(0, 8);
    const SProjectDocument document = edit().GetDocument();
    const auto before = snapshot();
    for (const auto& [flags, message] : c_wrongFlags)
    {
        const auto& wrong = flags;
        EXPECT_THAT([&] { CProject::Create(project(), document, wrong, true); },
                    testing::ThrowsMessage<std::invalid_argument>(message));
        EXPECT_THAT([&] { CProject::Create(m_folder / "q.json", document, wrong, false); },
                    testing::ThrowsMessage<std::invalid_argument>(message));
    }
    EXPECT_EQ(snapshot(), before);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "q.data"));
}

TEST_F(CProjectTest, GetScanPath_StartsAtTheProject)
{
    EXPECT_EQ(edit().GetScanPath(1), m_folder / "b.ply");
}

TEST_F(CProjectTest, Open_RemovesWhatAKilledProcessLeftBesideTheProject)
{
    const auto stale = m_folder / ".veko2-0123456789abcdef.part";
    FileTest::WriteAll(stale, "x");
    (void)CProject::Open(project(), Access::Read);
    EXPECT_TRUE(std::filesystem::exists(stale));
    (void)edit();
    EXPECT_FALSE(std::filesystem::exists(stale));
}

TEST_F(CProjectTest, Open_EditorsExcludeOthers)
{
    std::optional<CProject> open = edit();
    EXPECT_THAT(openMessage(Access::Read), HasSubstr("in use by another veko2"));
    EXPECT_THAT(openMessage(Access::Edit), HasSubstr("in use by another veko2"));
    open.reset();
    EXPECT_EQ(openMessage(Access::Edit), "");
}

TEST_F(CProjectTest, Open_ReadersExcludeOnlyEditors)
{
    const CProject open = CProject::Open(project(), Access::Read);
    EXPECT_EQ(openMessage(Access::Read), "");
    EXPECT_THAT(openMessage(Access::Edit), HasSubstr("in use by another veko2"));
}

}  // namespace
